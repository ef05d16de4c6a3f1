#include "src/application/application.h"

#include <gtest/gtest.h>

#include "platform/memory/memory_platform.h"
#include "tests/support/log_assertions.h"
#include "tests/support/manifest_builder.h"

namespace ProcMgr {
namespace {

using namespace GrpOwnerMemory;
using GrpOwnerTest::App;
using GrpOwnerTest::Logged;

ApplicationManifest Manifest(const ManifestFields& fields) {
    return ApplicationManifest(std::make_shared<const ManifestFields>(fields));
}

// Five restarts, the last of them `milliseconds` before the next attempt.
void FillWindow(Application& app, int milliseconds) {
    for (uint32_t count = 1; count <= 5; ++count) {
        EXPECT_TRUE(app.IsOkToRestart());
        EXPECT_EQ(app.GetRestartCount(), count);
    }
    Sleep(Milliseconds(milliseconds));
}

// The sixth attempt closes the window: refused at 60 seconds, and only that once.
TEST(ApplicationTest, LimiterRefusesTheSixthRestartOfAWindow) {
    Reset();
    Application app(Manifest(App("cam").Restart("on-failure")), "");
    FillWindow(app, 60000);
    EXPECT_FALSE(app.IsOkToRestart());
    EXPECT_TRUE(Logged(kError,
                       "Cannot Restart appName:cam , because restart count(5) is more than 5 "
                       "within 60000(window time:60000)ms"));
    FillWindow(app, 60001);
    EXPECT_TRUE(app.IsOkToRestart());
    EXPECT_TRUE(
        Logged(kWarning, "IsOkToRestart appName:cam elapseMillisecond:60001 restartCount_:5"));
    EXPECT_EQ(app.GetRestartCount(), 0U);
}

// The state object of a moved record must not point back to the old one.
TEST(ApplicationTest, MovedRecordHasItsOwnState) {
    auto old = std::make_unique<Application>(Manifest(App("cam").Arguments({"-v"})), "");
    old->SetDynamicParas({{1, {"p"}}});
    ASSERT_TRUE(old->CompareAndSetAppState(AppStateType::INITSTATE, AppStateType::TERMINATED));
    Application moved(std::move(*old));
    old.reset();
    EXPECT_TRUE(moved.Start());
    EXPECT_EQ(moved.GetAppStateType(), AppStateType::STARTING);
    EXPECT_TRUE(Logged(kInfo, "TerminatedApplicationState appName:cam Start"));
    EXPECT_EQ(moved.GetArguments(), std::vector<std::string>{"-v"});
    EXPECT_EQ(moved.GetDynamicParas(), (DynamicParas{{1, {"p"}}}));
}

}  // namespace
}  // namespace ProcMgr
