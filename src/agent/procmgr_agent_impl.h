#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "platform/heartbeat_service.h"
#include "platform/pipe_service.h"
#include "src/agent/procmgr_agent.h"
#include "src/common/sync.h"

namespace ProcMgr {

struct RequestFailureTexts;

/// The one client of the process manager: its pipe, its requests and what comes back.
///
/// Requests come from any of the owner's threads and take no lock; each record goes to the pipe
/// whole. Records of the process manager arrive on the pipe service's handling thread, which
/// reaches the agent through a process-wide pointer. callbackMutex_ guards the callbacks and is a
/// leaf: they are copied out and called without it.
class ProcMgrAgentImpl : public ProcMgrAgent {
public:
    ProcMgrAgentImpl();
    ~ProcMgrAgentImpl() override;
    ProcMgrAgentImpl(const ProcMgrAgentImpl&) = delete;
    ProcMgrAgentImpl& operator=(const ProcMgrAgentImpl&) = delete;

    uint32_t IsOk() override;
    uint32_t StartApp(const std::vector<Message::StartAppInfo>& apps) override;
    uint32_t RestartApp(const std::vector<Message::RestartAppInfo>& apps) override;
    uint32_t TermApp(const std::vector<Message::TermAppInfo>& apps) override;
    uint32_t ReportBaseServiceState(const Message::BaseServiceStateInfo& info) override;
    uint32_t ReportAppExecState(Message::AppExecInfo info) override;
    uint32_t LoadStartupCfgInfo(const Message::StartupCfgInfo& info) override;
    uint32_t ReLoadStartupCfgInfo(const Message::StartupCfgInfo& info) override;
    uint32_t StopOwnerHeart() override;
    uint32_t QueryAppState(const std::vector<std::string>& names) override;
    uint32_t RegAppStateChangeCallBackImpl(AppStateChangeCallback callback) override
        EXCLUDES(callbackMutex_);
    uint32_t RegQueryAppStateCallBackImpl(QueryAppStateRespCallback callback) override
        EXCLUDES(callbackMutex_);

    /// Begins the heartbeat to the process manager; only the first call of a process does.
    void StartOwnerHeart();

    /// Sends one way, record by record; what was sent before a failure stays sent.
    bool SendRequestMsg(int fd, const std::vector<Message::RequestMsg>& records) const;

    /// Sends record by record, each after the answer 0 to the one before it.
    /// @return an AgentResult
    uint32_t RpcSyncAndGetResult(const std::vector<Message::RequestMsg>& records) const;

    uint32_t LoadStartupCfgInfo(const Message::StartupCfgInfo& info, Message::RequestType type);

    void QueryAppStateRespHandler(const Message::RequestMsg* record) EXCLUDES(callbackMutex_);

    /// The pipe service's handler. Lets no exception out, and nothing happens in it once the agent
    /// is being destroyed.
    static void ProcMgrAgentRequstMsgHandler(int fd, const EzcomRequest* request);

    /// The end of its work: leaves the process-wide slot, waits for handlers that run, ends the
    /// heartbeat and drops the callbacks. The pipe stays open; requests are refused from here on.
    void Close() EXCLUDES(callbackMutex_);

    /// The process's agent; null before its construction and once it is closed.
    static ProcMgrAgentImpl* GetThis();

private:
    class Pin;
    using Packer = std::function<bool(std::vector<std::pair<uint32_t, std::string>>& pieces)>;

    static void HandleRequest(int fd, const EzcomRequest* request);
    void HandleAppStateReport(int fd, const Message::RequestMsg& record) EXCLUDES(callbackMutex_);

    template <typename Callback>
    uint32_t RegisterCallback(Callback callback, Callback ProcMgrAgentImpl::*slot)
        EXCLUDES(callbackMutex_);

    uint32_t SendPacked(const RequestFailureTexts& texts, Message::RequestType type,
                        const Packer& pack) const;

    AppStateChangeCallback appStateChangeCb_ GUARDED_BY(callbackMutex_);
    QueryAppStateRespCallback dealQueryAppStateRespCb_ GUARDED_BY(callbackMutex_);
    std::atomic<bool> isConnected_{false};
    std::atomic<bool> isHeartStarted_{false};
    std::atomic<int32_t> fd_{0};             // kept when the connection is given up
    HeartBeatSendParams heartBeatParams_{};  // written once, by whoever starts the heartbeat
    Mutex callbackMutex_;
};

}  // namespace ProcMgr
