#pragma once
// What the process manager says about itself: lines on stderr.

#include <string>

namespace ProcMgrDaemon {

enum class LogLevel { kInfo, kWarning, kError };

/// Lines below this level are not written; kInfo at first.
void SetLogThreshold(LogLevel level);

void Log(LogLevel level, const std::string& text);

/// Whatever the threshold.
void LogAlways(const std::string& text);

inline void LogInfo(const std::string& text) {
    Log(LogLevel::kInfo, text);
}
inline void LogWarning(const std::string& text) {
    Log(LogLevel::kWarning, text);
}
inline void LogError(const std::string& text) {
    Log(LogLevel::kError, text);
}

/// An errno value in words.
std::string ErrorText(int error);

}  // namespace ProcMgrDaemon
