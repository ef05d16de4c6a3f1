// How a pipe is opened and what it carries, against a peer that refuses, keeps silent, answers
// late, lies, dies and does not read.

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "platform/heartbeat_service.h"
#include "platform/linux/host.h"
#include "platform/pipe_service.h"
#include "tests/unit/backend/pipe_server.h"

namespace BackendTest {

namespace {

using GrpOwnerLinux::kMaxPipePayload;
using GrpOwnerLinux::kPipeMagic;
using GrpOwnerLinux::PipeFrameHeader;
using Kind = PipeFrameKind;
using Lines = std::vector<std::string>;

std::function<void(int, const std::string&)> onRequest;

void HandleRequest(int fd, const EzcomRequest* request) {
    onRequest(fd, std::string(static_cast<const char*>(request->data), request->size));
}

int SendText(int fd, const std::string& text) {
    const EzcomRequest request{text.data(), static_cast<uint32_t>(text.size())};
    return EzcomSendRequest(fd, &request);
}

// The answer's text, or the negative result as text.
std::string CallText(int fd, const std::string& text, int timeoutMs = 30000) {
    EzcomRequest request{text.data(), static_cast<uint32_t>(text.size())};
    EzcomResponse response{&request, 1};
    const int result = EzcomTimedRPCSync(fd, &request, &response, timeoutMs);
    if (result < 0) {
        return std::to_string(result);
    }
    return response.data == nullptr
               ? "none"
               : std::string(static_cast<const char*>(response.data), response.size);
}

std::future<std::string> CallAside(int fd, const std::string& text) {
    return std::async(std::launch::async, [=] { return CallText(fd, text); });
}

void CloseWhenIdle(int fd) {
    while (EzcomClosePipe(fd) == -EBUSY) {
        std::this_thread::yield();
    }
}

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
        const EzcomOpenParams params = OpenParams(HandleRequest);
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
    EzcomOpenParams params = OpenParams(HandleRequest, 1);
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
    const EzcomOpenParams params = OpenParams(HandleRequest);
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
        {nullptr, "PM", HandleRequest, -EINVAL},
        {"rover", nullptr, HandleRequest, -EINVAL},
        {"rover", "PM", nullptr, -EINVAL},
        {"", "PM", HandleRequest, -EINVAL},
        {longName.c_str(), "PM", HandleRequest, -EINVAL},
        {"rover", "../PM", HandleRequest, -EINVAL},
        {"rover", "PM", HandleRequest, -ENOENT},
        {"rover", longName.c_str(), HandleRequest, -ENAMETOOLONG},
    };
    for (const auto& test : cases) {
        EzcomOpenParams params = OpenParams(test.handler);
        params.ownName = test.own;
        params.targetName = test.target;
        EXPECT_EQ(EzcomOpen(&params), test.result);
    }
    EXPECT_EQ(EzcomOpen(nullptr), -EINVAL);
}

/// An open pipe to a peer that the test plays.
class Pipe : public ::testing::Test {
protected:
    Pipe() {
        Told::Instance().Reset();
        onRequest = [](int, const std::string& text) { Told::Instance().Add(text); };
        GrpOwnerLinux::SetPipeEndHandler([](int fd, const std::string& reason) {
            Told::Instance().Add("end of " + std::to_string(fd) + ": " + reason);
        });
        GrpOwnerLinux::SetProcessHandler([] { Told::Instance().Add("process"); });
        fd_ = OpenPipe(server_, HandleRequest);
    }
    ~Pipe() override { CloseWhenIdle(fd_); }

    // A call that the server answers with its own text, after all that it has said before.
    std::string CallAcross(const std::string& text) {
        auto call = CallAside(fd_, text);
        const Frame frame = server_.Receive();
        server_.Send(Kind::kAnswer, frame.sequence, frame.payload);
        return call.get();
    }

    PipeServer server_;
    int fd_ = -1;
};

