// Who connects is silent, deaf, talks nonsense, comes a thousandfold or is the wrong one.
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>

#include <algorithm>
#include <csignal>
#include <functional>
#include <future>
#include <random>
#include <thread>

#include "client/connection.h"
#include "client/event_reader.h"
#include "platform/linux/host.h"
#include "platform/linux/queue_frame.h"
#include "platform/linux/virtual_file_frame.h"
#include "tests/e2e/fault.h"
#include "tests/support/frames.h"

namespace EndToEnd {

namespace {

using GrpOwnerClient::Connection;
using GrpOwnerClient::ErrorKind;
using GrpOwnerClient::EventReader;
using GrpOwnerClient::Patience;
using GrpOwnerClient::SsClient;
using GrpOwnerTest::Bytes;
using GrpOwnerTest::PipeFrame;
using GrpOwnerTest::PipeFrameKind;
using ProcMgrDaemon::RecordType;

constexpr uint32_t kNobody = 65534;

std::string Hello() {
    return PipeFrame(PipeFrameKind::kHello, 0, GrpOwnerTest::HelloBytes("stray"));
}

std::string Record(RecordType type, const std::string& payload) {
    return PipeFrame(PipeFrameKind::kRequest, 0, GrpOwnerTest::RecordBytes(type, payload));
}

std::string ListRequest() {
    return Bytes(GrpOwnerLinux::VirtualFileRequest{GrpOwnerLinux::kVirtualFileMagic, 6, 1, 4000},
                 std::string(4000, '\0'));
}

// Noise, half a packet, or one with a wrong byte.
std::string Spoil(std::string packet, std::mt19937& random) {
    switch (random() % 3) {
        case 0:
            packet.resize(random() % 4000);
            std::generate(packet.begin(), packet.end(), std::ref(random));
            return packet;
        case 1:
            return packet.substr(0, random() % packet.size());
        default:
            packet[random() % packet.size()] ^= static_cast<char>(1 + random() % 255);
            return packet;
    }
}

// The raw calls change one thread, where the library's would change the process.
template <typename Body>
void AsNobody(gid_t group, Body body) {
    std::thread([&] {
        ASSERT_EQ(syscall(SYS_setgroups, 0, nullptr), 0);
        ASSERT_EQ(syscall(SYS_setresgid, group, group, group), 0);
        ASSERT_EQ(syscall(SYS_setresuid, kNobody, kNobody, kNobody), 0);
        body();
    }).join();
}

sockaddr_un Address(const std::string& path) {
    sockaddr_un address{AF_UNIX, ""};
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    return address;
}

bool Say(Connection& connection, const std::string& packet,
         std::chrono::milliseconds patience = kLong) {
    return !connection.Send(packet.data(), packet.size(), {}, Patience{patience, -1});
}

}  // namespace

class Peer : public Fault {
protected:
    std::unique_ptr<Daemon> Begin(const std::string& descriptors = "unlimited") {
        manager_ = std::make_unique<Daemon>(
            Limited("-n " + descriptors, {PROCMGRD, "--run-dir", Path("run"), "--capture", "0"}));
        EXPECT_TRUE(manager_->Says("procmgrd: ready on ")) << manager_->Output();
        auto owner = Boot("  base: {command: probe}\n", {"GRPOWNER_LOG_LEVEL=info"},
                          {"--events", "news", "--states", Write("states.yaml", "working: []\n")});
        owner_ = HoldingOf(*owner);
        managed_ = HoldingOf(*manager_);
        return owner;
    }

