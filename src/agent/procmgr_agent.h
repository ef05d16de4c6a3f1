#pragma once
// The group owner's client of the process manager.

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "src/agent/messages.h"

namespace ProcMgr {

/// Result codes of the agent; 0 is success.
namespace AgentResult {
inline constexpr uint32_t kSuccess = 0;
inline constexpr uint32_t kNothingToSend = 0xF10000;
inline constexpr uint32_t kBadArgument = 0xF10001;
inline constexpr uint32_t kOpenFailed = 0xF10007;
inline constexpr uint32_t kCallFailed = 0xF1000A;
inline constexpr uint32_t kNotConnected = 0xF10501;
inline constexpr uint32_t kPackFailed = 0xF10502;
inline constexpr uint32_t kSendFailed = 0xF10503;
inline constexpr uint32_t kNoAnswerData = 0xF10504;
inline constexpr uint32_t kRefused = 0xF10505;
}  // namespace AgentResult

using AppStateChangeCallback = std::function<void(const std::vector<Message::AppStateInfo>&)>;
using QueryAppStateRespCallback = std::function<void(const std::map<std::string, uint32_t>&)>;

/// Every operation may be called on any thread and returns an AgentResult. The callbacks run on the
/// pipe service's handling thread.
class ProcMgrAgent {
public:
    static ProcMgrAgent& GetInstance();
    virtual ~ProcMgrAgent() = default;

    /// Opens the pipe; on success the heartbeat to the process manager begins.
    [[nodiscard]] virtual uint32_t IsOk() = 0;
    virtual uint32_t StartApp(const std::vector<Message::StartAppInfo>& apps) = 0;
    virtual uint32_t RestartApp(const std::vector<Message::RestartAppInfo>& apps) = 0;
    virtual uint32_t TermApp(const std::vector<Message::TermAppInfo>& apps) = 0;
    virtual uint32_t ReportBaseServiceState(const Message::BaseServiceStateInfo& info) = 0;
    virtual uint32_t ReportAppExecState(Message::AppExecInfo info) = 0;
    /// Waits for the process manager's answer.
    virtual uint32_t LoadStartupCfgInfo(const Message::StartupCfgInfo& info) = 0;
    /// Waits for the process manager's answer.
    virtual uint32_t ReLoadStartupCfgInfo(const Message::StartupCfgInfo& info) = 0;
    /// Ends the heartbeat; every request fails as not connected until IsOk succeeds again.
    virtual uint32_t StopOwnerHeart() = 0;
    /// Only sends; the answer reaches the registered callback.
    virtual uint32_t QueryAppState(const std::vector<std::string>& names) = 0;
    virtual uint32_t RegAppStateChangeCallBackImpl(AppStateChangeCallback callback) = 0;
    virtual uint32_t RegQueryAppStateCallBackImpl(QueryAppStateRespCallback callback) = 0;
};

}  // namespace ProcMgr
