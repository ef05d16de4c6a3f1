#include "tests/support/pm_records.h"

#include <deque>
#include <stdexcept>

namespace GrpOwnerTest {

using ProcMgrDaemon::RecordType;

namespace {

template <typename Decoded>
auto Must(Decoded decoded) {
    if (!decoded) {
        throw std::runtime_error("a record that the process manager refuses");
    }
    return *std::move(decoded);
}

}  // namespace

PmRequest DecodeRequest(const std::string& bytes) {
    const ProcMgrDaemon::Record record = Must(ProcMgrDaemon::ReadRecord(bytes));
    const std::string_view payload = record.Payload();
    if (bytes.find_first_not_of('\0', 16 + payload.size()) != std::string::npos) {
        throw std::runtime_error("bytes other than zero behind the payload");
    }
    PmRequest request;
    request.type = record.type;
    switch (static_cast<RecordType>(record.type)) {
        case RecordType::kStart:
        case RecordType::kRestart:
            request.apps = Must(ProcMgrDaemon::DecodeLaunches(payload));
            break;
        case RecordType::kTerminate:
            for (const std::string& name : Must(ProcMgrDaemon::DecodeTerminations(payload))) {
                request.apps.push_back({name, {}, {}});
            }
            break;
        case RecordType::kBaseState:
            request.baseState = Must(ProcMgrDaemon::DecodeBaseState(payload));
            break;
        case RecordType::kLoad:
        case RecordType::kReload:
            request.configuration = Must(ProcMgrDaemon::DecodeConfiguration(payload));
            break;
        case RecordType::kQuery:
            request.asked = Must(ProcMgrDaemon::DecodeQuery(payload));
            break;
        default:
            throw std::runtime_error("a record of type " + std::to_string(record.type));
    }
    return request;
}

std::string EncodeReports(const std::vector<PmReport>& reports) {
    std::deque<ProcMgrDaemon::Report> left;
    for (const auto& [name, pid, type, reason] : reports) {
        left.push_back({name, pid, static_cast<ProcMgrDaemon::ReportKind>(type), reason});
    }
    ProcMgrDaemon::Record record{};
    if (ProcMgrDaemon::EncodeReports(left, record) != reports.size()) {
        throw std::runtime_error("too many reports for a record");
    }
    return Bytes(record);
}

std::string EncodeQueryAnswer(const std::vector<std::pair<std::string, uint32_t>>& states) {
    std::vector<std::pair<std::string, ProcMgrDaemon::QueriedState>> answer;
    for (const auto& [name, state] : states) {
        answer.emplace_back(name, static_cast<ProcMgrDaemon::QueriedState>(state));
    }
    return Bytes(ProcMgrDaemon::EncodeStates(answer).at(0));
}

}  // namespace GrpOwnerTest
