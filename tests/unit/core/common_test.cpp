#include <gtest/gtest.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/memory/memory_platform.h"
#include "src/common/cgroup_tasks.h"
#include "src/common/logging.h"
#include "src/common/process_utils.h"
#include "src/common/wait_ladder.h"

namespace ProcMgr {
namespace {

// Syslog gets the bare line and the platform nothing any more; the platform gets place and module,
// and only what it wants.
TEST(Logging, OneSinkAtATime) {
    GrpOwnerMemory::Reset();
    GRP_EVENT("a %d", 1);
    GrpOwnerMemory::SetLogThreshold(GrpOwnerMemory::kError);
    GRP_WARNING("hidden");
    openlog("test", LOG_PERROR, LOG_USER);
    testing::internal::CaptureStderr();
    g_enableSyslog = true;
    GRP_ERROR("b %s", "2");
    g_enableSyslog = false;
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "test: b 2\n");
    openlog("test", 0, LOG_USER);  // quiet again
    EXPECT_EQ(GetSyslogLevel(GrpOwnerLogLevel::kEvent), LOG_NOTICE);
    const auto lines = GrpOwnerMemory::LogLines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].module, 27);
    EXPECT_EQ(lines[0].level, GrpOwnerMemory::kEvent);
    EXPECT_EQ(lines[0].file + " " + lines[0].text, "common_test.cpp a 1");
}

TEST(ProcessUtils, BootTrace) {
    EXPECT_EQ(FormatBootStrace(5, 1, "x"), "[5.000000s][BOOT_TRACE][x]");
    EXPECT_EQ(FormatBootStrace(1500000, 1000000000, ""), "[0.001500s][BOOT_TRACE][]");
    EXPECT_EQ(FormatBootStrace(5, 0, "x"), "");
}

TEST(WaitLadder, BothSidesOfEachStep) {
    const std::pair<int32_t, int> steps[] = {
        {-1, 4500},  {0, 4500},    {99, 4500},   {100, 100},   {999, 999},
        {1000, 900}, {4999, 4899}, {5000, 4500}, {5001, 4501}, {INT32_MIN, 4500}};
    for (const auto& [timeout, wait] : steps) {
        EXPECT_EQ(EffectiveWait(timeout), Milliseconds(wait)) << timeout;
    }
}

class CgroupTest : public testing::Test {
protected:
    CgroupTest() {
        char name[] = "/tmp/grpowner-cgroup-XXXXXX";
        root_ = mkdtemp(name);
        roots_ = {root_ + "/cpu/", root_ + "/memory/", root_ + "/cpuset/"};
    }
    ~CgroupTest() override { std::filesystem::remove_all(root_); }

    void Make(const std::string& group) {
        std::filesystem::create_directories(root_ + "/" + group);
        std::ofstream(root_ + "/" + group + "/tasks") << "1\n";
    }

    // Of all tasks files that were made; a group's result and message in front.
    std::string Bind(const CgroupInfo& info) {
        std::string error;
        std::string state = AddPidToCgroupTasks(roots_, info, error) ? "true " : "false ";
        const size_t place = error.find(root_);
        state += place == std::string::npos ? error : error.erase(place, root_.size());
        for (const char* group : {"cpu", "memory", "cpuset"}) {
            std::stringstream text;
            text << std::ifstream(root_ + "/" + group + "/g/tasks").rdbuf();
            state += "|" + text.str();
        }
        return state;
    }

    std::string root_;
    CgroupRoots roots_;
};

TEST_F(CgroupTest, BindsWhereItIsAskedTo) {
    Make("cpu/g");
    EXPECT_EQ(Bind({"", 7, "g", ""}),
              "false add cgroup failed, mem cgroup path=/memory/g/tasks is not existed;|1\n||");
    Make("memory/g");
    EXPECT_EQ(Bind({"", 7, "", ""}), "true |1\n|1\n|");
    EXPECT_EQ(Bind({"", 7, "g", ""}), "true |1\n7\n|1\n7\n|");
    EXPECT_EQ(
        Bind({"", 8, "x", "g"}),
        "false add cgroup failed, cpu cgroup path=/cpu/x/tasks is not existed;|1\n7\n|1\n7\n|");
    EXPECT_EQ(Bind({"", 8, "a..b", "g"}),
              "false add cgroup failed, cpuset cgroup path=/cpuset/g/tasks is not existed;"
              "|1\n7\n|1\n7\n|");
    Make("cpuset/g");
    EXPECT_EQ(Bind({"", 8, "../g", "g"}), "true |1\n7\n|1\n7\n|1\n8\n");
}

}  // namespace
}  // namespace ProcMgr
