#include "src/common/logging.h"

#include <array>

namespace ProcMgr {

namespace {

struct LevelMapping {
    GrpOwnerLogLevel level;
    int platformLevel;
    int syslogPriority;
};

// The platform numbers its event level apart from the rest, so that no threshold hides events.
constexpr std::array<LevelMapping, 5> kLevels{{
    {GrpOwnerLogLevel::kDebug, 0, LOG_DEBUG},
    {GrpOwnerLogLevel::kInfo, 1, LOG_INFO},
    {GrpOwnerLogLevel::kWarning, 2, LOG_WARNING},
    {GrpOwnerLogLevel::kError, 3, LOG_ERR},
    {GrpOwnerLogLevel::kEvent, 16, LOG_NOTICE},
}};

constexpr LevelMapping Find(GrpOwnerLogLevel level) {
    for (const LevelMapping& mapping : kLevels) {
        if (mapping.level == level) {
            return mapping;
        }
    }
    return {level, 1, LOG_INFO};
}

}  // namespace

std::atomic<bool> g_enableSyslog{false};  // NOLINT(readability-identifier-naming)

int GetDLogLevel(GrpOwnerLogLevel level) {
    return Find(level).platformLevel;
}

int GetSyslogLevel(GrpOwnerLogLevel level) {
    return Find(level).syslogPriority;
}

}  // namespace ProcMgr
