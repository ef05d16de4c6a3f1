// The agent's requests and reports to the process manager. All follow one pattern: log the
// beginning, check, pack into pieces, combine into records, send.

#include "src/agent/procmgr_agent_impl.h"
#include "src/agent/procmgr_agent_serialization.h"
#include "src/agent/query_serialization.h"
#include "src/common/logging.h"
#include "src/common/process_constants.h"
#include "src/common/process_utils.h"

namespace ProcMgr {

using Message::RequestMsg;
using Message::RequestType;
using Serialization::Piece;

/// What each failure of a request is logged as.
struct RequestFailureTexts {
    const char* notConnected;
    const char* empty;  // null where there is no list to be empty
    const char* packFailed;
    const char* combineFailed;
    const char* sendFailed;
};

namespace {

constexpr RequestFailureTexts kStartTexts{
    "ProcMgrAgent : StartApp failed: agent is not ok, please exec ProcMgrAgent::isOk",
    "ProcMgrAgent : StartApp failed: startAppList is zero",
    "ProcMgrAgent : StartApp failed: ProcMgrPackStartRequest failed",
    "ProcMgrAgent : StartApp failed: ProcMgrCombinePiecesMsg failed",
    "ProcMgrAgent : StartApp failed: SendRequestMsg failed"};

constexpr RequestFailureTexts kRestartTexts{
    "ProcMgrAgent : restartApp failed: agent is not ok, please exec ProcMgrAgent::isOk",
    "ProcMgrAgent : restartApp failed: restartAppList is zero",
    "ProcMgrAgent : restartApp failed: PackrestartRequest failed",
    "ProcMgrAgent : restartApp failed: ProcMgrCombinePiecesMsg failed",
    "ProcMgrAgent : restartApp failed: SendRequestMsg failed"};

constexpr RequestFailureTexts kTermTexts{
    "ProcMgrAgent : TermApp failed: agent is not ok, please exec ProcMgrAgent::isOk",
    "ProcMgrAgent : TermApp failed: TermAppList is zero",
    "ProcMgrAgent : TermApp failed: ProcMgrPackTermRequest failed",
    "ProcMgrAgent : TermApp failed: ProcMgrCombinePiecesMsg failed",
    "ProcMgrAgent : TermApp failed: SendRequestMsg failed"};

constexpr RequestFailureTexts kBaseStateTexts{
    "ProcMgrAgent: ReportBaseServiceState failed: agent is not ok, please exec ProcMgrAgent::isOk",
    nullptr,
    "ProcMgrAgent : ReportBaseServiceState failed: ProcMgrPackBaseServiceStateRequest failed",
    "ProcMgrAgent : ReportBaseServiceState failed: ProcMgrCombinePiecesMsg failed",
    "ProcMgrAgent : ReportBaseServiceState failed: SendRequestMsg failed"};

// The borrowed wording of the packing failure is kept.
constexpr RequestFailureTexts kExecStateTexts{
    "ProcMgrAgent : ReportAppExecState failed: agent is not ok", nullptr,
    "ProcMgrAgent : ReportAppExecState failed: PackrestartRequest failed",
    "ProcMgrAgent : ReportAppExecState failed: ProcMgrCombinePiecesMsg failed",
    "ProcMgrAgent : ReportAppExecState failed: SendRequestMsg failed"};

uint32_t Fail(const char* text, uint32_t result) {
    GRP_ERROR("%s", text);
    return result;
}

std::string Stamp() {
    return BootStrace(kPmAgentRole);
}

}  // namespace

uint32_t ProcMgrAgentImpl::SendPacked(const RequestFailureTexts& texts, RequestType type,
                                      const Packer& pack) const {
    if (!isConnected_) {
        return Fail(texts.notConnected, AgentResult::kNotConnected);
    }
    std::vector<Piece> pieces;
    if (!pack(pieces)) {
        return Fail(texts.packFailed, AgentResult::kPackFailed);
    }
    std::vector<RequestMsg> records;
    if (!Serialization::ProcMgrCombinePiecesMsg(type, pieces, records)) {
        return Fail(texts.combineFailed, AgentResult::kPackFailed);
    }
    if (!SendRequestMsg(fd_, records)) {
        return Fail(texts.sendFailed, AgentResult::kSendFailed);
    }
    return AgentResult::kSuccess;
}

uint32_t ProcMgrAgentImpl::StartApp(const std::vector<Message::StartAppInfo>& apps) {
    GRP_EVENT("%s, ProcMgrAgent Send START_APP msg to PM begin: startAppList size=%lu",
              Stamp().c_str(), apps.size());
    if (apps.empty()) {
        return Fail(kStartTexts.empty, AgentResult::kBadArgument);
    }
    return SendPacked(kStartTexts, RequestType::START_APP, [&apps](std::vector<Piece>& pieces) {
        return Serialization::ProcMgrPackStartRequest(apps, pieces);
    });
}

uint32_t ProcMgrAgentImpl::RestartApp(const std::vector<Message::RestartAppInfo>& apps) {
    GRP_EVENT("%s, ProcMgrAgent Send RESTART_APP msg to PM begin: restartAppList size=%lu",
              Stamp().c_str(), apps.size());
    if (apps.empty()) {
        return Fail(kRestartTexts.empty, AgentResult::kBadArgument);
    }
    return SendPacked(kRestartTexts, RequestType::RESTART_APP, [&apps](std::vector<Piece>& pieces) {
        return Serialization::ProcMgrPackRestartRequest(apps, pieces);
    });
}

uint32_t ProcMgrAgentImpl::TermApp(const std::vector<Message::TermAppInfo>& apps) {
    GRP_EVENT("%s, ProcMgrAgent Send TERM_APP msg to PM begin: termAppList size=%lu",
              Stamp().c_str(), apps.size());
    if (apps.empty()) {
        return Fail(kTermTexts.empty, AgentResult::kBadArgument);
    }
    return SendPacked(kTermTexts, RequestType::TERM_APP, [&apps](std::vector<Piece>& pieces) {
        return Serialization::ProcMgrPackTermRequest(apps, pieces);
    });
}

uint32_t ProcMgrAgentImpl::ReportBaseServiceState(const Message::BaseServiceStateInfo& info) {
    GRP_EVENT("%s, ProcMgrAgent Send BASESERVICE_STATE_REPORT msg to PM begin: BaseServiceState=%s",
              Stamp().c_str(),
              GetBaseServiceStateTypeStr(static_cast<uint32_t>(info.state)).c_str());
    return SendPacked(kBaseStateTexts, RequestType::BASESERVICE_STATE_REPORT,
                      [&info](std::vector<Piece>& pieces) {
                          return Serialization::ProcMgrPackBaseServiceStateRequest(info, pieces);
                      });
}

uint32_t ProcMgrAgentImpl::ReportAppExecState(Message::AppExecInfo info) {
    GRP_EVENT("%s, ProcMgrAgent Send APP_EXECUTION_REPORT msg to PM begin", Stamp().c_str());
    return SendPacked(kExecStateTexts, RequestType::APP_EXECUTION_REPORT,
                      [&info](std::vector<Piece>& pieces) {
                          return Serialization::ProcMgrPackAppExecInfoRequest(info, pieces);
                      });
}

uint32_t ProcMgrAgentImpl::LoadStartupCfgInfo(const Message::StartupCfgInfo& info) {
    GRP_EVENT("%s, ProcMgrAgent Send LOAD_STARTUP_CFG msg to PM begin", Stamp().c_str());
    return LoadStartupCfgInfo(info, RequestType::LOAD_STARTUP_CFG);
}

uint32_t ProcMgrAgentImpl::ReLoadStartupCfgInfo(const Message::StartupCfgInfo& info) {
    GRP_EVENT("%s, ProcMgrAgent Send RELOAD_STARTUP_CFG msg to PM begin", Stamp().c_str());
    return LoadStartupCfgInfo(info, RequestType::RELOAD_STARTUP_CFG);
}

uint32_t ProcMgrAgentImpl::LoadStartupCfgInfo(const Message::StartupCfgInfo& info,
                                              RequestType type) {
    if (!isConnected_) {
        return Fail("ProcMgrAgent : LoadStartupCfgInfo failed: agent is not ok",
                    AgentResult::kNotConnected);
    }
    std::vector<Piece> pieces;
    if (!Serialization::ProcMgrPackMatchDataAndPathRequest(info, pieces)) {
        return Fail(
            "ProcMgrAgent : LoadStartupCfgInfo failed: ProcMgrPackMatchDataAndPathRequest failed",
            AgentResult::kPackFailed);
    }
    std::vector<RequestMsg> records;
    if (!Serialization::ProcMgrCombinePiecesMsg(type, pieces, records)) {
        return Fail("ProcMgrAgent : LoadStartupCfgInfo failed: ProcMgrCombinePiecesMsg failed",
                    AgentResult::kPackFailed);
    }
    return RpcSyncAndGetResult(records);
}

uint32_t ProcMgrAgentImpl::QueryAppState(const std::vector<std::string>& names) {
    GRP_EVENT("%s, ProcMgrAgent Send QUERY_APP_STATE msg to PM begin: appList size=%zu",
              Stamp().c_str(), names.size());
    if (names.empty()) {
        return Fail("ProcMgrAgent : QueryAppState failed: appList is empty",
                    AgentResult::kBadArgument);
    }
    if (!isConnected_) {
        return Fail("ProcMgrAgent : QueryAppState failed: agent is not ok",
                    AgentResult::kNotConnected);
    }
    std::vector<RequestMsg> records(1);
    if (!Serialization::SerializeMessage(names, records.front())) {
        // Kept on purpose: nothing is sent, and the caller's wait ends by its time-out.
        return Fail("ProcMgrAgent : QueryAppState SerializeMessage failed", AgentResult::kSuccess);
    }
    if (!SendRequestMsg(fd_, records)) {
        return Fail("ProcMgrAgent : QueryAppState failed: SendRequestMsg failed",
                    AgentResult::kSendFailed);
    }
    return AgentResult::kSuccess;
}

}  // namespace ProcMgr