TEST_F(Pipe, HandlesRequestsInOrder) {
    Lines expected;
    for (int i = 0; i < 500; ++i) {
        expected.push_back(std::to_string(i));
        server_.Send(Kind::kRequest, 0, expected.back());
    }
    expected.push_back(std::string(kMaxPipePayload, 'x'));
    server_.Send(Kind::kRequest, 0, expected.back());
    EXPECT_EQ(Told::Instance().WaitFor(expected.size()), expected);
}

TEST_F(Pipe, CompletesCallsWhileAHandlerBlocks) {
    Told::Instance().CloseGate();
    onRequest = [](int, const std::string& text) {
        Told::Instance().Add(text);
        Told::Instance().PassGate();
    };
    server_.Send(Kind::kRequest, 0, "block");
    (void)Told::Instance().WaitFor(1);
    auto first = CallAside(fd_, "first");
    const Frame call1 = server_.Receive();
    auto second = CallAside(fd_, "second");
    const Frame call2 = server_.Receive();
    EXPECT_EQ(call1.payload + call2.payload, "firstsecond");
    EXPECT_EQ(call1.kind, Kind::kCall);
    EXPECT_NE(call1.sequence, call2.sequence);
    server_.Send(Kind::kAnswer, call2.sequence, "two");
    EXPECT_EQ(second.get(), "two");
    server_.Send(Kind::kAnswer, call1.sequence, "");
    EXPECT_EQ(first.get(), "none");
    EXPECT_EQ(EzcomClosePipe(fd_), -16);
    Told::Instance().OpenGate();
}

TEST_F(Pipe, IsBusyWhenFullLosesNothingAndGoesOn) {
    int sent = 0;
    int result = 0;
    while ((result = SendText(fd_, std::to_string(sent) + std::string(4000, 'x'))) == 0) {
        ++sent;
    }
    EXPECT_EQ(result, -11);
    EXPECT_EQ(CallText(fd_, std::string(4000, 'x')), "-11");
    for (int i = 0; i < sent; ++i) {
        ASSERT_EQ(server_.Receive().payload, std::to_string(i) + std::string(4000, 'x'));
    }
    EXPECT_EQ(SendText(fd_, "on"), 0);
    EXPECT_EQ(server_.Receive().payload, "on");
    EXPECT_EQ(SendText(fd_, std::string(kMaxPipePayload + 1, 'x')), -EMSGSIZE);
}

TEST_F(Pipe, TellsADeadPeersEndOnceAfterAllItSaid) {
    auto call = CallAside(fd_, "call");
    (void)server_.Receive();
    EXPECT_EQ(SendText(fd_, "never read"), 0);  // makes the end a reset
    for (const char* text : {"1", "2", "3"}) {
        server_.Send(Kind::kRequest, 0, text);
    }
    server_.HangUp();
    EXPECT_EQ(SendText(fd_, "x"), -EPIPE);  // at once, and without a signal
    EXPECT_EQ(call.get(), std::to_string(-EPIPE));
    EXPECT_EQ(CallText(fd_, "x"), std::to_string(-EPIPE));
    const Lines expected{"1", "2", "3",
                         "end of " + std::to_string(fd_) + ": the peer has closed the pipe"};
    EXPECT_EQ(Told::Instance().WaitFor(4), expected);
    CloseWhenIdle(fd_);
    EXPECT_EQ(Told::Instance().WaitFor(4), expected);
    EXPECT_EQ(SendText(fd_, "x"), -EBADF);
}

TEST_F(Pipe, DropsALateAnswer) {
    EXPECT_EQ(CallText(fd_, "slow", 1), std::to_string(-ETIMEDOUT));
    const Frame slow = server_.Receive();
    auto next = CallAside(fd_, "next");
    const Frame call = server_.Receive();
    server_.Send(Kind::kAnswer, slow.sequence, "late");
    server_.Send(Kind::kAnswer, call.sequence + 1, "of a call that was never made");
    server_.Send(Kind::kAnswer, call.sequence, "own");
    EXPECT_EQ(next.get(), "own");
}

