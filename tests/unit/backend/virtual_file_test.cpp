// Virtual files through real sockets: the service against clients that go away, do not read, lie or
// are strangers, and the client against a server that does.

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <future>
#include <thread>

#include "client/virtual_file.h"
#include "platform/linux/host.h"
#include "platform/linux/listening_socket.h"
#include "platform/linux/virtual_file_frame.h"
#include "platform/linux/virtual_file_rights.h"
#include "platform/messaging_service.h"
#include "tests/unit/backend/pipe_server.h"

namespace BackendTest {

namespace {

using namespace GrpOwnerLinux;
using namespace std::literals;
using namespace GrpOwnerClient;
using Bytes = std::vector<uint8_t>;

constexpr unsigned kInvert = 9;  // open to everybody
constexpr unsigned kWait = 0;

int OnIoctl(IAMMgrFile* file, unsigned command, IAMIoctlArg* argument) {
    if (command == kWait) {
        Told::Instance().Add(std::string("waits in ") + file->name);
        Told::Instance().PassGate();
        Told::Instance().Add("done");
    }
    auto* bytes = static_cast<uint8_t*>(argument->buffer);
    std::transform(bytes, bytes + argument->length, bytes, [](uint8_t byte) { return ~byte; });
    return bytes == nullptr ? -1 : static_cast<int>(argument->length);
}

std::atomic<int> openFiles{0};

int OnOpen(IAMMgrFile* file) {
    return file->name == "shut"s ? -5 : ++openFiles;
}

int OnClose(IAMMgrFile* file) {
    Told::Instance().Add(std::string("close ") + file->name);
    --openFiles;
    return 0;
}

constexpr IAMFileOperations kOperations{nullptr, nullptr, OnIoctl, OnOpen, OnClose, nullptr};

int Register(const char* name, int32_t timeoutMs = 60'000) {
    const IAMServiceDescriptor descriptor{name, &kOperations, timeoutMs};
    return IAMRegisterService(&descriptor);
}

/// The offered file "car".
class VirtualFiles : public ::testing::Test {
protected:
    VirtualFiles() {
        Told::Instance().Reset();
        SetVirtualFileOptions(
            {"rover", "/etc/rover.yaml", {{"SITE", "a=b"}, {"X", ""}}, {kInvert}, 4711});
        EXPECT_EQ(Register("car"), 0);
    }
    ~VirtualFiles() override {
        while (openFiles > 0) {
            std::this_thread::yield();  // what is told late is not the next test's
        }
    }

    std::string Path(const char* name = "car") { return VirtualFilePath(directory_.Path(), name); }
    VirtualFile Open() { return std::move(*VirtualFile::Open(Path(), 60s)); }

    PrivateDirectory directory_;
};

TEST_F(VirtualFiles, TellsItsFactsAndCarriesBuffersOfEveryLength) {
    VirtualFile file = Open();
    const Facts& facts = file.GetFacts();
    EXPECT_EQ(std::pair(facts.mayChange, facts.serviceTimeout), std::pair(true, 60000ms));
    EXPECT_EQ(std::pair(facts.owner, facts.ownerPid), std::pair("rover"s, getpid()));
    EXPECT_EQ(facts.configuration, "/etc/rover.yaml");
    EXPECT_EQ(facts.matchData, (std::map<std::string, std::string>{{"SITE", "a=b"}, {"X", ""}}));
    for (const size_t length : {0U, 1U, 3U, 4095U, 65536U}) {
        const auto answer = file.Ioctl(kInvert, Bytes(length, 0xa5), 60s);
        ASSERT_TRUE(answer) << answer.GetError().message;
        EXPECT_EQ(answer->code, length == 0 ? -1 : static_cast<int>(length));
        EXPECT_EQ(answer->buffer, Bytes(length, 0x5a));
    }
    EXPECT_EQ(file.Ioctl(kInvert, Bytes(65537), 60s).GetError().kind, ErrorKind::kTooLarge);
}

// One command waits while another connection is answered; its client gives up, and the operation
// still ends in peace before the file is closed.
TEST_F(VirtualFiles, ServesConnectionsSideBySide) {
    Told::Instance().CloseGate();
    VirtualFile waiting = Open();
    VirtualFile other = Open();
    int interrupt[2];
    ASSERT_EQ(pipe(interrupt), 0);
    auto answer = std::async(std::launch::async,
                             [&] { return waiting.Ioctl(kWait, {1}, 60s, interrupt[0]); });
    Told::Instance().WaitFor(1);
    EXPECT_TRUE(other.Ioctl(kInvert, {1}, 60s));
    close(interrupt[1]);
    EXPECT_EQ(answer.get().GetError().kind, ErrorKind::kInterrupted);
    EXPECT_EQ(waiting.Ioctl(kInvert, {1}, 60s).GetError().kind, ErrorKind::kUnreachable);
    EXPECT_EQ(other.Ioctl(kWait, {1}, 1ms).GetError().kind, ErrorKind::kTimeout);
    Told::Instance().WaitFor(2);
    Told::Instance().OpenGate();
    const auto told = Told::Instance().WaitFor(6);
    EXPECT_EQ(told[2], "done");
    EXPECT_EQ(told[5], "close car");
    close(interrupt[0]);
}

TEST_F(VirtualFiles, HaveOneServerEach) {
    EXPECT_EQ(Register("car"), -EADDRINUSE);
    EXPECT_EQ(Register("a/b"), -EINVAL);
    EXPECT_EQ(Register(std::string(200, 'x').c_str()), -ENAMETOOLONG);
    EXPECT_TRUE(Open().Ioctl(kInvert, {1}, 60s));

    std::string reason;
    if (fork() == 0) {  // dies without a clean end and leaves its socket
        _exit(ListeningSocket(SOCK_SEQPACKET).Open(Path("old"), reason) < 0);
    }
    EXPECT_GT(wait(nullptr), 0);
    EXPECT_EQ(access(Path("old").c_str(), F_OK), 0);
    for (const char* name : {"old", "none"}) {
        const auto error = VirtualFile::Open(Path(name), 60s).GetError();
        EXPECT_EQ(error.message.find("nothing listens on " + Path(name)), 0U);
    }
    EXPECT_EQ(Register("old"), 0);
    EXPECT_TRUE(VirtualFile::Open(Path("old"), 60s));
    EXPECT_EQ(Register("shut"), 0);
    EXPECT_EQ(VirtualFile::Open(Path("shut"), 60s).GetError().code, -5);
}

TEST(VirtualFileRightsTest, FollowUserAndGroups) {
    const struct {
        PeerCredentials peer;
        std::optional<uint32_t> changeGroup;
        bool mayChange;
    } table[] = {
        {{0, {0}}, {}, true},     {{1000, {1000}}, {}, true},   {{1001, {1001}}, {}, false},
        {{1001, {7}}, 7, true},   {{1001, {1001, 7}}, 7, true}, {{1001, {1001, 8}}, 7, false},
        {{1001, {0}}, {}, false}, {{1001, {1000}}, {}, false},  {{1001, {}}, 0, false},
    };
    for (const auto& row : table) {
        const VirtualFileRights rights = RightsOf(row.peer, 1000, row.changeGroup);
        EXPECT_EQ(rights == VirtualFileRights::kChange, row.mayChange) << row.peer.user;
        EXPECT_EQ(MayGive(rights, 5, {6, 9}), row.mayChange);
        EXPECT_TRUE(MayGive(rights, 9, {6, 9}));
        EXPECT_FALSE(MayGive(VirtualFileRights::kNone, 9, {6, 9}));
    }
}

// The kernel knows credentials by thread: this one connects as somebody else, a member of the
// group.
TEST_F(VirtualFiles, KnowWhoMayByTheCredentials) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can be somebody else";
    }
    ASSERT_EQ(chmod(directory_.Path().c_str(), 0755), 0);
    std::thread([this] {
        const gid_t groups[] = {12, 4711};
        ASSERT_EQ(syscall(SYS_setgroups, 2, groups), 0);
        ASSERT_EQ(syscall(SYS_setresgid, 65534, 65534, 65534), 0);
        ASSERT_EQ(syscall(SYS_setresuid, 65534, 65534, 65534), 0);
        VirtualFile file = Open();
        EXPECT_TRUE(file.GetFacts().mayChange);
        EXPECT_TRUE(file.Ioctl(kWait, {1}, 60s));
    }).join();
}

