// The log service: one line a call, to standard error and, if asked, to a file.
//
//   GRPOWNER_LOG_LEVEL   debug, info, warning, error or event: the lowest level that is written;
//                        warning when it is not set. Events are always written.
//   GRPOWNER_LOG_FILE    a file that gets every line too
//
// Under a journal each line begins with its priority ("<4>"), else with the time. A line goes out
// in one write that never waits long for anybody: what a full disk or a closed stream refuses is
// gone.

#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <initializer_list>

#include "platform/log_service.h"

namespace {

constexpr int kEvent = 16;
constexpr size_t kLineSize = 4096;  // bytes; a longer line ends in dots
constexpr char kCut[] = "...";

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
constexpr int kDefaultThreshold = 2;

int ReadThreshold() {
    const char* wanted = std::getenv("GRPOWNER_LOG_LEVEL");
    if (wanted != nullptr) {
        for (const Level& level : kLevels) {
            if (std::strcmp(wanted, level.name) == 0) {
                return level.number;
            }
        }
    }
    return kDefaultThreshold;
}

int Threshold() {
    static const int threshold = ReadThreshold();
    return threshold;
}

int OpenFile() {
    const char* path = std::getenv("GRPOWNER_LOG_FILE");
    return path == nullptr
               ? -1
               : open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NONBLOCK, 0644);
}

const Level& Find(int number) {
    for (const Level& level : kLevels) {
        if (level.number == number) {
            return level;
        }
    }
    return kLevels[1];
}

// What is written before the text; its length.
size_t WriteHead(char* line, const Level& level) {
    static const bool isJournal = std::getenv("JOURNAL_STREAM") != nullptr;
    int length = 0;
    if (isJournal) {
        length = std::snprintf(line, kLineSize, "<%d>", level.priority);
    } else {
        timespec now{};
        clock_gettime(CLOCK_REALTIME, &now);
        tm local{};
        localtime_r(&now.tv_sec, &local);
        length = std::snprintf(line, kLineSize, "%02d:%02d:%02d.%03ld %-7s ", local.tm_hour,
                               local.tm_min, local.tm_sec, now.tv_nsec / 1000000, level.name);
    }
    return length > 0 ? static_cast<size_t>(length) : 0;
}

}  // namespace

int CheckLogLevel(int /*module*/, int level) {
    return level >= Threshold() ? 1 : 0;
}

void DlogInner(int /*module*/, int level, const char* format, ...) {
    static const int file = OpenFile();
    char line[kLineSize];
    size_t used = WriteHead(line, Find(level));
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(line + used, kLineSize - used, format, arguments);
    va_end(arguments);
    if (length < 0) {
        return;
    }
    used += static_cast<size_t>(length);
    if (used >= kLineSize) {
        used = kLineSize - 1;
        std::memcpy(line + used - (sizeof(kCut) - 1), kCut, sizeof(kCut) - 1);
    }
    line[used++] = '\n';
    for (const int stream : {STDERR_FILENO, file}) {
        // A line that cannot be written is gone: there is nobody left to tell.
        [[maybe_unused]] const ssize_t written = stream < 0 ? 0 : write(stream, line, used);
    }
}
