#include "src/application/application.h"

#include <gtest/gtest.h>

#include "platform/memory/memory_platform.h"
#include "src/application/application_state.h"
#include "tests/support/log_assertions.h"
#include "tests/support/manifest_builder.h"
#include "tests/support/manual_time.h"

namespace ProcMgr {
namespace {

using namespace GrpOwnerMemory;
using GrpOwnerTest::AdvanceTime;
using GrpOwnerTest::App;
using GrpOwnerTest::Logged;

ApplicationManifest Manifest(const ManifestFields& fields) {
    return ApplicationManifest(std::make_shared<const ManifestFields>(fields));
}

class ApplicationTest : public testing::Test {
protected:
    ApplicationTest() { Reset(); }

    // Five restarts, the last of them `milliseconds` after the first.
    static void FillWindow(Application& app, int milliseconds) {
        for (int i = 0; i < 5; ++i) {
            EXPECT_TRUE(app.IsOkToRestart());
            EXPECT_EQ(app.GetRestartCount(), static_cast<uint32_t>(i + 1));
        }
        AdvanceTime(Milliseconds(milliseconds));
    }
};

// The sixth attempt closes the window: refused at 60 seconds, and only that once.
TEST_F(ApplicationTest, LimiterRefusesTheSixthRestartOfAWindow) {
    Application app(Manifest(App("cam").Restart("on-failure")), "");
    FillWindow(app, 60000);
    EXPECT_FALSE(app.IsOkToRestart());
    EXPECT_TRUE(Logged(kError,
                       "Cannot Restart appName:cam , because restart count(5) is more than 5 "
                       "within 60000(window time:60000)ms"));
    EXPECT_EQ(app.GetRestartCount(), 0U);
    FillWindow(app, 60001);
    EXPECT_TRUE(app.IsOkToRestart());
    EXPECT_TRUE(
        Logged(kWarning, "IsOkToRestart appName:cam elapseMillisecond:60001 restartCount_:5"));
    EXPECT_EQ(app.GetRestartCount(), 0U);
}

TEST_F(ApplicationTest, OnlyTheTwoPoliciesRestart) {
    for (const auto& [policy, restarts] : std::map<std::string, bool>{
             {"on-forever", true}, {"on-failure", true}, {"no", false}, {"", false}}) {
        SCOPED_TRACE(policy);
        Application app(Manifest(App("cam").Restart(policy)), "");
        ASSERT_TRUE(app.CompareAndSetAppState(AppStateType::INITSTATE, AppStateType::TERMINATED));
        ClearLog();
        EXPECT_EQ(app.CanRestart(), restarts);
        EXPECT_EQ(app.IsAppTerminated(), !restarts);
        EXPECT_EQ(LogLines().empty(), !restarts);
    }
}

TEST_F(ApplicationTest, ReloadCarriesWhatChangedAtRunTime) {
    Application old(Manifest(App("cam").Arguments({"old"})), "");
    old.SetPid(77);
    old.SetRestartCount(4);
    old.SetDetailStatus(2);
    ASSERT_TRUE(old.CompareAndSetAppState(AppStateType::INITSTATE, AppStateType::RUNNING));
    Application fresh(Manifest(App("cam").Arguments({"new"})), "");
    EXPECT_EQ(fresh.GetDetailStatus(), 3U);
    EXPECT_TRUE(fresh.CopyDynamicAttributeFromApp(old));
    EXPECT_TRUE(fresh.IsAppRunning());
    EXPECT_EQ(fresh.GetPid(), 77);
    EXPECT_EQ(fresh.GetRestartCount(), 4U);
    EXPECT_EQ(fresh.GetDetailStatus(), 2U);
    EXPECT_EQ(fresh.GetArguments(), std::vector<std::string>{"new"});
    EXPECT_TRUE(fresh.Term());
    EXPECT_TRUE(old.IsAppRunning());
}

// The state object of a moved record must not point back to the old one.
TEST_F(ApplicationTest, MovedRecordHasItsOwnState) {
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
