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

// Each controller that is asked for gets the pid appended to its group's tasks, unless the group
// does not exist or its name would leave the controller's own tree.
TEST(CgroupTest, BindsWhereItIsAskedTo) {
    char name[] = "/tmp/grpowner-cgroup-XXXXXX";
    const std::string root = mkdtemp(name);
    const CgroupRoots roots = {root + "/cpu/", root + "/memory/", root + "/cpuset/"};
    const auto make = [&root](const std::string& group) {
        std::filesystem::create_directories(root + "/" + group);
        std::ofstream(root + "/" + group + "/tasks") << "1\n";
    };
    // What is wrong, below the root.
    const auto bind = [&](const CgroupInfo& info) {
        std::string error;
        const bool isBound = AddPidToCgroupTasks(roots, info, error);
        EXPECT_EQ(isBound, error.empty());
        const size_t place = error.find(root);
        return place == std::string::npos ? error : error.substr(place + root.size());
    };
    make("cpu/g");
    EXPECT_EQ(bind({"", 7, "g", ""}), "/memory/g/tasks is not existed;");
    make("memory/g");
    EXPECT_EQ(bind({"", 7, "", ""}), "");
    EXPECT_EQ(bind({"", 7, "g", ""}), "");
    EXPECT_EQ(bind({"", 8, "x", "g"}), "/cpu/x/tasks is not existed;");
    EXPECT_EQ(bind({"", 8, "a..b", "g"}), "/cpuset/g/tasks is not existed;");
    make("cpuset/g");
    EXPECT_EQ(bind({"", 8, "../g", "g"}), "");
    std::stringstream tasks;
    for (const char* controller : {"/cpu", "/memory", "/cpuset"}) {
        tasks << std::ifstream(root + controller + "/g/tasks").rdbuf() << "|";
    }
    EXPECT_EQ(tasks.str(), "1\n7\n|1\n7\n|1\n8\n|");
    std::filesystem::remove_all(root);
}

}  // namespace
}  // namespace ProcMgr
