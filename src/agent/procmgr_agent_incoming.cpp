// The agent's other direction: records of the process manager, and how the handling thread reaches
// the agent at all while the process may be ending.

#include <cstring>
#include <exception>
#include <memory>

#include "src/agent/procmgr_agent_impl.h"
#include "src/agent/procmgr_agent_serialization.h"
#include "src/agent/query_serialization.h"
#include "src/common/logging.h"

namespace ProcMgr {

using Message::RequestMsg;
using Message::RequestType;

namespace {

/// The process-wide pointer and how many handlers are running behind it.
struct AgentSlot {
    Mutex mutex;  // a leaf
    CondVar drained;
    ProcMgrAgentImpl* agent GUARDED_BY(mutex) = nullptr;
    unsigned handlers GUARDED_BY(mutex) = 0;
};

// Never destroyed: the handling thread may still come by when static objects are gone.
AgentSlot& Slot() {
    static AgentSlot* const slot = std::make_unique<AgentSlot>().release();
    return *slot;
}

// A handler may itself end the process; the agent's destructor must not wait for its own thread.
thread_local unsigned handlersOfThisThread = 0;

}  // namespace

/// Keeps the agent from being destroyed while a handler runs.
class ProcMgrAgentImpl::Pin {
public:
    Pin() {
        AgentSlot& slot = Slot();
        MutexLock lock(slot.mutex);
        agent_ = slot.agent;
        ++slot.handlers;
        ++handlersOfThisThread;
    }

    ~Pin() {
        AgentSlot& slot = Slot();
        MutexLock lock(slot.mutex);
        --handlersOfThisThread;
        --slot.handlers;
        slot.drained.NotifyAll();
    }

    Pin(const Pin&) = delete;
    Pin& operator=(const Pin&) = delete;

    /// Null when the agent is gone.
    ProcMgrAgentImpl* Agent() const { return agent_; }

private:
    ProcMgrAgentImpl* agent_;
};

ProcMgrAgentImpl::ProcMgrAgentImpl() {
    AgentSlot& slot = Slot();
    MutexLock lock(slot.mutex);
    slot.agent = this;
}

ProcMgrAgentImpl::~ProcMgrAgentImpl() {
    Close();
}

void ProcMgrAgentImpl::Close() {
    isConnected_ = false;
    {
        AgentSlot& slot = Slot();
        MutexLock lock(slot.mutex);
        if (slot.agent == this) {
            slot.agent = nullptr;
        }
        while (slot.handlers > handlersOfThisThread) {
            slot.drained.Wait(slot.mutex);
        }
    }
    (void)UnregisterSendHeartBeat();  // harmless when there was no heartbeat
    AppStateChangeCallback reports;
    QueryAppStateRespCallback answers;
    MutexLock lock(callbackMutex_);
    appStateChangeCb_.swap(reports);
    dealQueryAppStateRespCb_.swap(answers);
}

ProcMgrAgentImpl* ProcMgrAgentImpl::GetThis() {
    AgentSlot& slot = Slot();
    MutexLock lock(slot.mutex);
    return slot.agent;
}

void ProcMgrAgentImpl::ProcMgrAgentRequstMsgHandler(int fd, const EzcomRequest* request) {
    try {
        HandleRequest(fd, request);
    } catch (const std::exception& error) {
        GRP_ERROR("ProcMgrAgent : ProcMgrAgentRequstMsgHandler failed: %s. (fd=%d)", error.what(),
                  fd);
    }
}

void ProcMgrAgentImpl::HandleRequest(int fd, const EzcomRequest* request) {
    if (request == nullptr) {
        GRP_EVENT("ProcMgrAgent : ProcMgrAgentRequstMsgHandler failed: req is null point. (fd=%d)",
                  fd);
        return;
    }
    if (request->size != sizeof(RequestMsg)) {
        GRP_ERROR("ProcMgrAgent : ProcMgrAgentRequstMsgHandler failed: size=%u bytes is illegal",
                  request->size);
        return;
    }
    if (request->data == nullptr) {
        GRP_ERROR("ProcMgrAgent : ProcMgrAgentRequstMsgHandler failed: request is null point");
        return;
    }
    const Pin pin;
    if (pin.Agent() == nullptr) {
        return;
    }
    RequestMsg record;  // a copy: the service's buffer need not be aligned
    std::memcpy(&record, request->data, sizeof(record));
    switch (static_cast<RequestType>(record.type)) {
        case RequestType::QUERY_APP_STATE_RESP:
            pin.Agent()->QueryAppStateRespHandler(&record);
            break;
        case RequestType::APP_STATE_REPORT:
            pin.Agent()->HandleAppStateReport(fd, record);
            break;
        default:
            break;
    }
}

void ProcMgrAgentImpl::HandleAppStateReport(int fd, const RequestMsg& record) {
    std::vector<Message::AppStateInfo> apps;
    (void)Serialization::ProcMgrUnpackedAppStateRequest(&record, apps);  // empty when it failed
    if (apps.empty()) {
        GRP_ERROR(
            "ProcMgrAgent : ProcMgrAgentRequstMsgHandler failed: ProcMgrUnpackedAppStateRequest "
            "appStateList is null");
        return;
    }
    AppStateChangeCallback callback;
    {
        MutexLock lock(callbackMutex_);
        callback = appStateChangeCb_;
    }
    if (!callback) {
        GRP_ERROR("Process pm request message, but callback is null. (fd=%d)", fd);
        return;
    }
    callback(apps);
}

void ProcMgrAgentImpl::QueryAppStateRespHandler(const RequestMsg* record) {
    std::map<std::string, uint32_t> states;
    if (!Serialization::DeserializeMessage(*record, states) || states.empty()) {
        GRP_ERROR("ProcMgrAgent: QueryAppStateRespHandler failed: appStatusList is null");
        return;
    }
    QueryAppStateRespCallback callback;
    {
        MutexLock lock(callbackMutex_);
        callback = dealQueryAppStateRespCb_;
    }
    if (!callback) {
        GRP_ERROR("ProcMgrAgent: dealQueryAppStateRespCb_ is null");
        return;
    }
    callback(states);
}

}  // namespace ProcMgr
