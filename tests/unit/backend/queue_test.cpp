// Queues and their shared memory: limits of pools, readers that read, do not read or die.

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <future>
#include <map>
#include <mutex>
#include <thread>

#include "client/connection.h"
#include "client/event_reader.h"
#include "platform/linux/host.h"
#include "platform/linux/queue_frame.h"
#include "platform/messaging_service.h"
#include "tests/unit/backend/pipe_server.h"

namespace BackendTest {

namespace {

using namespace GrpOwnerClient;
using namespace GrpOwnerLinux;
using namespace std::literals;

constexpr IAMShmPoolConfig kConfig{"reader", 160, 1000};

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

// One that keeps what it gets runs out of blocks of its own, and cannot change the memory.
TEST_F(QueueTest, IsNotHarmedByAHoarder) {
    EventReader good = Open();
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

}  // namespace

}  // namespace BackendTest