// --- The client against a liar -------------------------------------------------------------------

std::string Greeting(VirtualFileRights rights, const std::string& facts, size_t length) {
    return GrpOwnerTest::Bytes(VirtualFileGreeting{kVirtualFileMagic, rights, 1, uint32_t(length)},
                               facts);
}

std::string Answer(uint32_t sequence, uint32_t outcome, uint32_t length) {
    return GrpOwnerTest::Bytes(
        std::array<uint32_t, 5>{kVirtualFileMagic, sequence, outcome, 0, length}, "xyz");
}

TEST(VirtualFileClientTest, BelievesNothing) {
    using Rights = VirtualFileRights;
    const std::string facts = "pid\0=\0pid=x\0define=\0define=A\0future=1\0cut"s;
    const std::string good = Greeting(Rights::kQuery, facts, facts.size());
    const struct {
        std::string greeting, answer;
        ErrorKind error;
    } table[] = {
        {"", "", ErrorKind::kUnreachable},
        {"hello", "", ErrorKind::kMalformed},
        {GrpOwnerTest::Bytes(VirtualFileGreeting{1}), "", ErrorKind::kMalformed},
        {Greeting(Rights::kChange, "ab", 3), "", ErrorKind::kMalformed},
        {Greeting(Rights::kChange, std::string(70000, 'a'), 70000), "", ErrorKind::kMalformed},
        {Greeting(Rights::kNone, "", 0), "", ErrorKind::kUnreachable},
        {Greeting(Rights::kNone, "", 0), Answer(0, 1, 3), ErrorKind::kRefused},
        {good, "", ErrorKind::kUnreachable},
        {good, Answer(2, 0, 3), ErrorKind::kMalformed},
        {good, Answer(1, 0, 0xffffffff), ErrorKind::kMalformed},
        {good, Answer(1, 0, 3), ErrorKind::kMalformed},  // three bytes for a buffer of two
        {good, Answer(1, 7, 3), ErrorKind::kMalformed},
        {good, Answer(1, 1, 3), ErrorKind::kRefused},
    };
    const PrivateDirectory directory;
    const std::string path = VirtualFilePath(directory.Path(), "liar");
    ListeningSocket socket(SOCK_SEQPACKET);
    std::string reason;
    const int listener = socket.Open(path, reason);
    for (const auto& row : table) {
        auto server = std::async(std::launch::async, [&] {
            const int peer = AcceptNext(listener);
            for (const std::string& packet : {row.greeting, row.answer}) {
                (void)send(peer, packet.data(), packet.size(), MSG_NOSIGNAL);
            }
            shutdown(peer, SHUT_WR);
            char rest[100];
            while (recv(peer, rest, sizeof(rest), 0) > 0) {  // until the client has gone
            }
            close(peer);
        });
        auto file = VirtualFile::Open(path, 60s);
        const auto error = file ? file->Ioctl(1, {1, 2}, 60s).GetError() : file.GetError();
        EXPECT_EQ(error.kind, row.error) << &row - table << ": " << error.message;
    }
}

}  // namespace

}  // namespace BackendTest
