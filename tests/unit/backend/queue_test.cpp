// Queues and their shared memory: limits of pools, readers that read, do not read, lie or die, and
// the reader against a service that lies.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <future>
#include <map>
#include <mutex>
#include <thread>

#include "client/connection.h"
#include "client/event_reader.h"
#include "platform/linux/host.h"
#include "platform/linux/listening_socket.h"
#include "platform/linux/queue_frame.h"
#include "platform/messaging_service.h"
#include "tests/unit/backend/pipe_server.h"

namespace BackendTest {

namespace {

using namespace GrpOwnerClient;
using namespace GrpOwnerLinux;
using namespace std::literals;

constexpr IAMShmPoolConfig kConfig{"reader", 160, 1000};

template <typename Header>
std::string Frame(const Header& header, const std::string& rest = {}) {
    return std::string(reinterpret_cast<const char*>(&header), sizeof(header)) + rest;
}

TEST(SharedPoolsTest, KeepToTheirLimits) {
    IAMShmPool pool{};
    IAMShmPool other{};
    IAMShmBlock block{};
    for (const IAMShmPoolConfig& bad :
         {IAMShmPoolConfig{"x", 0, 9}, {"x", 9, 0}, {"x", ~0U, ~0U}, {nullptr, 1, 1}}) {
        EXPECT_EQ(IAMShmRegisterPoolWithConfig(&bad, &pool), -EINVAL);
    }
    ASSERT_EQ(IAMShmRegisterPoolWithConfig(&kConfig, &pool), 0);
    ASSERT_EQ(IAMShmRegisterPoolWithConfig(&kConfig, &other), 0);
    EXPECT_EQ(IAMShmHandleMalloc(&pool, 0, &block), -EINVAL);
    EXPECT_EQ(IAMShmHandleMalloc(&pool, 161, &block), -EMSGSIZE);
    std::vector<IAMShmBlock> blocks(1000);
    for (IAMShmBlock& each : blocks) {
        ASSERT_EQ(IAMShmHandleMalloc(&pool, &each == &blocks[0] ? 5 : 160, &each), 0);
    }
    EXPECT_EQ(IAMShmHandleMalloc(&pool, 1, &block), -ENOMEM);
    constexpr size_t kWrites[][3] = {{5, 0, true},         {1, 4, true},        {0, 5, true},
                                     {6, 0, false},        {1, 5, false},       {0, 6, false},
                                     {SIZE_MAX, 1, false}, {1, SIZE_MAX, false}};
    for (const auto& [length, offset, fits] : kWrites) {
        EXPECT_EQ(IAMShmWrite(&blocks[0], "12345", length, offset), fits ? 0 : -ERANGE);
    }
    EXPECT_EQ(IAMShmFree(&other, &blocks[0]), -EINVAL);
    EXPECT_EQ(IAMShmFree(&pool, &blocks[0]), 0);
    EXPECT_EQ(IAMShmFree(&pool, &blocks[0]), -EINVAL);
    EXPECT_EQ(IAMShmHandleMalloc(&pool, 160, &block), 0);
    EXPECT_EQ(IAMShmWrite(&blocks[0], "1", 1, 0), -EINVAL);  // its place is another's now
    EXPECT_EQ(IAMShmDestroyPool(&pool), 0);
    EXPECT_EQ(IAMShmFree(&pool, &block), -EINVAL);
    EXPECT_EQ(IAMShmDestroyPool(&other), 0);
}

/// Reports as the group owner does: one lock over all, a pool for each reader.
std::mutex poolMutex;
std::map<IamQfsMgrFile*, IAMShmPool> pools;

int OnOpen(IamQfsMgrFile* file) {
    std::lock_guard<std::mutex> lock(poolMutex);
    return file->name == "shut"s ? -5 : IAMShmRegisterPoolWithConfig(&kConfig, &pools[file]);
}

int OnClose(IamQfsMgrFile* file) {
    std::lock_guard<std::mutex> lock(poolMutex);
    return IAMShmDestroyPool(&pools.extract(file).mapped());
}

// The code for each reader.
std::map<uint64_t, int> Report(const std::string& text) {
    std::map<uint64_t, int> codes;
    std::lock_guard<std::mutex> lock(poolMutex);
    for (auto& [file, pool] : pools) {
        IAMShmBlock block{};
        int& code = codes[file->queue] = IAMShmHandleMalloc(&pool, text.size(), &block);
        if (code == 0) {
            EXPECT_EQ(IAMShmWrite(&block, text.data(), text.size(), 0), 0);
            code = IAMDataEnqueue(file->queue, &pool, &block);
            EXPECT_EQ(IAMShmFree(&pool, &block) == 0, code != 0);  // the queue's now, or still ours
        }
    }
    return codes;
}

/// The queue "news".
class QueueTest : public ::testing::Test {
protected:
    QueueTest() { EXPECT_EQ(Register("news"), 0); }
    ~QueueTest() override { WaitForReaders(0); }

