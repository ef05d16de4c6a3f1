#include "daemons/procmgrd/end_order.h"

#include <gtest/gtest.h>

namespace ProcMgrDaemon {
namespace {

using Names = std::set<std::string>;

// Nothing ends before what needs it, not even when what connects them is dead already.
TEST(EndOrder, TakesDependantsFirst) {
    const Depends depends{{"planner", {"fusion"}},
                          {"fusion", {"camera", "lidar"}},
                          {"camera", {"clock"}},
                          {"lidar", {"clock"}}};
    EXPECT_EQ(FreeToEnd(depends, {"planner", "fusion", "camera", "clock", "alone"}),
              (Names{"alone", "planner"}));
    EXPECT_EQ(FreeToEnd(depends, {"camera", "lidar", "clock"}), (Names{"camera", "lidar"}));
    EXPECT_EQ(FreeToEnd(depends, {"planner", "clock"}), Names{"planner"});
    EXPECT_EQ(FreeToEnd(depends, {}), Names{});
    // Old and new configurations together can make a ring: then all go at once, or none ever would.
    EXPECT_EQ(FreeToEnd({{"a", {"b"}}, {"b", {"a"}}}, {"a", "b"}), (Names{"a", "b"}));
}

}  // namespace
}  // namespace ProcMgrDaemon
