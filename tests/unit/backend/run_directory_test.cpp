// Which directory is taken, with which rights, and which one is refused for what reason.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

#include "platform/linux/host.h"
#include "tests/unit/backend/pipe_server.h"

namespace BackendTest {

namespace {

using GrpOwnerLinux::RunDirectory;

mode_t ModeOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
}

TEST(RunDirectoryTest, MakesTheNamedOneForAllToSee) {
    const PrivateDirectory base;
    const std::string wanted = base.Path() + "/run";
    setenv("GRPOWNER_RUN_DIR", wanted.c_str(), 1);
    const mode_t before = umask(0077);
    std::string error;
    EXPECT_EQ(RunDirectory(error), wanted);
    umask(before);
    EXPECT_EQ(ModeOf(wanted), 0755U);
    EXPECT_EQ(chmod(wanted.c_str(), 0700), 0);
    EXPECT_EQ(RunDirectory(error), wanted);
    EXPECT_EQ(ModeOf(wanted), 0700U);  // who made it narrower meant it
}

TEST(RunDirectoryTest, SaysWhyItRefuses) {
    const PrivateDirectory base;
    const std::string open = base.Path() + "/open";
    ASSERT_EQ(mkdir(open.c_str(), 0777), 0);
    ASSERT_EQ(chmod(open.c_str(), 0777), 0);
    const std::string link = base.Path() + "/link";
    ASSERT_EQ(symlink(open.c_str(), link.c_str()), 0);
    struct {
        std::string path;
        const char* reason;
    } const cases[] = {{open, " may be written by everybody; "},
                       {link, " is not a directory; "},
                       {base.Path() + "/a/b", ": No such file or directory"}};
    for (const auto& test : cases) {
        setenv("GRPOWNER_RUN_DIR", test.path.c_str(), 1);
        std::string error;
        EXPECT_EQ(RunDirectory(error), "");
        EXPECT_NE(error.find(test.path + test.reason), std::string::npos) << error;
    }
}

// Only root can play another user here; as another one the test would check nothing.
TEST(RunDirectoryTest, DependsOnTheUser) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root";
    }
    const PrivateDirectory base;
    const std::string root = base.Path();
    ASSERT_EQ(chmod(root.c_str(), 0777), 0);
    unsetenv("GRPOWNER_RUN_DIR");
    setenv("XDG_RUNTIME_DIR", root.c_str(), 1);
    setenv("TMPDIR", root.c_str(), 1);
    ASSERT_EQ(seteuid(65534), 0);
    std::string error;
    EXPECT_EQ(RunDirectory(error), root + "/grpowner");
    setenv("XDG_RUNTIME_DIR", "/proc/none", 1);
    const std::string own = root + "/grpowner-65534";
    EXPECT_EQ(RunDirectory(error), own);
    EXPECT_EQ(ModeOf(own), 0700U);
    EXPECT_EQ(chmod(own.c_str(), 0755), 0);
    EXPECT_EQ(RunDirectory(error), own);
    EXPECT_EQ(ModeOf(own), 0700U);
    EXPECT_EQ(error, "");
    ASSERT_EQ(seteuid(0), 0);
    ASSERT_EQ(chown(own.c_str(), 1, 1), 0);
    ASSERT_EQ(seteuid(65534), 0);
    EXPECT_EQ(RunDirectory(error), "");
    ASSERT_EQ(seteuid(0), 0);
    EXPECT_NE(error.find(own + " belongs to another user"), std::string::npos) << error;
    unsetenv("XDG_RUNTIME_DIR");
    unsetenv("TMPDIR");
}

}  // namespace

}  // namespace BackendTest