// The payload that says whose process that is.
std::string Word(uint64_t begun, uint32_t pid, const std::string& name) {
    const auto length = static_cast<uint32_t>(name.size());
    return GrpOwnerTest::Bytes(GrpOwnerLinux::PipeProcess{begun, pid, length}, name);
}

// Whatever a handler of requests does meanwhile, as long as somebody reads. A process counts from
// its beginning to the word of its end, so nothing that another of this pid has said is its own.
TEST_F(Pipe, KnowsWhoseAProcessIs) {
    using Time = std::chrono::steady_clock::time_point;
    const auto whoIs = [](int pid, int when) {
        return GrpOwnerLinux::ApplicationOf("PM", pid, Time(std::chrono::nanoseconds(when)));
    };
    const auto tell = [this](uint64_t begun, uint32_t pid, const std::string& name) {
        server_.Send(Kind::kProcess, 0, Word(begun, pid, name));
    };
    EXPECT_EQ(whoIs(7, 50), "");
    tell(50, 7, "cam");
    tell(50, 8, "nav");
    tell(0, 8, "");
    tell(60, 9, "nav");
    EXPECT_EQ(CallAcross("all read"), "all read");
    EXPECT_EQ(Told::Instance().WaitFor(3), Lines(3, "process"));
    EXPECT_EQ(whoIs(7, 49) + whoIs(7, 50) + whoIs(8, 99) + whoIs(9, 99), "camnav");
    tell(0, 7, "");
    tell(70, 8, "cam");
    EXPECT_EQ(CallAcross("all read"), "all read");
    EXPECT_EQ(whoIs(7, 99) + whoIs(8, 99), "cam");
}

// After the good ones, and the peer learns of it; the handler of the end may close what has ended.
TEST_F(Pipe, EndsAtAHostileFrame) {
    GrpOwnerLinux::SetPipeEndHandler([](int fd, const std::string& reason) {
        Told::Instance().Add(reason + ", " + std::to_string(EzcomClosePipe(fd)));
    });
    const auto header = [](PipeFrameHeader spoilt) { return GrpOwnerTest::Bytes(spoilt, "x"); };
    const auto request = static_cast<uint32_t>(Kind::kRequest);
    const std::pair<const char*, std::string> cases[] = {
        {"no header", PipeFrame(Kind::kRequest, 0, "").substr(0, sizeof(PipeFrameHeader) - 1)},
        {"long", PipeFrame(Kind::kRequest, 0, std::string(kMaxPipePayload + 1, 'x'))},
        {"longer than read", PipeFrame(Kind::kRequest, 0, std::string(2 * kMaxPipePayload, 'x'))},
        {"magic", header({0, request, 0, 1, 0})},
        {"size too small", header({kPipeMagic, request, 0, 0, 0})},
        {"size too big", header({kPipeMagic, request, 0, 2, 0})},
        {"size wraps", header({kPipeMagic, request, 0, UINT32_MAX, 0})},
        {"reserved", header({kPipeMagic, request, 0, 1, 1})},
        {"numbered request", header({kPipeMagic, request, 1, 1, 0})},
        {"kind unknown", header({kPipeMagic, 99, 0, 1, 0})},
        {"kind of the opener", PipeFrame(Kind::kCall, 1, "x")},
        {"welcome again", Welcome(0)},
        {"process cut short", PipeFrame(Kind::kProcess, 0, Word(1, 1, "").substr(1))},
        {"process 0", PipeFrame(Kind::kProcess, 0, Word(1, 0, "cam"))},
        {"process too big", PipeFrame(Kind::kProcess, 0, Word(1, GrpOwnerLinux::kMaxPid + 1, "a"))},
        {"name cut short", PipeFrame(Kind::kProcess, 0, Word(1, 1, "cam").substr(0, 18))},
    };
    for (const auto& [what, packet] : cases) {
        PipeServer server;
        Told::Instance().Reset();
        const int fd = OpenPipe(server, HandleRequest);
        server.Send(Kind::kRequest, 0, "good");
        server.SendBytes(packet);
        const Lines told = Told::Instance().WaitFor(2);
        ASSERT_EQ(told.size(), 2u) << what;
        EXPECT_EQ(told[0], "good") << what;
        EXPECT_EQ(told[1].find("the peer has sent "), 0u) << what << ": " << told[1];
        EXPECT_EQ(told[1].substr(told[1].rfind(',')), ", 0");
        EXPECT_EQ(server.Receive().kind, Kind{}) << what;
        EXPECT_EQ(EzcomClosePipe(fd), -EBADF);
    }
}

