// Reading the configuration anew while the group runs.

#include <stdexcept>
#include <thread>

#include "tests/support/scenario.h"

namespace GrpOwnerTest {
namespace {

bool Reload(const std::vector<ManifestFields>& manifests) {
    SetConfiguration(manifests);
    return ApplicationManager::GetInstance().ReloadCfg();
}

ParseAndDepend::DependsMap Depends() {
    return ParseAndDepend::GetInstance().GetApplicationDependsMap();
}

// A reload brings new names, drops vanished ones that are down and takes over what a known name
// has become; the process manager is asked first, with the match data read anew.
SCENARIO(Reload, Success) {
    Group group({App("kept").NodeType(1), App("moved"), App("gone").Driving()});
    ASSERT_TRUE(group.EnableAndStart());
    const uint32_t pid = group.pm.PidOf("kept");
    ASSERT_TRUE(Deliver(EncodeQueryAnswer({{"kept", 2}})));
    Group::Find("kept")->SetRestartCount(4);
    SetMatchData({{"PLACE", "right"}});
    EXPECT_TRUE(Reload({App("kept").NodeType(2).DependsOn({"new"}), App("moved").Driving(),
                        App("new"), App("tool").Template()}));

    const PmRequest record = DecodeRequest(SentRecords().back().bytes);
    EXPECT_EQ(record.type, static_cast<uint32_t>(kReload));
    EXPECT_EQ(record.configuration.path, "/dev/null");
    EXPECT_EQ(record.configuration.matchData.at("PLACE"), "right");
    EXPECT_TRUE(Group::Runs("kept"));
    EXPECT_EQ(Group::Find("kept")->GetPid(), static_cast<int32_t>(pid));
    EXPECT_EQ(Group::Find("kept")->GetNodeType(), 2);
    EXPECT_EQ(Group::Find("kept")->GetDetailStatus(), 2u);
    EXPECT_EQ(Group::Find("kept")->GetRestartCount(), 4u);
    EXPECT_TRUE(Group::Runs("moved"));
    EXPECT_EQ(Group::State("new"), AppStateType::INITSTATE);
    EXPECT_EQ(Group::Find("gone"), nullptr);
    EXPECT_NE(ApplicationManager::GetInstance().FindApplication("tool", true), nullptr);
    EXPECT_TRUE(group.Start());  // what is new comes up
    EXPECT_TRUE(Group::Runs("new"));
}

// A reload that fails or throws leaves records and dependencies as they were and keeps no later one
// out.
TEST(Reload, Failures) {
    const std::function<void()> kFaults[] = {
        [] { SetAnswer([](const SentRecord&) { return "-22"; }); },
        [] { ScriptPipe(PipeCall::kTimedCall, -32); },
        [] {
            // A service that has touched the dependencies before it failed.
            SetParseHook([] { ParseAndDepend::GetInstance().SetApplicationDependsMap({}); });
            ScriptManifest(ManifestCall::kParseYaml, -1);
        },
        [] { SetParseHook([] { throw std::runtime_error("out of everything"); }); },
    };
    for (const auto& fail : kFaults) {
        SCOPED_TRACE(&fail - kFaults);
        RunIsolated([&] {
            Group group({App("a").DependsOn({"b"}), App("b")});
            ASSERT_TRUE(group.EnableAndStart());
            const ParseAndDepend::DependsMap before = Depends();
            const auto record = Group::Find("a");
            fail();
            if (&fail == std::end(kFaults) - 1) {
                EXPECT_THROW((void)Reload({App("b")}), std::runtime_error);
            } else {
                EXPECT_FALSE(Reload({App("b")}));
            }
            EXPECT_EQ(Depends(), before);
            EXPECT_EQ(Group::Find("a"), record);
            SetAnswer(nullptr);
            SetParseHook(nullptr);
            EXPECT_TRUE(Reload({App("b"), App("c")}));
            EXPECT_NE(Group::Find("c"), nullptr);
        });
    }
}

// While the base applications come up, a reload is kept out; afterwards it goes.
SCENARIO(Reload, NotDuringTheBaseStart) {
    Group group({App("a")});
    group.pm.Hold();
    ASSERT_TRUE(group.Enable());
    std::thread boot([&group] { EXPECT_TRUE(group.Start()); });
    EXPECT_TRUE(WaitUntil([&] { return group.pm.Count(PmEvent::kAskedStart, "a") == 1; }));
    EXPECT_FALSE(ApplicationManager::GetInstance().ReloadCfg());
    EXPECT_TRUE(Logged(kError, "ApplicationManager: cannot reload now. (isTransitionFinish=true)"));
    group.pm.Release();
    boot.join();
    EXPECT_TRUE(ApplicationManager::GetInstance().ReloadCfg());
}

// Without a start entry a reload fails, and that one failure shuts every later reload out: kept so.
SCENARIO(Reload, EmptyPathShutsLaterReloadsOut) {
    Group group({App("a")});
    unsetenv("STARTUP_ENTRY_PATH");
    ApplicationManager manager;
    EXPECT_FALSE(manager.ApplicationMgrInit(""));
    EXPECT_FALSE(manager.ReloadCfg());
    EXPECT_TRUE(Logged(kError, "ApplicationManager ReloadCfg failed: startup entry path is empty"));
    EXPECT_FALSE(manager.ReloadCfg());
    EXPECT_TRUE(Logged(kError, "ApplicationManager: cannot reload now. (isTransitionFinish=true)"));
}

// A name that vanishes while its application is up keeps record and dependencies until it has
// ended; a template's live instance is carried over too.
SCENARIO(Reload, VanishedButRunning) {
    Group group({App("top").DependsOn({"bus"}), App("bus"), App("tool").Template()});
    ASSERT_TRUE(group.EnableAndStart());
    ASSERT_NE(ApplicationManager::GetInstance().FindApplication("tool", true), nullptr);
    group.SayReady("tool", 9);
    for (int round = 0; round < 2; ++round) {  // a second reload keeps it just the same
        EXPECT_TRUE(Reload({App("bus"), App("tool").Template()}));
        EXPECT_TRUE(Group::Runs("top"));
        EXPECT_TRUE(Group::Runs("tool"));
        EXPECT_EQ(Depends(),
                  (ParseAndDepend::DependsMap{{"bus", {}}, {"tool", {}}, {"top", {"bus"}}}));
    }
    group.ForgetNotices();
    group.pm.Report({{"top", group.pm.PidOf("top"), kCrashed, 9}, {"tool", 9, kExited}});
    EXPECT_EQ(Group::Find("top"), nullptr);
    EXPECT_EQ(Group::Find("tool"), nullptr);
    EXPECT_EQ(Depends().count("top"), 0u);
    EXPECT_EQ(group.Notices().size(), 2u);
}

// One that ends in the middle of a reload that fails takes its dependencies along, and enabling
// again forgets those of none that is still up.
SCENARIO(Reload, VanishedThroughFailureAndEnabling) {
    Group group({App("top").DependsOn({"bus"}), App("other").DependsOn({"bus"}), App("bus")});
    ASSERT_TRUE(group.EnableAndStart());
    EXPECT_TRUE(Reload({App("bus")}));
    SetParseHook([&group] { group.pm.Report({{"top", group.pm.PidOf("top"), kExited}}); });
    ScriptManifest(ManifestCall::kParseYaml, -1);
    EXPECT_FALSE(Reload({App("bus")}));
    const ParseAndDepend::DependsMap left = {{"bus", {}}, {"other", {"bus"}}};
    EXPECT_EQ(Depends(), left);
    SetParseHook(nullptr);
    ASSERT_TRUE(group.Enable());
    EXPECT_EQ(Depends(), left);
    // Configured anew, it is one like any other.
    SetConfiguration({App("bus"), App("other")});
    ASSERT_TRUE(group.Enable());
    group.pm.Report({{"other", group.pm.PidOf("other"), kExited}});
    EXPECT_EQ(Group::State("other"), AppStateType::TERMINATED);
    EXPECT_EQ(Depends(), (ParseAndDepend::DependsMap{{"bus", {}}, {"other", {}}}));
}

// A name that another table of the configuration has meanwhile keeps its record when the owner is
// enabled again.
SCENARIO(Reload, EnablingKeepsRecordsWhereTheyAre) {
    Group group({App("a").Driving()});
    ASSERT_TRUE(group.Enable());
    group.SayReady("a", 5);
    SetConfiguration({App("a"), App("b")});
    ASSERT_TRUE(group.Enable());
    EXPECT_TRUE(Group::Runs("a"));
    EXPECT_TRUE(group.Start());
    EXPECT_EQ(group.pm.Count(PmEvent::kAskedStart, "a"), 0u);
}

}  // namespace
}  // namespace GrpOwnerTest
