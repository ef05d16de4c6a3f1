#pragma once
// Names that the library shares with its surroundings.

namespace ProcMgr {

// Environment variables.
inline constexpr char kProcNameEnv[] = "PROC_NAME";
inline constexpr char kKuvTypeEnv[] = "KUV_TYPE";
inline constexpr char kRunModeEnv[] = "DATAMASTER_RUN_MODE";
inline constexpr char kStartupEntryPathEnv[] = "STARTUP_ENTRY_PATH";

// Processes.
inline constexpr char kProcMgrName[] = "PROCMGR";
inline constexpr char kDataMasterName[] = "datamaster";
inline constexpr char kIamMgrName[] = "iammgr";

inline constexpr char kProcDirectory[] = "/proc/";

// Roles, the messages of the boot trace.
inline constexpr char kPmAgentRole[] = "PM_AGENT";
inline constexpr char kSsAgentRole[] = "SS_AGENT";
inline constexpr char kSsServerRole[] = "SS_SERVER";

// Roots of the control groups.
inline constexpr char kCpuCgroupRoot[] = "/sys/fs/cgroup/cpu/";
inline constexpr char kMemoryCgroupRoot[] = "/sys/fs/cgroup/memory/";
inline constexpr char kCpusetCgroupRoot[] = "/sys/fs/cgroup/cpuset/";

}  // namespace ProcMgr
