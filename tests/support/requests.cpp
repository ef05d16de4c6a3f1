#include "tests/support/requests.h"

#include "client/ss_wire.h"
#include "platform/memory/memory_platform.h"
#include "tests/support/group.h"

namespace GrpOwnerTest {

namespace SsWire = GrpOwnerClient::SsWire;

std::string Ask(unsigned command, const std::string& payload, int32_t timeout) {
    SsWire::Record record = *SsWire::MakeRecord(payload, timeout, 0);
    const int code = GrpOwnerMemory::VirtualFileClient(kRequestFile)
                         .Ioctl(command, record.data(), record.size());
    const auto answer = SsWire::TakePayload({code, std::move(record)});
    return answer ? *answer : "error " + answer.GetError().message;
}

std::string AskChange(const std::vector<std::string>& term, const std::vector<std::string>& start,
                      const std::vector<std::string>& restart, int32_t timeout) {
    std::vector<GrpOwnerClient::Change> changes;
    const auto add = [&changes](const auto& names, ProcMgr::OptionType option) {
        for (const std::string& name : names) {
            changes.push_back({name, option, {}, {}});
        }
    };
    add(term, ProcMgr::OptionType::TERM);
    add(start, ProcMgr::OptionType::START);
    add(restart, ProcMgr::OptionType::RESTART);
    return Ask(kChangeApps, *SsWire::PackChange(changes), timeout);
}

std::string AskStates(const std::vector<std::string>& names) {
    return Ask(kQueryStates, SsWire::PackQuery(names));
}

}  // namespace GrpOwnerTest