    static int Register(const char* name) {
        static constexpr IAMQueueOperations kOperations{nullptr, nullptr, OnOpen, OnClose, nullptr};
        const IAMQueueDescriptor descriptor{name, &kOperations, 5000, 0};
        return IAMRegisterQueueService(&descriptor);
    }
    static void WaitForReaders(size_t count) {
        while (std::lock_guard<std::mutex>(poolMutex), pools.size() != count) {
            std::this_thread::yield();
        }
    }

    std::string Path(const char* name = "news") { return QueuePath(directory_.Path(), name); }
    EventReader Open() { return std::move(*EventReader::Open(Path(), 60s)); }
    Connection OpenRaw() {
        auto connection = Connection::Open(Path(), 60s);
        EXPECT_EQ(connection->Receive(100, patience_)->size(), sizeof(QueueGreeting));
        return std::move(*connection);
    }

    const Patience patience_{60s, -1};
    PrivateDirectory directory_;
};

// The third never reads; the others get 2500 events through 1000 blocks each.
TEST_F(QueueTest, BringsEveryEventToWhoReads) {
    constexpr int kEvents = 2500;
    std::atomic<int> received{0};
    const auto readAll = [&](EventReader reader) {
        for (int i = 0; i < kEvents; ++i, ++received) {
            const auto event = reader.Next(60s);
            ASSERT_TRUE(event) << event.GetError().message;
            ASSERT_EQ(*event, std::to_string(i));
        }
        EXPECT_EQ(reader.Next(1ms).GetError().kind, ErrorKind::kTimeout);
    };
    auto first = std::async(std::launch::async, readAll, Open());
    auto second = std::async(std::launch::async, readAll, Open());
    EventReader lazy = Open();
    std::map<uint64_t, std::vector<int>> codes;
    for (int i = 0; i < kEvents && !HasFailure(); ++i) {
        for (const auto& [queue, code] : Report(std::to_string(i))) {
            codes[queue].push_back(code);
        }
        while (received < 2 * (i - 50) && !HasFailure()) {
            std::this_thread::yield();  // who reads stays close behind
        }
    }
    ASSERT_EQ(codes.size(), 3U);
    const std::vector<int> lazyCodes = codes.rbegin()->second;  // handles grow
    codes.erase(std::prev(codes.end()));
    const auto taken = std::count(lazyCodes.begin(), lazyCodes.end(), 0);
    EXPECT_EQ(std::count(lazyCodes.begin(), lazyCodes.end(), -EAGAIN), kEvents - taken);
    EXPECT_EQ(lazyCodes.back(), -EAGAIN);
    for (const auto& [queue, others] : codes) {
        EXPECT_EQ(others, std::vector(kEvents, 0));
    }
    first.get();
    second.get();
    WaitForReaders(1);
    EXPECT_EQ(*lazy.Next(60s), "0");  // what was taken is there, and it may come back any time
    EXPECT_EQ(Report("x").begin()->second, 0);
}

TEST_F(QueueTest, IsNotHarmedByBadReaders) {
    const std::string returned = Frame(QueueReturn{kQueueMagic, 0, 1});
    const std::string table[] = {
        returned,  // a second time
        returned.substr(1),
        returned + "x",
        Frame(QueueReturn{1, 0, 2}),
        Frame(QueueReturn{kQueueMagic, 0, 3}),
    };
    EventReader good = Open();
    for (const auto& row : table) {
        Connection bad = OpenRaw();
        (void)Report("1");
        (void)Report("1");
        (void)bad.Send(returned.data(), returned.size(), {}, patience_);
        (void)bad.Send(row.data(), row.size(), {}, patience_);
        while (bad.Receive(100, patience_)) {  // until it is dropped
        }
        WaitForReaders(1);
        EXPECT_EQ(*good.Next(60s) + *good.Next(60s), "11");
    }
    // One that keeps what it gets runs out of blocks of its own, and cannot change the memory.
    Connection hoarder = OpenRaw();
    OwnedDescriptor memory;
    for (int i = 0; i < 1000; ++i) {
        EXPECT_EQ(Report("2").rbegin()->second, 0);
        ASSERT_TRUE(hoarder.Receive(100, patience_, i == 0 ? &memory : nullptr));
        EXPECT_EQ(*good.Next(60s), "2");
    }
    const auto codes = Report("3");
    EXPECT_EQ(std::pair(codes.begin()->second, codes.rbegin()->second), std::pair(0, -ENOMEM));
    EXPECT_NE(ftruncate(memory.Get(), 1), 0);
    EXPECT_EQ(mmap(nullptr, 1, PROT_WRITE, MAP_SHARED, memory.Get(), 0), MAP_FAILED);
    hoarder.Close();  // dies with a full hand
    WaitForReaders(1);
    EXPECT_EQ(*good.Next(60s), "3");
}

TEST_F(QueueTest, RefusesInWords) {
    ASSERT_EQ(Register("shut"), 0);
    EXPECT_EQ(EventReader::Open(Path("shut"), 60s).GetError().code, -5);
    IAMShmPool pool{};
    const IAMShmBlock block{};
    EXPECT_EQ(IAMDataEnqueue(~0ULL, &pool, &block), -EBADF);
}

// --- The reader against a liar -------------------------------------------------------------------

void SendWith(int socket, const std::string& packet, int descriptor) {
    iovec part{const_cast<char*>(packet.data()), packet.size()};
    alignas(cmsghdr) char space[CMSG_SPACE(sizeof(int))] = {};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = space;
    message.msg_controllen = descriptor < 0 ? 0 : sizeof(space);
    auto* head = reinterpret_cast<cmsghdr*>(space);
    *head = {CMSG_LEN(sizeof(int)), SOL_SOCKET, SCM_RIGHTS};
    std::memcpy(CMSG_DATA(head), &descriptor, sizeof(int));
    (void)sendmsg(socket, &message, MSG_NOSIGNAL);
}

TEST(EventReaderTest, BelievesNothing) {
    const OwnedDescriptor open(memfd_create("open", MFD_ALLOW_SEALING));
    const OwnedDescriptor sealed(memfd_create("sealed", MFD_ALLOW_SEALING));
    ASSERT_EQ(ftruncate(open.Get(), 10) + ftruncate(sealed.Get(), 10), 0);
    ASSERT_EQ(fcntl(sealed.Get(), F_ADD_SEALS, F_SEAL_SHRINK), 0);
    const std::string welcome = Frame(QueueGreeting{});
    const auto event = [](uint32_t length, uint64_t offset, uint64_t sequence = 1) {
        return Frame(QueueEvent{kQueueMagic, length, offset, sequence});
    };
    const struct {
        std::string greeting, event;
        int descriptor;
        ErrorKind error;
    } table[] = {
        {"hello", "", -1, ErrorKind::kMalformed},
        {Frame(QueueGreeting{kQueueMagic, 0, 3}, "ab"), "", -1, ErrorKind::kMalformed},
        {Frame(QueueGreeting{kQueueMagic, -EBUSY, 2}, "ab"), "", -1, ErrorKind::kRefused},
        {welcome, event(1, 0), -1, ErrorKind::kMalformed},
        {welcome, event(1, 0), open.Get(), ErrorKind::kMalformed},
        {welcome, event(1, 0, 2), sealed.Get(), ErrorKind::kMalformed},
        {welcome, event(1, 0) + "x", sealed.Get(), ErrorKind::kMalformed},
        {welcome, event(1, 10), sealed.Get(), ErrorKind::kMalformed},
        {welcome, event(11, 0), sealed.Get(), ErrorKind::kMalformed},
        {welcome, event(2, ~0ULL), sealed.Get(), ErrorKind::kMalformed},
        {welcome, event(~0U, 1), sealed.Get(), ErrorKind::kMalformed},
        {welcome, event(9, 1), sealed.Get(), ErrorKind::kUsage},  // a good one
    };
    const PrivateDirectory directory;
    const std::string path = QueuePath(directory.Path(), "liar");
    std::string reason;
    ListeningSocket socket;
    const int listener = socket.Open(path, reason);
    for (const auto& row : table) {
        auto server = std::async(std::launch::async, [&] {
            const OwnedDescriptor peer(AcceptNext(listener));
            SendWith(peer.Get(), row.greeting, -1);
            SendWith(peer.Get(), row.event, row.descriptor);
            shutdown(peer.Get(), SHUT_WR);
            char rest[100];
            while (recv(peer.Get(), rest, sizeof(rest), 0) > 0) {  // until the reader has gone
            }
        });
        auto reader = EventReader::Open(path, 60s);
        const auto got = reader ? reader->Next(60s) : reader.GetError();
        EXPECT_EQ(got ? ErrorKind::kUsage : got.GetError().kind, row.error) << &row - table;
    }
}

}  // namespace

}  // namespace BackendTest
