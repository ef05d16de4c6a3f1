#include <gtest/gtest.h>

#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/heartbeat_service.h"
#include "platform/linux/host.h"
#include "platform/pipe_service.h"
#include "tests/unit/backend/pipe_peer.h"

namespace {

using GrpOwnerLinux::kMaxPipePayload;
using GrpOwnerLinux::PipeFrameHeader;
using Kind = GrpOwnerLinux::PipeFrameKind;
using Lines = std::vector<std::string>;

/// What the handlers are told, in order.
class Events {
public:
    void Add(const std::string& event) {
        std::lock_guard<std::mutex> lock(mutex_);
        events_.push_back(event);
        added_.notify_all();
    }
    // The first `count` of them, once there are as many. The time-out only ends a failing test.
    Lines Wait(size_t count) {
        std::unique_lock<std::mutex> lock(mutex_);
        (void)added_.wait_for(lock, std::chrono::seconds(30),
                              [this, count] { return events_.size() >= count; });
        return events_;
    }

private:
    std::mutex mutex_;
    std::condition_variable added_;
    Lines events_;
};

std::function<void(int, const std::string&)> onRequest;

void HandleRequest(int fd, const EzcomRequest* request) {
    onRequest(fd, std::string(static_cast<const char*>(request->data), request->size));
}

std::string Welcome(int32_t result) {
    return std::string(reinterpret_cast<const char*>(&result), sizeof(result));
}

int Open(int timeoutMs = 30000) {
    const EzcomOpenParams params{"owner", PipeServer::kName, 7, HandleRequest, timeoutMs, 0, 1, -1,
                                 -1};
    return EzcomOpen(&params);
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

/// An open pipe to a peer that the test plays.
class Pipe : public ::testing::Test {
protected:
    Pipe() {
        onRequest = [this](int, const std::string& text) { events_.Add(text); };
        GrpOwnerLinux::SetPipeEndHandler([this](int fd, const std::string& reason) {
            events_.Add((fd == fd_ ? "end: " : "foreign end: ") + reason);
        });
        auto opening = std::async(std::launch::async, [] { return Open(); });
        peer_ = std::make_unique<PipePeer>(server_.Accept());
        hello_ = peer_->Receive();
        peer_->Send(Kind::kWelcome, 0, Welcome(0));
        fd_ = opening.get();
    }
    ~Pipe() override {
        while (EzcomClosePipe(fd_) == -EBUSY) {
            std::this_thread::yield();
        }
    }

    PipeServer server_;
    std::unique_ptr<PipePeer> peer_;
    PipePeer::Frame hello_;
    Events events_;
    int fd_ = -1;
};

TEST(PipeOpen, TakesTheServersWordAndNoOther) {
    const struct {
        const char* what;
        std::string packet;
        int result;
    } kCases[] = {
        {"refused", MakeFrame(Kind::kWelcome, 0, Welcome(-EACCES)), -EACCES},
        {"busy", MakeFrame(Kind::kWelcome, 0, Welcome(-EAGAIN)), -11},
        {"positive", MakeFrame(Kind::kWelcome, 0, Welcome(5)), -EPROTO},
        {"short", "220 mail ready\r\n", -EPROTO},
        {"long", std::string(100, 'x'), -EPROTO},
        {"no result", MakeFrame(Kind::kWelcome, 0, ""), -EPROTO},
        {"other kind", MakeFrame(Kind::kRequest, 0, Welcome(0)), -EPROTO},
        {"other magic",
         MakeFrame(Kind::kWelcome, 0, Welcome(0), [](PipeFrameHeader& header) { ++header.magic; }),
         -EPROTO},
        {"closes", "", -ECONNRESET}};
    const PipeServer server;
    for (const auto& entry : kCases) {
        auto opening = std::async(std::launch::async, [] { return Open(); });
        PipePeer peer = server.Accept();
        (void)peer.Receive();  // the hello
        if (entry.packet.empty()) {
            peer.Close();
        } else {
            peer.SendBytes(entry.packet);
            EXPECT_TRUE(peer.Receive().isEnd) << entry.what;  // no connection is left open
        }
        EXPECT_EQ(opening.get(), entry.result) << entry.what;
    }
}

TEST(PipeOpen, SaysWhyItFailsWithoutAServer) {
    PipeServer server(0);
    EXPECT_EQ(Open(1), -ETIMEDOUT);  // the kernel connects, nobody answers
    server.FillBacklog();
    EXPECT_EQ(Open(), -11);
    server.StopListening();
    EXPECT_EQ(Open(), -ECONNREFUSED);
    EXPECT_EQ(errno, ECONNREFUSED);
    EzcomOpenParams params{"owner", "NOBODY", 7, HandleRequest, 1, 0, 1, -1, -1};
    EXPECT_EQ(EzcomOpen(&params), -ENOENT);
    params.targetName = "../PEER";
    EXPECT_EQ(EzcomOpen(&params), -EINVAL);
    const std::string tooLong(GrpOwnerLinux::kMaxProcessName + 1, 'x');
    params = {tooLong.c_str(), PipeServer::kName, 7, HandleRequest, 1, 0, 1, -1, -1};
    EXPECT_EQ(EzcomOpen(&params), -EINVAL);
}

TEST_F(Pipe, IntroducesItselfAndHandlesRequestsInOrder) {
    ASSERT_GT(fd_, 0);
    EXPECT_EQ(hello_.kind, static_cast<uint32_t>(Kind::kHello));
    const uint32_t fields[] = {7, 5};
    EXPECT_EQ(hello_.payload,
              std::string(reinterpret_cast<const char*>(fields), sizeof(fields)) + "owner");
    Lines expected;
    for (int i = 0; i < 500; ++i) {
        expected.push_back(std::to_string(i));
        peer_->Send(Kind::kRequest, 0, expected.back());
    }
    expected.push_back(std::string(kMaxPipePayload, 'x'));
    peer_->Send(Kind::kRequest, 0, expected.back());
    EXPECT_EQ(events_.Wait(expected.size()), expected);
}

TEST_F(Pipe, CompletesCallsWhileAHandlerBlocks) {
    std::promise<void> release;
    onRequest = [this, &release](int, const std::string& text) {
        events_.Add(text);
        release.get_future().wait();
    };
    peer_->Send(Kind::kRequest, 0, "block");
    (void)events_.Wait(1);
    auto first = CallAside(fd_, "first");
    const PipePeer::Frame call1 = peer_->Receive();
    auto second = CallAside(fd_, "second");
    const PipePeer::Frame call2 = peer_->Receive();
    EXPECT_EQ(call1.payload + call2.payload, "firstsecond");
    EXPECT_EQ(call1.kind, static_cast<uint32_t>(Kind::kCall));
    EXPECT_NE(call1.sequence, call2.sequence);
    peer_->Send(Kind::kAnswer, call2.sequence, "two");
    EXPECT_EQ(second.get(), "two");
    peer_->Send(Kind::kAnswer, call1.sequence, "");
    EXPECT_EQ(first.get(), "none");
    EXPECT_EQ(EzcomClosePipe(fd_), -16);
    release.set_value();
}

TEST_F(Pipe, LetsAHandlerSendAndCall) {
    onRequest = [this](int fd, const std::string& text) {
        EXPECT_EQ(SendText(fd, "from " + text), 0);
        events_.Add(CallText(fd, "call of " + text));
    };
    peer_->Send(Kind::kRequest, 0, "a");
    peer_->Send(Kind::kRequest, 0, "b");  // is still queued while the handler calls
    for (const char* name : {"a", "b"}) {
        EXPECT_EQ(peer_->Receive().payload, std::string("from ") + name);
        const PipePeer::Frame call = peer_->Receive();
        peer_->Send(Kind::kAnswer, call.sequence, "answer to the " + call.payload);
    }
    EXPECT_EQ(events_.Wait(2), (Lines{"answer to the call of a", "answer to the call of b"}));
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
        ASSERT_EQ(peer_->Receive().payload, std::to_string(i) + std::string(4000, 'x'));
    }
    EXPECT_EQ(SendText(fd_, "on"), 0);
    EXPECT_EQ(peer_->Receive().payload, "on");
    EXPECT_EQ(SendText(fd_, std::string(kMaxPipePayload + 1, 'x')), -EMSGSIZE);
}

TEST_F(Pipe, TellsADeadPeersEndOnceAfterAllItSaid) {
    auto call = CallAside(fd_, "call");
    (void)peer_->Receive();
    EXPECT_EQ(SendText(fd_, "never read"), 0);  // makes the end a reset
    for (const char* text : {"1", "2", "3"}) {
        peer_->Send(Kind::kRequest, 0, text);
    }
    peer_->Close();
    EXPECT_EQ(SendText(fd_, "x"), -EPIPE);  // at once, and without a signal
    EXPECT_EQ(call.get(), std::to_string(-EPIPE));
    EXPECT_EQ(CallText(fd_, "x"), std::to_string(-EPIPE));
    const Lines expected{"1", "2", "3", "end: the peer has closed the pipe"};
    EXPECT_EQ(events_.Wait(4), expected);
    while (EzcomClosePipe(fd_) == -EBUSY) {
        std::this_thread::yield();
    }
    EXPECT_EQ(events_.Wait(4), expected);
    EXPECT_EQ(SendText(fd_, "x"), -EBADF);
}

TEST_F(Pipe, DropsALateAnswer) {
    EXPECT_EQ(CallText(fd_, "slow", 1), std::to_string(-ETIMEDOUT));
    const PipePeer::Frame slow = peer_->Receive();
    auto next = CallAside(fd_, "next");
    const PipePeer::Frame call = peer_->Receive();
    peer_->Send(Kind::kAnswer, slow.sequence, "late");
    peer_->Send(Kind::kAnswer, call.sequence + 1, "of a call that was never made");
    peer_->Send(Kind::kAnswer, call.sequence, "own");
    EXPECT_EQ(next.get(), "own");
}

TEST_F(Pipe, EndsAtAHostileFrame) {
    const auto spoilt = [](void (*change)(PipeFrameHeader&)) {
        return MakeFrame(Kind::kRequest, 0, "x", change);
    };
    const struct {
        const char* what;
        std::string packet;
    } kCases[] = {
        {"short", "GOP"},
        {"no header", MakeFrame(Kind::kRequest, 0, "").substr(0, sizeof(PipeFrameHeader) - 1)},
        {"long", MakeFrame(Kind::kRequest, 0, std::string(kMaxPipePayload + 1, 'x'))},
        {"longer than read", MakeFrame(Kind::kRequest, 0, std::string(2 * kMaxPipePayload, 'x'))},
        {"magic", spoilt([](PipeFrameHeader& header) { header.magic = 0; })},
        {"size too small", spoilt([](PipeFrameHeader& header) { header.size = 0; })},
        {"size too big", spoilt([](PipeFrameHeader& header) { header.size = 2; })},
        {"size wraps", spoilt([](PipeFrameHeader& header) { header.size = UINT32_MAX; })},
        {"kind unknown", spoilt([](PipeFrameHeader& header) { header.kind = 99; })},
        {"kind of the opener", MakeFrame(Kind::kCall, 1, "x")},
        {"welcome again", MakeFrame(Kind::kWelcome, 0, Welcome(0))},
    };
    for (const auto& entry : kCases) {
        auto opening = std::async(std::launch::async, [] { return Open(); });
        const PipePeer peer = server_.Accept();
        (void)peer.Receive();
        peer.Send(Kind::kWelcome, 0, Welcome(0));
        const int fd = opening.get();
        const size_t before = events_.Wait(0).size();
        peer.Send(Kind::kRequest, 0, "good");
        peer.SendBytes(entry.packet);
        peer.Send(Kind::kRequest, 0, "too late");
        EXPECT_TRUE(peer.Receive().isEnd) << entry.what;
        const Lines events = events_.Wait(before + 2);
        ASSERT_EQ(events.size(), before + 2) << entry.what;
        EXPECT_EQ(events[before], "good") << entry.what;
        EXPECT_EQ(events[before + 1].compare(0, 30, "foreign end: the peer has sent"), 0)
            << entry.what << ": " << events[before + 1];
        while (EzcomClosePipe(fd) == -EBUSY) {
            std::this_thread::yield();
        }
    }
}

TEST_F(Pipe, ClosesFromWithinItsHandlerWhichIsTheLast) {
    onRequest = [this](int fd, const std::string& text) {
        EXPECT_EQ(CallText(fd, "first"), "all are queued");
        events_.Add(text + " " + std::to_string(EzcomClosePipe(fd)));
    };
    peer_->Send(Kind::kRequest, 0, "a");
    peer_->Send(Kind::kRequest, 0, "b");
    peer_->Send(Kind::kAnswer, peer_->Receive().sequence, "all are queued");
    EXPECT_TRUE(peer_->Receive().isEnd);
    EXPECT_EQ(events_.Wait(1), Lines{"a 0"});
    EXPECT_EQ(EzcomClosePipe(fd_), -EBADF);
}

TEST_F(Pipe, ClosingFailsTheCallsThatWaitAndIsNoEndToTell) {
    auto call = CallAside(fd_, "call");
    (void)peer_->Receive();
    EXPECT_EQ(EzcomClosePipe(fd_), 0);
    EXPECT_EQ(call.get(), std::to_string(-EPIPE));
    EXPECT_EQ(events_.Wait(0), Lines{});
    EXPECT_TRUE(peer_->Receive().isEnd);
}

TEST_F(Pipe, CarriesOurHeartBeat) {
    const HeartBeatSendParams params{3, 1};
    ASSERT_EQ(RegisterSendHeartBeat("owner", 5, PipeServer::kName, 4, &params), 0);
    for (int i = 0; i < 2; ++i) {
        const PipePeer::Frame beat = peer_->Receive();
        EXPECT_EQ(beat.kind, static_cast<uint32_t>(Kind::kHeartBeat));
        EXPECT_EQ(beat.payload, "");
    }
    EXPECT_EQ(UnregisterSendHeartBeat(), 0);
}

}  // namespace
