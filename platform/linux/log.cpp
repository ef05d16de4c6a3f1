// The log service: one line a call, to standard error and, if asked, to a file.
//
//   GRPOWNER_LOG_LEVEL   debug, info, warning, error or event: the lowest level that is written;
//                        warning when it is not set. Events are always written.
//   GRPOWNER_LOG_FILE    a file that gets every line too
//
// An unknown level and a file that cannot be opened are said once. Towards the journal each line
// begins with its priority ("<4>"), else with the time. A line goes out in one write; what a full
// disk, a closed stream or an absent reader refuses is lost and stops nobody.

#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <string_view>
#include <type_traits>

#include "platform/linux/log_stream.h"
#include "platform/linux/recorder.h"
#include "platform/log_service.h"

namespace {

using GrpOwnerLinux::LogStream;
using GrpOwnerLinux::WriteWithoutSignal;

constexpr int kWarning = 2;
constexpr int kEvent = 16;
constexpr int kDefaultThreshold = kWarning;
constexpr size_t kHeadSize = 48;
constexpr size_t kNameWidth = 8;                // of a level, with a blank behind it
constexpr size_t kTextSize = 4096 - kHeadSize;  // bytes; a longer text ends in dots
constexpr std::string_view kCut = "...";
constexpr std::string_view kPlace = "[%s:%d]";

struct Level {
    int number;
    int priority;
    const char* name;
};
constexpr Level kLevels[] = {{0, LOG_DEBUG, "debug"},
                             {1, LOG_INFO, "info"},
                             {2, LOG_WARNING, "warning"},
                             {3, LOG_ERR, "error"},
                             {kEvent, LOG_NOTICE, "event"}};

const Level& Find(int number) {
    for (const Level& level : kLevels) {
        if (level.number == number) {
            return level;
        }
    }
    return kLevels[1];
}

// JOURNAL_STREAM is inherited even where standard error has been redirected since: it names the
// device and the inode that it is about.
bool IsJournal() {
    const char* variable = std::getenv("JOURNAL_STREAM");
    uintmax_t device = 0;
    uintmax_t inode = 0;
    struct stat status {};
    return variable != nullptr &&
           std::sscanf(variable, "%" SCNuMAX ":%" SCNuMAX, &device, &inode) == 2 &&
           fstat(STDERR_FILENO, &status) == 0 && status.st_dev == device && status.st_ino == inode;
}

/// A second as it is written. Which one it is, is the same for many lines, and the way from a
/// number to a time of day is long.
struct Second {
    time_t number = -1;
    char text[16] = {};
};

const char* TextOf(time_t number) {
    thread_local Second second;
    if (second.number != number) {
        tm local{};
        localtime_r(&number, &local);
        (void)std::strftime(second.text, sizeof(second.text), "%H:%M:%S", &local);
        second.number = number;
    }
    return second.text;
}

std::string_view TimeHead(char (&head)[kHeadSize], const Level& level) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const auto milliseconds = static_cast<unsigned>(now.tv_nsec / 1000000);
    char* end = stpcpy(head, TextOf(now.tv_sec));
    *end++ = '.';
    for (const unsigned unit : {100U, 10U, 1U}) {
        *end++ = static_cast<char>('0' + milliseconds / unit % 10);
    }
    *end++ = ' ';
    char* const name = end;
    end = stpcpy(end, level.name);
    while (end < name + kNameWidth) {
        *end++ = ' ';
    }
    return {head, static_cast<size_t>(end - head)};
}

void WriteToStandardError(const Level& level, std::string_view timeHead, std::string_view text) {
    static LogStream stream(STDERR_FILENO);
    static_assert(std::is_trivially_destructible_v<LogStream>, "it serves until the last moment");
    static const bool isJournal = IsJournal();
    char priority[8];
    if (isJournal) {
        const int length = std::snprintf(priority, sizeof(priority), "<%d>", level.priority);
        stream.Write({priority, static_cast<size_t>(length)}, text);
    } else {
        stream.Write(timeHead, text);
    }
}