    Connection Raw(const std::string& name) const {
        auto connection = Connection::Open(Path("run/" + name), kLong);
        EXPECT_TRUE(connection) << connection.GetError().message;
        return std::move(*connection);
    }
    GrpOwnerClient::Result<EventReader> Listen() const {
        return EventReader::Open(GrpOwnerLinux::QueuePath(Path("run"), "news"), kLong);
    }
    void Notify(const std::string& words) const {
        const int fd = socket(AF_UNIX, SOCK_DGRAM, 0);
        const sockaddr_un address = Address(Path("run/own.notify"));
        EXPECT_EQ(sendto(fd, words.data(), words.size(), 0,
                         reinterpret_cast<const sockaddr*>(&address), sizeof(address)),
                  static_cast<ssize_t>(words.size()));
        close(fd);
    }
    void TalkNonsense(std::mt19937& random) const {
        Connection pipe = Raw("PROCMGR.pipe");
        (void)Say(pipe, Spoil(Hello(), random));
        pipe = Raw("PROCMGR.pipe");
        (void)Say(pipe, Hello());
        for (const auto type : {RecordType::kStart, RecordType::kTerminate, RecordType::kQuery}) {
            (void)Say(pipe, Record(type, Spoil("2#base#late#0#0#", random).substr(0, 900)));
        }
        (void)Say(pipe, Spoil(Record(RecordType::kQuery, "1#base#"), random));
        Connection file = Raw("own.vfs");
        (void)Say(file, Spoil(ListRequest(), random));
        (void)Say(file, Spoil(ListRequest(), random));
        Connection queue = Raw("news.queue");
        (void)Say(queue, Spoil(Bytes(GrpOwnerLinux::QueueReturn{}), random));
        Notify(Spoil("READY=1\nWATCHDOG=1\nSTOPPING=1\n", random));
    }
    void ExpectAllAsBefore(Daemon& owner) {
        ExpectNoMore(owner, owner_);
        ExpectNoMore(*manager_, managed_);
        ExpectThatItLives(owner);
        EXPECT_TRUE(Connect().List());
        EndAll(owner);
    }

