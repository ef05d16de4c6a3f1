// The agent's connection: opening, calls, callbacks and heartbeat.

#include "src/agent/procmgr_agent_impl.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <locale>
#include <sstream>
#include <utility>

#include "src/agent/ezcom_retry.h"
#include "src/common/environment.h"
#include "src/common/logging.h"
#include "src/common/never_destroyed.h"
#include "src/common/process_constants.h"

namespace ProcMgr {

namespace {

// Milliseconds.
constexpr int32_t kOpenTimeout = 180000;
constexpr int32_t kCallTimeout = 5000;
constexpr int32_t kLongRunTimeout = 1800000;

constexpr size_t kLongestOwnName = 128;
constexpr uint32_t kMissedBeats = 3;
constexpr uint32_t kBeatPeriod = 1;  // seconds

EzcomRequest RequestOf(const Message::RequestMsg& record) {
    return {&record, sizeof(record)};
}

/// The decimal number of an answer; -1 when it is none.
int ParseResult(const EzcomResponse& response) {
    std::istringstream stream(std::string(static_cast<const char*>(response.data), response.size));
    stream.imbue(std::locale::classic());
    int result = 0;
    return stream >> result ? result : -1;
}

}  // namespace

// Closed at exit, but not destroyed: a request that still runs then finds it unconnected.
ProcMgrAgent& ProcMgrAgent::GetInstance() {
    static NeverDestroyed<ProcMgrAgentImpl> instance;
    static struct ExitCloser {
        ExitCloser() = default;
        ExitCloser(const ExitCloser&) = delete;
        ExitCloser& operator=(const ExitCloser&) = delete;
        ~ExitCloser() { instance->Close(); }
    } closer;
    return *instance;
}

uint32_t ProcMgrAgentImpl::IsOk() {
    const std::optional<std::string> ownName = GetEnvironment(kProcNameEnv);
    if (ownName) {
        GRP_INFO("ProcMgrAgent : cur proName=%s", ownName->c_str());
    }
    EzcomOpenParams params{};
    params.ownName = ownName ? ownName->c_str() : "";
    params.targetName = kProcMgrName;
    params.gid = getgid();
    params.handler = &ProcMgrAgentRequstMsgHandler;
    params.timeoutMs = IsLongRunMode() ? kLongRunTimeout : kOpenTimeout;
    params.flags = 0;
    params.version = 1;
    params.priority = -1;
    params.affinity = -1;
    int fd = EzcomOpen(&params);
    if (fd == -EAGAIN) {
        GRP_ERROR("ProcMgrAgent : EzcomOpen failed, try again");
        fd = EzcomOpen(&params);
    }
    const int error = errno;  // before a log service touches it
    if (fd <= 0) {
        GRP_ERROR("ProcMgrAgent : EzcomOpen failed!! ret=%d, errno=%d", fd, error);
        return AgentResult::kOpenFailed;
    }
    const int older = fd_.exchange(fd);
    isConnected_ = true;
    if (older > 0) {
        (void)ProcMgrEzcomClosePipe(older);  // nothing uses it any more, whatever this answers
    }
    StartOwnerHeart();
    return AgentResult::kSuccess;
}

bool ProcMgrAgentImpl::SendRequestMsg(int fd,
                                      const std::vector<Message::RequestMsg>& records) const {
    if (records.empty()) {
        GRP_ERROR("ProcMgrAgent : SendRequestMsg failed: requestPieceMsg is empty, fd=%d", fd);
        return false;
    }
    for (const Message::RequestMsg& record : records) {
        const EzcomRequest request = RequestOf(record);
        const int result = ProcMgrEzcomSendRequest(fd, &request);
        if (result < 0) {
            GRP_ERROR("ProcMgrAgent : SendRequestMsg failed: fd=%d, err_code=%d", fd, result);
            return false;
        }
    }
    return true;
}

uint32_t ProcMgrAgentImpl::RpcSyncAndGetResult(
    const std::vector<Message::RequestMsg>& records) const {
    if (records.empty()) {
        GRP_ERROR("ProcMgrAgent : LoadStartupCfgInfo failed: requestPieceMsg is empty");
        return AgentResult::kNothingToSend;
    }
    const int32_t timeout = IsLongRunMode() ? kLongRunTimeout : kCallTimeout;
    for (const Message::RequestMsg& record : records) {
        EzcomRequest request = RequestOf(record);
        EzcomResponse response{};
        const int code = ProcMgrEzcomTimedRPCSync(fd_, &request, &response, timeout);
        if (code < 0) {
            GRP_ERROR(
                "ProcMgrAgent : LoadStartupCfgInfo failed: EzcomTimedRPCSync failed: err code=%d",
                code);
            return AgentResult::kCallFailed;
        }
        if (response.data == nullptr) {
            GRP_ERROR("ProcMgrAgent : LoadStartupCfgInfo failed, resp.data is nullptr");
            return AgentResult::kNoAnswerData;
        }
        const int result = ParseResult(response);
        GRP_INFO("ProcMgrAgent : LoadStartupCfgInfo result=%d", result);
        if (result != 0) {
            GRP_ERROR("ProcMgrAgent : LoadStartupCfgInfo failed, result=%d", result);
            return AgentResult::kRefused;
        }
    }
    return AgentResult::kSuccess;
}

// The callback is stored before the connection is looked at: kept on purpose, so that a host that
// registers first and connects later hears every report, whatever the result says.
template <typename Callback>
uint32_t ProcMgrAgentImpl::RegisterCallback(Callback callback, Callback ProcMgrAgentImpl::*slot) {
    GRP_EVENT("********* ProcMgrAgent : RegAppStateChangeCallBack begin :cur_proName=%s",
              GetEnvironment(kProcNameEnv).value_or("").c_str());
    if (!callback) {
        GRP_ERROR("ProcMgrAgent :RegAppStateChangeCallBack failed: cb is null");
        return AgentResult::kBadArgument;
    }
    {
        MutexLock lock(callbackMutex_);
        this->*slot = std::move(callback);
    }
    if (!isConnected_) {
        GRP_ERROR("ProcMgrAgent :RegisterService failed: CheckPipeIsOk failed");
        return AgentResult::kNotConnected;
    }
    GRP_INFO("********* ProcMgrAgent : RegAppStateChangeCallBack success fd=%d", fd_.load());
    return AgentResult::kSuccess;
}

uint32_t ProcMgrAgentImpl::RegAppStateChangeCallBackImpl(AppStateChangeCallback callback) {
    return RegisterCallback(std::move(callback), &ProcMgrAgentImpl::appStateChangeCb_);
}

uint32_t ProcMgrAgentImpl::RegQueryAppStateCallBackImpl(QueryAppStateRespCallback callback) {
    return RegisterCallback(std::move(callback), &ProcMgrAgentImpl::dealQueryAppStateRespCb_);
}

void ProcMgrAgentImpl::StartOwnerHeart() {
    if (isHeartStarted_.exchange(true)) {
        return;
    }
    const std::optional<std::string> ownName = GetEnvironment(kProcNameEnv);
    if (!ownName) {
        GRP_EVENT("ProcMgrAgent : cur proName is null.");
        return;
    }
    GRP_EVENT("ProcMgrAgent: register heart beat from %s to %s.", ownName->c_str(), kProcMgrName);
    heartBeatParams_ = {kMissedBeats, kBeatPeriod};
    const int result =
        RegisterSendHeartBeat(ownName->data(), std::min(ownName->size(), kLongestOwnName),
                              kProcMgrName, sizeof(kProcMgrName) - 1, &heartBeatParams_);
    if (result != 0) {
        GRP_ERROR("ProcMgrAgent: register heart beat from %s to %s failed. (ret=%d)",
                  ownName->c_str(), kProcMgrName, result);
    }
}

uint32_t ProcMgrAgentImpl::StopOwnerHeart() {
    isConnected_ = false;
    (void)UnregisterSendHeartBeat();  // harmless when there was no heartbeat
    return AgentResult::kSuccess;
}

}  // namespace ProcMgr
