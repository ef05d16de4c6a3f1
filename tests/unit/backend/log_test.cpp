// The log of a child process, whose standard error is a pipe.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <regex>
#include <string>

#include "platform/log_service.h"

namespace {

enum class Reader { kReads, kReadsAtTheEnd, kIsGone };

std::string ReadAll(int fd) {
    std::string text;
    char part[4096];
    for (ssize_t got = 0; (got = read(fd, part, sizeof(part))) > 0;) {
        text.append(part, static_cast<size_t>(got));
    }
    return text;
}

// What the body logs; fails unless the child ends by itself.
std::string LogOf(const std::function<void()>& body, Reader reader = Reader::kReads) {
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    if (reader == Reader::kIsGone) {
        close(ends[0]);
        ends[0] = -1;  // reads nothing
    }
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], STDERR_FILENO);
        close(ends[1]);
        body();
        _exit(0);
    }
    close(ends[1]);
    std::string text = reader == Reader::kReads ? ReadAll(ends[0]) : std::string();
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    text += ReadAll(ends[0]);
    close(ends[0]);
    return text;
}

void LogEachLevel() {
    for (const int level : {0, 1, 2, 3, 16}) {
        if (CheckLogLevel(27, level) == 1) {
            DlogInner(27, level, "of level %d", level);
        }
    }
}

const std::regex kTime(R"(\d\d:\d\d:\d\d\.\d{3} )");

std::string WithoutTime(const std::string& text) {
    return std::regex_replace(text, kTime, "");
}

// From the level that the environment names, with the time in front; a file gets a copy.
TEST(LogTest, WritesFromItsThresholdUpwards) {
    const std::string lines[] = {"debug   of level 0\n", "info    of level 1\n",
                                 "warning of level 2\n", "error   of level 3\n",
                                 "event   of level 16\n"};
    const std::pair<const char*, int> cases[] = {{"debug", 0}, {"info", 1},  {"warning", 2},
                                                 {"error", 3}, {"event", 4}, {"", 2}};
    char path[] = "/tmp/log_test.XXXXXX";
    const int file = mkstemp(path);
    for (const auto& [level, first] : cases) {
        const std::string text = LogOf([level = level, &path] {
            setenv("GRPOWNER_LOG_LEVEL", level, 1);
            setenv("GRPOWNER_LOG_FILE", path, 1);
            LogEachLevel();
        });
        std::string expected;
        for (int line = first; line < 5; ++line) {
            expected += lines[line];
        }
        EXPECT_EQ(WithoutTime(text), expected);
        EXPECT_TRUE(std::regex_search(text, kTime));
        EXPECT_EQ(ReadAll(file), text);
    }
    close(file);
    unlink(path);
}

// A wrong level or file is said once, and the log goes on without it.
TEST(LogTest, SaysWhatIsWrongInItsEnvironmentOnce) {
    const std::string text = LogOf([] {
        setenv("GRPOWNER_LOG_LEVEL", "loud", 1);
        setenv("GRPOWNER_LOG_FILE", "/proc/none/log", 1);
        LogEachLevel();
    });
    EXPECT_EQ(WithoutTime(text),
              "warning GRPOWNER_LOG_LEVEL=loud is no level: use debug, info, warning, error or "
              "event\n"
              "warning GRPOWNER_LOG_FILE=/proc/none/log cannot be opened: No such file or "
              "directory\n"
              "warning of level 2\nerror   of level 3\nevent   of level 16\n");
}

// The journal wants a priority and has its own time; a stream that is not the journal's has not.
TEST(LogTest, SpeaksToTheJournal) {
    const auto log = [](bool isJournal) {
        struct stat status {};
        fstat(STDERR_FILENO, &status);
        const std::string stream = std::to_string(status.st_dev) + ":" +
                                   std::to_string(status.st_ino + (isJournal ? 0 : 1));
        setenv("JOURNAL_STREAM", stream.c_str(), 1);
        setenv("GRPOWNER_LOG_LEVEL", "debug", 1);
        LogEachLevel();
    };
    EXPECT_EQ(LogOf([&log] { log(true); }),
              "<7>of level 0\n<6>of level 1\n<4>of level 2\n<3>of level 3\n<5>of level 16\n");
    EXPECT_EQ(LogOf([&log] { log(false); }).find('<'), std::string::npos);
}

// Whatever is logged stays one line, of bounded length, and errno is left as it was.
TEST(LogTest, KeepsALineALine) {
    const std::string text = LogOf([] {
        DlogInner(27, 3, "%s", "two\nlines\x1b[1m");
        errno = ENOENT;
        DlogInner(27, 3, "%m, %d", errno);
        DlogInner(27, 3, "%s", std::string(10'000, 'x').c_str());
        DlogInner(27, 3, "%s", errno == ENOENT ? "after" : "errno is lost");
    });
    const std::string plain = WithoutTime(text);
    EXPECT_EQ(plain.find("error   two lines [1m\nerror   No such file or directory, 2\n"), 0U);
    EXPECT_NE(plain.find("xxx...\nerror   after\n"), std::string::npos);
    EXPECT_EQ(std::count(plain.begin(), plain.end(), '\n'), 4);
    EXPECT_LT(plain.size(), 4300U);
}

// Without anybody to read, or an open stream, logging ends nothing.
TEST(LogTest, OutlivesItsReader) {
    LogOf(LogEachLevel, Reader::kIsGone);
    LogOf([] {
        close(STDERR_FILENO);
        LogEachLevel();
    });
}

// A reader that does not read stops nobody: lines are lost, whole ones, and counted.
TEST(LogTest, LosesLinesRatherThanWait) {
    const std::string filler(1000, 'f');
    const std::string text = LogOf(
        [&filler] {
            for (int i = 0; i < 200; ++i) {
                DlogInner(27, 3, "%s", filler.c_str());
            }
        },
        Reader::kReadsAtTheEnd);
    const auto lines = std::count(text.begin(), text.end(), '\n');
    EXPECT_GT(lines, 10);
    EXPECT_LT(lines, 200);
    EXPECT_EQ(text.size() % static_cast<size_t>(lines), 0U);
    EXPECT_EQ(text.back(), '\n');
}

}  // namespace