    Holding owner_;  // before
    Holding managed_;
};

TEST_F(Peer, GarbageOnEverySocket) {
    const auto owner = Begin();
    std::mt19937 random(1);
    for (int round = 0; round < 1200; ++round) {
        TalkNonsense(random);
        if (round == 60) {  // by then all threads have had their first memory
            owner_.residentKb = HoldingOf(*owner).residentKb;
            managed_.residentKb = HoldingOf(*manager_).residentKb;
        }
    }
    for (const char* const told : {"sent what is no frame", "did not begin with a hello",
                                   "stray: a record of type 0 is malformed and ignored"}) {
        EXPECT_TRUE(manager_->Says(told)) << told;
    }
    for (const char* const told :
         {"own refuses with -74: this is no request", "own refuses with -74: the request tells of",
          "drops a reader that has sent something but the return of its block"}) {
        EXPECT_TRUE(owner->Says(told)) << told;
    }
    ExpectAllAsBefore(*owner);
}

TEST_F(Peer, AThousandSilentConnections) {
    const auto owner = Begin();
    {
        std::vector<Connection> crowd;
        for (int number = 0; number < 1000; ++number) {
            for (const char* const name : {"PROCMGR.pipe", "own.vfs", "news.queue"}) {
                crowd.push_back(Raw(name));
            }
        }
        EXPECT_EQ(SsClient::Connect(Path("run/own.vfs")).GetError().message,
                  "too many connections to own: 56 are there; try again when one of them has gone");
        EXPECT_EQ(Listen().GetError().message,
                  "too many readers of news: 56 are there; try again when one of them has gone");
        ExpectThatItLives(*owner);
        owner->Signal(SIGHUP);  // what it asks of itself is heard nevertheless
        EXPECT_TRUE(owner->Says("the configuration has been read again")) << owner->Output();
        EXPECT_EQ(crowd[2997].Receive(1, Patience{kLong, -1}).GetError().message,
                  "the owner has ended the connection");
        EXPECT_TRUE(manager_->Says("said no hello"));
    }
    ExpectAllAsBefore(*owner);
}

// Applications keep what they need, and an owner that is too many learns it at once.
TEST_F(Peer, AThousandConnectionsAndFewDescriptors) {
    const auto owner = Begin("64");
    {
        std::vector<Connection> crowd;
        for (int number = 0; number < 1000; ++number) {
            crowd.push_back(Raw("PROCMGR.pipe"));
            (void)Say(crowd.back(), Hello());
        }
        const auto late = Own("  base: {command: probe}\n", {}, {}, "late");
        EXPECT_EQ(late->Wait(), 1);
        EXPECT_TRUE(late->Says("PROCMGR.pipe: Too many open files")) << late->Output();
        EXPECT_TRUE(manager_->Says("16 connections are open; one more of pid"));
        ExpectThatItLives(*owner);
    }
    ExpectAllAsBefore(*owner);
}

// Those who never take what they are sent lose it, and the others nothing.
TEST_F(Peer, ReadersThatNeverRead) {
    const auto owner = Begin();
    {
        Connection file = Raw("own.vfs");
        const auto talk = std::async(std::launch::async, [&file] {
            while (Say(file, ListRequest())) {
            }
        });
        Connection pipe = Raw("PROCMGR.pipe");
        EXPECT_TRUE(Say(pipe, Hello()));
        const std::string query = Bytes(uint32_t{1}, Bytes(uint32_t{4}, "base"));
        int taken = 0;
        while (Say(pipe, Record(RecordType::kQuery, query), std::chrono::milliseconds(200))) {
            ASSERT_LT(++taken, 10000);
        }
        const Connection queue = Raw("news.queue");
        auto reader = Listen();
        SsClient client = Connect();
        while (owner->Output().find("IAMDataEnqueue failed, err=-11") == std::string::npos) {
            ASSERT_TRUE(*client.SetSystemState(1, kLong));
            ASSERT_EQ(*reader->Next(kLong), "10001");
            ASSERT_EQ(*reader->Next(kLong), "20001");
        }
        ExpectThatItLives(*owner);
        EXPECT_TRUE(owner->Says("own lets a client go that takes no answer within 5000 ms"));
    }
    ExpectAllAsBefore(*owner);
}

TEST_F(Peer, TheWrongUserOnEverySocket) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can become another user";
    }
    const auto owner = Begin();
    AsNobody(kNobody, [&] {
        EXPECT_EQ(Connection::Open(Path("run/PROCMGR.pipe"), kLong).GetError().code, EACCES);
        SsClient client = Connect();
        EXPECT_EQ(client.List()->names, std::vector<std::string>{"base"});
        for (const auto& answer :
             {client.Reload(), client.StopAll(), client.Dump(), client.SetSystemState(1, kLong)}) {
            EXPECT_EQ(answer.GetError().kind, ErrorKind::kNotAllowed);
            EXPECT_NE(answer.GetError().message.find("user nobody may not give command"),
                      std::string::npos);
        }
        EXPECT_TRUE(Listen());
        Notify("STOPPING=1\nREADY=1\n");
    });
    AsNobody(0, [&] {  // a right to the socket by its group is no right to own
        Connection pipe = Raw("PROCMGR.pipe");
        EXPECT_TRUE(Say(pipe, Hello()));
        const auto welcome = pipe.Receive(1000, Patience{kLong, -1});
        EXPECT_EQ(std::string(welcome->begin(), welcome->end()),
                  PipeFrame(PipeFrameKind::kWelcome, 0, Bytes(int32_t{-EACCES})));
    });
    EXPECT_TRUE(manager_->Says("stray: user 65534 may not own applications here; only root"));
    ExpectAllAsBefore(*owner);
}

// Whoever serves the socket would decide what runs.
TEST_F(Peer, AProcessManagerOfTheWrongUser) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can become another user";
    }
    const sockaddr_un address = Address(Path("run/PROCMGR.pipe"));
    const int impostor = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(impostor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    AsNobody(kNobody, [impostor] { EXPECT_EQ(listen(impostor, 1), 0); });
    const auto owner = Own("  base: {command: probe}\n");
    EXPECT_EQ(owner->Wait(), 1);
    EXPECT_TRUE(owner->Says("is served by user 65534, but only root and our own user may"))
        << owner->Output();
    close(impostor);
}

}  // namespace EndToEnd
