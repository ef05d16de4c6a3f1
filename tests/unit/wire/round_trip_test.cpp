// Whatever one end writes the other reads as it was meant, for values of chance.

#include <gtest/gtest.h>

#include <cstring>
#include <deque>
#include <map>
#include <random>
#include <tuple>

#include "client/ss_wire.h"
#include "daemons/procmgrd/pm_wire.h"
#include "src/agent/procmgr_agent_serialization.h"
#include "src/agent/query_serialization.h"
#include "src/ss/ss_query_serialization.h"

namespace ProcMgr {
namespace {

namespace Ss = GrpOwnerClient::SsWire;
namespace Pm = ProcMgrDaemon;
using namespace Serialization;
using Message::RequestMsg;
using Texts = std::vector<std::string>;
using Launches = std::map<std::string, std::tuple<Texts, DynamicParas>>;
using Numbers = std::map<std::string, uint32_t>;

constexpr uint32_t kSeeds = 100;

class Chance {
public:
    explicit Chance(uint32_t seed) : engine_(seed) {}

    uint32_t Number(uint32_t most = UINT32_MAX) {
        return std::uniform_int_distribution<uint32_t>(0, most)(engine_);
    }
    std::string Text() {
        std::string text(Number(12), ' ');
        for (char& letter : text) {
            letter = static_cast<char>(Number(255));
            letter = std::strchr("#\r\n", letter) == nullptr ? letter : ' ';  // NUL too
        }
        return text;
    }
    Numbers NamedNumbers(uint32_t most) {
        Numbers numbers;
        for (uint32_t left = Number(most); left > 0; --left) {
            numbers[Text() + std::to_string(left)] = Number();
        }
        return numbers;
    }
    Launches SomeLaunches() {
        Launches launches;
        for (const auto& [name, number] : NamedNumbers(30)) {
            auto& [arguments, parameters] = launches[name];
            arguments.resize(number % 3, Text());
            for (uint32_t left = Number(2); left > 0; --left) {
                parameters[static_cast<int32_t>(Number(2))] = {Text(), Text()};
            }
        }
        return launches;
    }

private:
    std::mt19937 engine_;
};

SS::SsToOwnerRequestMsg Sent(const std::string& payload) {
    SS::SsToOwnerRequestMsg request;
    std::memcpy(&request, Ss::MakeRecord(payload, 5000, 1)->data(), sizeof(request));
    return request;
}

std::string Answered(const SS::SsToOwnerResponseMsg& response) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(&response);
    return *Ss::TakePayload({static_cast<int>(response.size + 8), {bytes, bytes + 4000}});
}

Pm::Record AtManager(const RequestMsg& record) {
    return *Pm::ReadRecord({reinterpret_cast<const char*>(&record), sizeof(record)});
}

std::vector<Pm::Record> AtManager(std::vector<Piece> pieces) {
    std::vector<RequestMsg> records;
    EXPECT_EQ(ProcMgrCombinePiecesMsg({}, pieces, records), !pieces.empty());
    std::vector<Pm::Record> arrived;
    for (const RequestMsg& record : records) {
        arrived.push_back(AtManager(record));
    }
    return arrived;
}

RequestMsg AtOwner(const Pm::Record& record) {
    RequestMsg arrived;
    std::memcpy(&arrived, &record, sizeof(arrived));
    return arrived;
}

TEST(RoundTrip, FromTheClientToTheOwner) {
    for (uint32_t seed = 0; seed < kSeeds; ++seed) {
        SCOPED_TRACE(seed);
        Chance chance(seed);
        const Launches launches = chance.SomeLaunches();
        std::vector<GrpOwnerClient::Change> changes;
        Texts names;
        for (const auto& [name, launch] : launches) {
            changes.push_back(
                {name, OptionType::RESTART, std::get<0>(launch), std::get<1>(launch)});
            names.push_back(name);
        }
        std::vector<SS::AppInfo> apps;
        ASSERT_TRUE(UnPackChangeAppInfoRequestMsg(Sent(*Ss::PackChange(changes)), apps));
        Launches arrived;
        for (const SS::AppInfo& app : apps) {
            EXPECT_EQ(app.optionType, 2U);
            arrived[app.name] = {app.argv, app.dynamicParas};
        }
        EXPECT_EQ(arrived, launches);
        Texts asked;
        ASSERT_TRUE(SS::DeserializeMessage(Sent(Ss::PackQuery(names)), asked));
        EXPECT_EQ(asked, names);
        const Numbers options = chance.NamedNumbers(100);
        Numbers verified;
        ASSERT_TRUE(UnPackVerifyRequest(Sent(*Ss::PackVerify(options)), verified));
        EXPECT_EQ(verified, options);
    }
}

TEST(RoundTrip, FromTheOwnerToTheClient) {
    for (uint32_t seed = 0; seed < kSeeds; ++seed) {
        SCOPED_TRACE(seed);
        const Numbers numbers = Chance(seed).NamedNumbers(100);
        std::vector<AppChangeInfo> results;
        std::vector<AppStatus> statuses;
        Texts names;
        for (const auto& [name, number] : numbers) {
            results.push_back({name, static_cast<AppChangeState>(number)});
            statuses.push_back({name, static_cast<int32_t>(number), number % 3});
            names.push_back(name);
        }
        SS::SsToOwnerResponseMsg response;
        ASSERT_TRUE(SS::PackChangeAppInfoResponse(false, results, response));
        const auto change = Ss::UnpackChange(Answered(response));
        Numbers changed;
        for (const auto& result : change->results) {
            changed[result.name] = result.state;
        }
        EXPECT_EQ(changed, numbers);
        ASSERT_TRUE(SS::SerializeMessage(true, statuses, response));
        const auto query = Ss::UnpackQuery(Answered(response));
        Numbers pids;
        for (const auto& status : query->entries) {
            pids[status.name] = static_cast<uint32_t>(status.pid);
            EXPECT_EQ(status.state, pids[status.name] % 3);
        }
        EXPECT_EQ(pids, numbers);
        ASSERT_EQ(SS::PutText(SS::NameListText(true, names), response), 0);
        EXPECT_EQ(Ss::UnpackList(Answered(response))->names, names);
    }
}

TEST(RoundTrip, FromTheOwnerToTheProcessManager) {
    for (uint32_t seed = 0; seed < kSeeds; ++seed) {
        SCOPED_TRACE(seed);
        Chance chance(seed);
        const Launches launches = chance.SomeLaunches();
        Message::StartupCfgInfo load{{}, chance.Text()};
        std::vector<Message::StartAppInfo> starts;
        Texts names;
        for (const auto& [name, launch] : launches) {
            starts.push_back({name, std::get<0>(launch), std::get<1>(launch)});
            load.matchData[name] = chance.Text();
            names.push_back(name);
        }
        std::vector<Piece> pieces;
        ASSERT_TRUE(ProcMgrPackStartRequest(starts, pieces));
        Launches arrived;
        for (const Pm::Record& record : AtManager(pieces)) {
            const auto some = Pm::DecodeLaunches(record.Payload());
            for (const auto& launch : *some) {
                arrived[launch.name] = {launch.arguments, launch.parameters};
            }
        }
        EXPECT_EQ(arrived, launches);
        pieces.clear();
        ASSERT_TRUE(ProcMgrPackMatchDataAndPathRequest(load, pieces));
        const Pm::Record record = AtManager(pieces).at(0);
        const auto loaded = Pm::DecodeConfiguration(record.Payload());
        EXPECT_EQ(std::tie(loaded->path, loaded->matchData), std::tie(load.path, load.matchData));
        RequestMsg query{};
        ASSERT_TRUE(SerializeMessage(names, query));
        EXPECT_EQ(Pm::DecodeQuery(AtManager(query).Payload()), names);
    }
}

TEST(RoundTrip, FromTheProcessManagerToTheOwner) {
    for (uint32_t seed = 0; seed < kSeeds; ++seed) {
        SCOPED_TRACE(seed);
        const Numbers numbers = Chance(seed).NamedNumbers(300);
        std::deque<Pm::Report> reports;
        std::vector<std::pair<std::string, Pm::QueriedState>> states;
        for (const auto& [name, number] : numbers) {
            reports.push_back({name, number, static_cast<Pm::ReportKind>(number % 5), ~number});
            states.emplace_back(name, static_cast<Pm::QueriedState>(number));
        }
        Numbers pids;
        while (!reports.empty()) {
            Pm::Record record;
            const auto count = static_cast<ptrdiff_t>(EncodeReports(reports, record));
            reports.erase(reports.begin(), reports.begin() + count);
            const RequestMsg arrived = AtOwner(record);
            std::vector<Message::AppStateInfo> apps;
            ASSERT_TRUE(ProcMgrUnpackedAppStateRequest(&arrived, apps));
            for (const auto& app : apps) {
                pids[app.name] = app.pid;
                EXPECT_TRUE(app.type == app.pid % 5 && app.reason == ~app.pid && app.spare == 0);
            }
        }
        EXPECT_EQ(pids, numbers);
        Numbers told;
        for (const Pm::Record& record : Pm::EncodeStates(states)) {
            ASSERT_TRUE(DeserializeMessage(AtOwner(record), told));
        }
        EXPECT_EQ(told, numbers);
    }
}

}  // namespace
}  // namespace ProcMgr