TEST_F(Pipe, ClosesFromWithinItsHandlerWhichIsTheLast) {
    onRequest = [](int fd, const std::string& text) {
        EXPECT_EQ(SendText(fd, "from the handler"), 0);
        EXPECT_EQ(CallText(fd, "call"), "all are queued");
        Told::Instance().Add(text + " " + std::to_string(EzcomClosePipe(fd)));
    };
    server_.Send(Kind::kRequest, 0, "a");
    server_.Send(Kind::kRequest, 0, "b");
    EXPECT_EQ(server_.Receive().payload, "from the handler");
    server_.Send(Kind::kAnswer, server_.Receive().sequence, "all are queued");
    EXPECT_EQ(server_.Receive().kind, Kind{});
    EXPECT_EQ(Told::Instance().WaitFor(1), Lines{"a 0"});
    EXPECT_EQ(EzcomClosePipe(fd_), -EBADF);
}

TEST_F(Pipe, ClosingFailsTheCallsThatWaitAndIsNoEndToTell) {
    auto call = CallAside(fd_, "call");
    (void)server_.Receive();
    EXPECT_EQ(EzcomClosePipe(fd_), 0);
    EXPECT_EQ(call.get(), std::to_string(-EPIPE));
    EXPECT_EQ(Told::Instance().WaitFor(0), Lines{});
    EXPECT_EQ(server_.Receive().kind, Kind{});
}

// Whatever others call meanwhile.
TEST_F(Pipe, KeepsAnAnswerUntilTheSameThreadsNextCall) {
    EzcomRequest request{"mine", 4};
    EzcomResponse mine{};
    auto answering = std::async(std::launch::async, [this] {
        server_.Send(Kind::kAnswer, server_.Receive().sequence, "my answer");
    });
    ASSERT_EQ(EzcomRPCSync(fd_, &request, &mine), 0);
    answering.get();
    auto other = CallAside(fd_, "other");
    server_.Send(Kind::kAnswer, server_.Receive().sequence, "no answer");
    EXPECT_EQ(other.get(), "no answer");
    EXPECT_EQ(std::string(static_cast<const char*>(mine.data), mine.size), "my answer");
}

// What is refused sends nothing: the heartbeat is the first frame that the peer sees.
TEST_F(Pipe, RefusesBadArgumentsAndCarriesOurHeartBeat) {
    EzcomRequest noData{nullptr, 4};
    EzcomRequest good{"x", 1};
    EzcomResponse response{};
    EXPECT_EQ(EzcomSendRequest(fd_, nullptr), -EINVAL);
    EXPECT_EQ(EzcomSendRequest(fd_, &noData), -EINVAL);
    EXPECT_EQ(EzcomRPCSync(fd_, &noData, &response), -EINVAL);
    EXPECT_EQ(EzcomRPCSync(fd_, &good, nullptr), -EINVAL);
    EXPECT_EQ(EzcomSendResponse(fd_, &response), -EINVAL);  // no call came from there
    EXPECT_EQ(EzcomSendResponse(-1, &response), -EBADF);
    const HeartBeatSendParams params{3, 1};
    ASSERT_EQ(RegisterSendHeartBeat("rover", 5, "PM", 2, &params), 0);
    for (int i = 0; i < 2; ++i) {
        const Frame beat = server_.Receive();
        EXPECT_EQ(beat.kind, Kind::kHeartBeat);
        EXPECT_EQ(beat.payload, "");
    }
    EXPECT_EQ(UnregisterSendHeartBeat(), 0);
}

}  // namespace

}  // namespace BackendTest
