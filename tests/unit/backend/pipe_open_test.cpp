// How a pipe is opened, against servers that welcome, refuse, lie, hang up and keep silent.

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/linux/host.h"
#include "tests/unit/backend/pipe_server.h"

namespace BackendTest {

namespace {

void Ignore(int /*fd*/, const EzcomRequest* /*request*/) {}

// The opener tells its group and its name, and a handle above 0 comes of a good welcome only.
TEST(PipeOpen, GreetsTheServerAndTakesItsAnswer) {
    const std::pair<std::string, int> cases[] = {
        // 0: a handle
        {Welcome(0), 0},
        {Welcome(-EACCES), -EACCES},
        {Welcome(7), -EPROTO},
        {PipeFrame(PipeFrameKind::kWelcome, 0, "abc"), -EPROTO},
        {PipeFrame(PipeFrameKind::kWelcome, 0, "too long by far"), -EPROTO},
        {PipeFrame(PipeFrameKind::kAnswer, 0, std::string(4, '\0')), -EPROTO},
        {std::string(28, 'x'), -EPROTO},
        {Welcome(0).substr(0, 20), -EPROTO},
    };
    for (const auto& [welcome, expected] : cases) {
        PipeServer server;
        const EzcomOpenParams params = OpenParams(Ignore);
        auto opened = std::async(std::launch::async, [&params] { return EzcomOpen(&params); });
        const Frame hello = server.Accept(welcome);
        const int result = opened.get();
        EXPECT_EQ(std::min(result, 0), expected) << result;
        EXPECT_EQ(hello.kind, PipeFrameKind::kHello);
        EXPECT_EQ(hello.payload, std::string("\x2a\0\0\0\x05\0\0\0rover", 13));
        EXPECT_NE(result, 0);
        EXPECT_EQ(EzcomClosePipe(result), result > 0 ? 0 : -EBADF);
    }
}

// A server that says nothing is waited for until the time is over or it hangs up.
TEST(PipeOpen, EndsWithASilentServer) {
    PipeServer server;
    EzcomOpenParams params = OpenParams(Ignore, 1);
    EXPECT_EQ(EzcomOpen(&params), -ETIMEDOUT);
    server.Accept({});
    params.timeoutMs = 60'000;
    auto opened = std::async(std::launch::async, [&params] { return EzcomOpen(&params); });
    server.Accept({});
    server.HangUp();
    EXPECT_EQ(opened.get(), -ECONNRESET);
}

// A full queue of connections is busy, and errno says so too.
TEST(PipeOpen, AnswersBusyWhenTooManyWait) {
    PipeServer server(0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    GrpOwnerLinux::PipePath(getenv("GRPOWNER_RUN_DIR"), "PM").copy(address.sun_path, 100);
    std::vector<int> waiting;
    do {
        waiting.push_back(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    } while (connect(waiting.back(), reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0);
    ASSERT_EQ(errno, EAGAIN);
    const EzcomOpenParams params = OpenParams(Ignore);
    errno = 0;
    EXPECT_EQ(EzcomOpen(&params), -EAGAIN);
    EXPECT_EQ(errno, EAGAIN);
    for (const int fd : waiting) {
        close(fd);
    }
}

TEST(PipeOpen, RefusesWhatItCannotUse) {
    const PrivateDirectory directory;
    const std::string longName(GrpOwnerLinux::kMaxProcessName + 1, 'n');
    struct {
        const char* own;
        const char* target;
        EzcomRequestHandler handler;
        int result;
    } const cases[] = {
        {nullptr, "PM", Ignore, -EINVAL},
        {"rover", nullptr, Ignore, -EINVAL},
        {"rover", "PM", nullptr, -EINVAL},
        {"", "PM", Ignore, -EINVAL},
        {longName.c_str(), "PM", Ignore, -EINVAL},
        {"rover", "../PM", Ignore, -EINVAL},
        {"rover", "PM", Ignore, -ENOENT},
        {"rover", longName.c_str(), Ignore, -ENAMETOOLONG},
    };
    for (const auto& test : cases) {
        EzcomOpenParams params = OpenParams(test.handler);
        params.ownName = test.own;
        params.targetName = test.target;
        EXPECT_EQ(EzcomOpen(&params), test.result);
    }
    EXPECT_EQ(EzcomOpen(nullptr), -EINVAL);
}

}  // namespace

}  // namespace BackendTest
