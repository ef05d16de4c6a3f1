// The records of the wires, one at a time and nearly full: entries and bytes of payload a second.

#include <benchmark/benchmark.h>

#include <cstring>
#include <limits>

#include "bench/micro/instant_pm.h"
#include "platform/memory/memory_platform.h"
#include "src/agent/procmgr_agent_serialization.h"
#include "src/agent/query_serialization.h"
#include "src/ss/ss_query_serialization.h"
#include "src/ss/ss_to_owner_serialization.h"

namespace GrpOwnerBench {

namespace {

using namespace ProcMgr;

std::string Name(int64_t number) {
    return "application" + std::to_string(1000 + number);
}

std::string Bytes(size_t number) {
    const auto narrow = static_cast<uint32_t>(number);
    return {reinterpret_cast<const char*>(&narrow), sizeof(narrow)};
}

/// A list in text or in binary: the count, then each name with a text around it.
std::string Texts(const benchmark::State& state, const char* behind) {
    std::string payload = std::to_string(state.range(0)) + '#';
    for (int64_t number = 0; number < state.range(0); ++number) {
        payload += Name(number) + behind;
    }
    return payload;
}

std::string Binary(const benchmark::State& state, const std::string& behind) {
    std::string payload = Bytes(static_cast<size_t>(state.range(0)));
    for (int64_t number = 0; number < state.range(0); ++number) {
        payload += Bytes(Name(number).size()) + Name(number) + behind;
    }
    return payload;
}

template <typename Coder>
void Run(benchmark::State& state, size_t bytes, Coder code) {
    GrpOwnerMemory::SetLogThreshold(std::numeric_limits<int>::max());
    for (auto iteration : state) {
        if (!code()) {
            state.SkipWithError("the record is refused");
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes));
}

/// Decodes a request of the system-state manager into a fresh result.
template <typename Result, typename Decoder>
void DecodeRequest(benchmark::State& state, const std::string& payload, Decoder decode) {
    SS::SsToOwnerRequestMsg request{payload.size(), 0, {}};
    payload.copy(request.data, sizeof(request.data));
    Run(state, payload.size(), [&] {
        Result result{};
        return decode(request, result);
    });
}

/// The same with a record of the process manager.
template <typename Result, typename Decoder>
void DecodeRecord(benchmark::State& state, uint32_t type, const std::string& payload,
                  Decoder decode) {
    Message::RequestMsg record{};
    std::memcpy(&record, PmRecord(type, payload).data(), sizeof(record));
    Run(state, payload.size(), [&] {
        Result result;
        return decode(record, result);
    });
}

void DecodeChange(benchmark::State& state) {
    DecodeRequest<std::vector<SS::AppInfo>>(state, Texts(state, "#0#2#--verbose#--level=3#0#"),
                                            SS::UnPackChangeAppInfoRequestMsg);
}

void DecodeVerify(benchmark::State& state) {
    DecodeRequest<std::map<std::string, uint32_t>>(state, Texts(state, "#1#"),
                                                   SS::UnPackVerifyRequest);
}

void DecodeSetState(benchmark::State& state) {
    DecodeRequest<int>(state, "128#", SS::UnPackSetSystemStateRequest);
}

void DecodeQuery(benchmark::State& state) {
    DecodeRequest<std::vector<std::string>>(state, Binary(state, {}), SS::DeserializeMessage);
}

void DecodeReport(benchmark::State& state) {
    DecodeRecord<std::vector<Message::AppStateInfo>>(
        state, kReportType, Texts(state, "#4711#0#0#0#"),
        [](const Message::RequestMsg& record, std::vector<Message::AppStateInfo>& apps) {
            return Serialization::ProcMgrUnpackedAppStateRequest(&record, apps);
        });
}

void DecodeQueryAnswer(benchmark::State& state) {
    DecodeRecord<std::map<std::string, uint32_t>>(state, kQueryAnswerType, Binary(state, Bytes(2)),
                                                  Serialization::DeserializeMessage);
}

void EncodeStart(benchmark::State& state) {
    std::vector<Message::StartAppInfo> apps;
    for (int64_t number = 0; number < state.range(0); ++number) {
        apps.push_back({Name(number), {"--verbose", "--level=3"}, {}});
    }
    Run(state, Texts(state, "#2#--verbose#--level=3#0#").size(), [&apps] {
        std::vector<Serialization::Piece> pieces;
        std::vector<Message::RequestMsg> records;
        return Serialization::ProcMgrPackStartRequest(apps, pieces) &&
               Serialization::ProcMgrCombinePiecesMsg(Message::RequestType::START_APP, pieces,
                                                      records);
    });
}

BENCHMARK(DecodeChange)->Name("Decode/change")->Arg(90);
BENCHMARK(DecodeVerify)->Name("Decode/verify")->Arg(200);
BENCHMARK(DecodeSetState)->Name("Decode/set_state")->Arg(1);
BENCHMARK(DecodeQuery)->Name("Decode/query")->Arg(200);
BENCHMARK(DecodeReport)->Name("Decode/pm_report")->Arg(1)->Arg(128);
BENCHMARK(DecodeQueryAnswer)->Name("Decode/pm_query_answer")->Arg(160);
BENCHMARK(EncodeStart)->Name("Encode/pm_start")->Arg(1)->Arg(1024);

}  // namespace

}  // namespace GrpOwnerBench
