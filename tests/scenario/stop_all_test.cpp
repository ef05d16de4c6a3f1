// The stop of a whole group as it is commanded, on a clock that only waiting moves.

#include "tests/support/group.h"
#include "tests/support/isolated.h"
#include "tests/support/manifest_builder.h"
#include "tests/support/requests.h"

namespace GrpOwnerTest {
namespace {

// An application that ignores the first request to end is told again when another one has ended.
// Another stop in the middle of the first finds it in progress, in all of its passes, and fails.
SCENARIO(StopAll, StubbornApplicationAndSecondStop) {
    Group group({App("base"), App("stubborn").Driving(), App("tool").Template()});
    group.pm.SetHabits({100});
    ASSERT_TRUE(group.EnableAndStart());
    ASSERT_EQ(AskChange({}, {"stubborn", "tool"}), "3#1#stubborn#0#tool#0#");
    group.pm.SetFate("stubborn", Fate::kStaysSilent);
    std::string second;
    ASSERT_EQ(group.owner.SubscribeAppState([&](const std::string& name, int, auto) {
        if (name == "tool") {
            second = Ask(kStopAll);
            group.pm.SetFate("stubborn", Fate::kRuns);
        }
        return true;
    }),
              0);
    EXPECT_EQ(Ask(kStopAll), "1");
    EXPECT_EQ(second, "0");
    EXPECT_EQ(Group::State("stubborn"), ProcMgr::AppStateType::TERMINATED);
    EXPECT_EQ(Ask(kStopAll), "1");  // once more, with nothing left to do
    EXPECT_EQ(group.pm.Count(PmEvent::kAskedTerm, "base"), 1u);
}

}  // namespace
}  // namespace GrpOwnerTest
