#include "daemons/procmgrd/log.h"

#include <unistd.h>

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

void Write(const std::string& line) {
    // One write per line, so that lines of several processes on one terminal stay whole. A log that
    // cannot be written is no reason to stop managing processes.
    const ssize_t ignored = write(STDERR_FILENO, line.data(), line.size());
    (void)ignored;
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
