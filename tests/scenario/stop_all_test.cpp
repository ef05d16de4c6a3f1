// The stop of a whole group as it is commanded, on a clock that only waiting moves.

#include "tests/support/group.h"
#include "tests/support/isolated.h"
#include "tests/support/manifest_builder.h"
#include "tests/support/requester.h"

namespace GrpOwnerTest {
namespace {

using namespace GrpOwnerMemory;

// An application that ignores the first request to end is told again when another one has ended.
// Another stop in the middle of the first finds it in progress, in all of its passes, and fails.
SCENARIO(StopAll, StubbornApplicationAndSecondStop) {
    Group group({App("base"), App("stubborn").Driving(), App("tool").Template()});
    group.pm.SetHabits({100});
    ASSERT_TRUE(group.EnableAndStart());
    ASSERT_EQ(Requester().Change({}, {"stubborn", "tool"}), "3#1#stubborn#0#tool#0#");
    group.pm.SetFate("stubborn", Fate::kStaysSilent);
    unsigned stops = 0;
    ASSERT_EQ(group.owner.SubscribeAppState([&](const std::string& name, int, auto state) {
        if (name == "tool" && state == ProcMgr::AppReportState::SWITCH_OFF) {
            ++stops;
            EXPECT_EQ(Requester().Ask(kStopAll), "0");
            group.pm.SetFate("stubborn", Fate::kRuns);
        }
        return true;
    }),
              0);
    EXPECT_EQ(Requester().Ask(kStopAll), "1");
    EXPECT_EQ(stops, 1u);
    EXPECT_EQ(Requester().Query({"base", "stubborn", "tool"}),
              "1 tool -1 1 base 1000 1 stubborn 1002 1");
    EXPECT_EQ(Requester().Ask(kStopAll), "1");  // once more, with nothing left to do
    EXPECT_EQ(group.pm.Count(PmEvent::kAskedTerm, "base"), 1u);
}

}  // namespace
}  // namespace GrpOwnerTest
