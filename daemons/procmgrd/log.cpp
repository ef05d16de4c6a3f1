#include "daemons/procmgrd/log.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <string_view>
#include <system_error>

namespace ProcMgrDaemon {

namespace {

LogLevel threshold = LogLevel::kInfo;

const char* Prefix(LogLevel level) {
    switch (level) {
        case LogLevel::kInfo:
            return "procmgrd: ";
        case LogLevel::kWarning:
            return "procmgrd: warning: ";
        case LogLevel::kError:
            return "procmgrd: error: ";
    }
    return "";
}

// Writes what can be written without waiting: whoever does not read our log must not stop our loop.
bool WriteNow(std::string_view text) {
    while (!text.empty()) {
        pollfd ready{STDERR_FILENO, POLLOUT, 0};
        if (poll(&ready, 1, 0) != 1) {
            return false;
        }
        // A pipe that is ready takes this much at once.
        const ssize_t count =
            write(STDERR_FILENO, text.data(), std::min<size_t>(text.size(), PIPE_BUF));
        if (count <= 0) {
            return false;
        }
        text.remove_prefix(static_cast<size_t>(count));
    }
    return true;
}

void Write(const std::string& line) {
    static size_t lost = 0;
    const std::string note =
        lost > 0 ? "procmgrd: warning: " + std::to_string(lost) + " lines of the log are lost\n"
                 : std::string();
    lost = WriteNow(note + line) ? 0 : lost + 1;
}

}  // namespace

void SetLogThreshold(LogLevel level) {
    threshold = level;
}

void Log(LogLevel level, const std::string& text) {
    if (level >= threshold) {
        Write(Prefix(level) + text + "\n");
    }
}

void LogAlways(const std::string& text) {
    Write(Prefix(LogLevel::kInfo) + text + "\n");
}

std::string ErrorText(int error) {
    return std::generic_category().message(error);
}

}  // namespace ProcMgrDaemon
