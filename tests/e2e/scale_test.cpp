// A thousand driving applications: what fits a record, what does not, and the stop of all of them.
#include <algorithm>

#include "tests/e2e/group.h"

namespace EndToEnd {

using GrpOwnerClient::Change;
using GrpOwnerClient::ErrorKind;

TEST_F(Group, AThousandDrivingApplications) {
    constexpr size_t kLargest = (3988 - 4) / 11;  // "362#", then "a000#0#0#0#" for each
    std::string yaml;
    std::vector<std::string> names;
    for (int number = 1000; number < 2000; ++number) {
        names.push_back("a" + std::to_string(number).substr(1));
        yaml += "  " + names.back() + ": {command: probe, autostart: false, stop_timeout: 60s}\n";
    }
    Manage();
    const auto owner = Boot(yaml, {"DATAMASTER_RUN_MODE=1"});
    auto client = Connect();
    EXPECT_EQ(client.List().GetError().code, -15794179);

    const auto startOf = [&names](size_t from, size_t count) {
        std::vector<Change> changes;
        for (size_t place = from; place < std::min(from + count, names.size()); ++place) {
            changes.push_back({names[place], ProcMgr::OptionType::START, {}, {}});
        }
        return changes;
    };
    EXPECT_EQ(client.ChangeApps(startOf(0, kLargest + 1), kLong).GetError().kind,
              ErrorKind::kTooLarge);
    for (size_t from = 0; from < names.size(); from += kLargest) {
        const auto answer = client.ChangeApps(startOf(from, kLargest), kLong);
        ASSERT_TRUE(answer) << answer.GetError().message;
        EXPECT_TRUE(answer->isOk) << from;
    }
    const auto countUp = [&] {
        const auto statuses = client.Query(names, kLong);
        EXPECT_TRUE(statuses) << statuses.GetError().message;
        return std::count_if(statuses->begin(), statuses->end(),
                             [](const auto& status) { return status.state == 0; });
    };
    EXPECT_EQ(countUp(), 1000);
    EXPECT_TRUE(*client.StopAll());
    EXPECT_EQ(countUp(), 0);
    EndAll(*owner);
}

}  // namespace EndToEnd