// Says what is wrong with our own environment.
void Complain(const std::string& text) {
    char head[kHeadSize];
    const Level& warning = Find(kWarning);
    WriteToStandardError(warning, TimeHead(head, warning), text.substr(0, kTextSize - 1) + '\n');
}

int ReadThreshold() {
    const char* wanted = std::getenv("GRPOWNER_LOG_LEVEL");
    if (wanted == nullptr || *wanted == '\0') {
        return kDefaultThreshold;
    }
    for (const Level& level : kLevels) {
        if (std::strcmp(wanted, level.name) == 0) {
            return level.number;
        }
    }
    Complain(std::string("GRPOWNER_LOG_LEVEL=") + wanted +
             " is no level: use debug, info, warning, error or event");
    return kDefaultThreshold;
}

int OpenFile() {
    const char* path = std::getenv("GRPOWNER_LOG_FILE");
    if (path == nullptr || *path == '\0') {
        return -1;
    }
    const int file = open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NONBLOCK, 0644);
    if (file < 0) {
        Complain(std::string("GRPOWNER_LOG_FILE=") + path +
                 " cannot be opened: " + std::strerror(errno));
    }
    return file;
}

void Write(int level, std::string_view line, int file) {
    char head[kHeadSize];
    const std::string_view timeHead = TimeHead(head, Find(level));
    WriteToStandardError(Find(level), timeHead, line);
    if (file >= 0) {
        // What a full disk refuses is gone: there is nobody left to tell.
        (void)WriteWithoutSignal(file, timeHead, line);
    }
}

bool IsWritten(int level) {
    static const int threshold = ReadThreshold();
    return level >= threshold;
}

// The whole text, whatever a line has room for. The core's lines begin with their place in the
// source; those of our own services follow from what is recorded anyway.
__attribute__((format(printf, 2, 0))) void Record(int level, const char* format,
                                                  va_list arguments) {
    GrpOwnerLinux::Recorder* const recorder = GrpOwnerLinux::Recorder::Active();
    if (recorder == nullptr || std::string_view(format).substr(0, kPlace.size()) != kPlace) {
        return;
    }
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, again);
    va_end(again);
    if (length >= 0) {
        std::string text(static_cast<size_t>(length) + 1, '\0');
        (void)std::vsnprintf(text.data(), text.size(), format, arguments);  // the length is known
        text.pop_back();
        recorder->Log(level, std::string_view(text).substr(text.find(']') + 1));
    }
}

// One line whatever the text: a break in a name from outside must not begin a line of its own.
std::string_view FinishLine(char (&text)[kTextSize], size_t length) {
    size_t used = std::min(length, kTextSize - 1);
    if (used < length) {
        std::memcpy(text + used - kCut.size(), kCut.data(), kCut.size());
    }
    // Each byte is written: that way many go at a time.
    std::transform(text, text + used, text, [](char byte) {
        return static_cast<unsigned char>(byte) < ' ' || byte == 0x7f ? ' ' : byte;
    });
    text[used++] = '\n';
    return {text, used};
}

}  // namespace

int CheckLogLevel(int /*module*/, int level) {
    return IsWritten(level) || GrpOwnerLinux::Recorder::Active() != nullptr ? 1 : 0;
}

void DlogInner(int /*module*/, int level, const char* format, ...) {
    const int savedError = errno;
    static const int file = OpenFile();
    char text[kTextSize];
    va_list arguments;
    va_start(arguments, format);
    Record(level, format, arguments);
    va_end(arguments);
    va_start(arguments, format);
    errno = savedError;  // for %m
    const int length = std::vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    if (length >= 0) {
        const std::string_view line = FinishLine(text, static_cast<size_t>(length));
        if (IsWritten(level)) {
            Write(level, line, file);
        }
    }
    errno = savedError;
}
