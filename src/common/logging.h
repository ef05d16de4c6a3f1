#pragma once
// The one logging facility of the library.
//
//   GRP_ERROR("App:%s is not in this group.", name.c_str());
//
// A line goes to syslog, bare, once syslog is switched on; else to the platform's log service as
// module 27 with source file and line in front, if the service wants its level. Takes no lock, may
// be called on every thread, with every lock held and before main.

#include <syslog.h>

#include <atomic>
#include <cstdint>

#include "platform/log_service.h"

namespace ProcMgr {

enum class GrpOwnerLogLevel : uint32_t {
    kDebug = 0,
    kInfo = 1,
    kWarning = 2,
    kError = 3,
    kEvent = 4
};

/// Only ever set to true, never back.
extern std::atomic<bool> g_enableSyslog;  // NOLINT(readability-identifier-naming)

/// Module of the group owner in the platform's log service.
inline constexpr int kLogModule = 27;

/// The platform's level; 1 for a level that is not in the table.
int GetDLogLevel(GrpOwnerLogLevel level);

/// The priority of syslog; 6 for a level that is not in the table.
int GetSyslogLevel(GrpOwnerLogLevel level);

}  // namespace ProcMgr

// A macro, because the format exists twice: bare for syslog, with a prefix for the platform.
#define GRPOWNER_LOG(level, format, ...)                                                     \
    do {                                                                                     \
        if (::ProcMgr::g_enableSyslog.load(std::memory_order_relaxed)) {                     \
            syslog(::ProcMgr::GetSyslogLevel(level), format, ##__VA_ARGS__);                 \
        } else if (const int platformLevel = ::ProcMgr::GetDLogLevel(level);                 \
                   CheckLogLevel(::ProcMgr::kLogModule, platformLevel) == 1) {               \
            DlogInner(::ProcMgr::kLogModule, platformLevel, "[%s:%d]" format, __FILE_NAME__, \
                      __LINE__, ##__VA_ARGS__);                                              \
        }                                                                                    \
    } while (false)

#define GRP_DEBUG(...) GRPOWNER_LOG(::ProcMgr::GrpOwnerLogLevel::kDebug, __VA_ARGS__)
#define GRP_INFO(...) GRPOWNER_LOG(::ProcMgr::GrpOwnerLogLevel::kInfo, __VA_ARGS__)
#define GRP_WARNING(...) GRPOWNER_LOG(::ProcMgr::GrpOwnerLogLevel::kWarning, __VA_ARGS__)
#define GRP_ERROR(...) GRPOWNER_LOG(::ProcMgr::GrpOwnerLogLevel::kError, __VA_ARGS__)
#define GRP_EVENT(...) GRPOWNER_LOG(::ProcMgr::GrpOwnerLogLevel::kEvent, __VA_ARGS__)
