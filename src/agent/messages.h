#pragma once
// What travels between the group owner and the process manager, before it is encoded.

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "grpowner/app_records.h"
#include "grpowner/enumerations.h"

namespace ProcMgr::Message {

/// Kind of a record on the pipe; never change a number.
enum class RequestType : uint32_t {
    START_APP = 0,
    RESTART_APP = 1,
    TERM_APP = 2,
    BASESERVICE_STATE_REPORT = 3,
    APP_STATE_REPORT = 4,
    APP_EXECUTION_REPORT = 5,
    LOAD_STARTUP_CFG = 6,
    RELOAD_STARTUP_CFG = 7,
    // 8 is not used
    QUERY_APP_STATE = 9,
    QUERY_APP_STATE_RESP = 10,
};

inline constexpr size_t kRequestDataSize = 3964;

/// One record on the pipe, always 3984 bytes. Integers in the host's byte order.
struct RequestMsg {
    uint32_t type;
    uint32_t padding;
    uint64_t length;  // meaningful bytes in data; from outside, check it before use
    char data[kRequestDataSize];
    uint32_t trailingPadding;
};
static_assert(sizeof(RequestMsg) == 3984);
static_assert(offsetof(RequestMsg, length) == 8 && offsetof(RequestMsg, data) == 16);

struct StartAppInfo {
    std::string name;
    std::vector<std::string> arguments;
    DynamicParas dynamicParas;
};

struct RestartAppInfo {
    std::string name;
    std::vector<std::string> arguments;
    DynamicParas dynamicParas;
};

struct TermAppInfo {
    std::string name;
};

struct BaseServiceStateInfo {
    BaseServiceState state = BaseServiceState::INIT;
};

/// Execution report of an application.
struct AppExecInfo {
    std::string name;
    uint32_t pid = 0;
    uint32_t state = 0;  // AppExecState
    uint32_t reason = 0;
};

struct StartupCfgInfo {
    std::map<std::string, std::string> matchData;
    std::string path;
};

/// One report of the process manager; the four numbers in wire order.
struct AppStateInfo {
    std::string name;
    uint32_t pid = 0;
    uint32_t type = 0;    // ReportAppStateType
    uint32_t reason = 0;  // AppAbnormalExitReason, of an abnormal exit
    uint32_t spare = 0;
};

}  // namespace ProcMgr::Message
