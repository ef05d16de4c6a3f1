// Pools, blocks and what lies on queues. Every misuse that memory would take without a word fails
// here: a block that is not the caller's any more, a pool that is gone.

#include <algorithm>
#include <cerrno>
#include <optional>

#include "platform/memory/messaging_state.h"

namespace GrpOwnerMemory {

namespace {

using Lock = std::lock_guard<std::mutex>;

/// A block that its allocator still has; null otherwise.
MemoryBlock* FindHeld(Messaging& messaging, const IAMShmBlock& block) {
    const auto found = messaging.blocks.find(block.handle);
    const bool isHeld = found != messaging.blocks.end() && found->second.queue == 0;
    return isHeld ? &found->second : nullptr;
}

size_t BlocksOf(const Messaging& messaging, uint64_t pool, bool isEnqueued) {
    return static_cast<size_t>(
        std::count_if(messaging.blocks.begin(), messaging.blocks.end(), [&](const auto& entry) {
            return entry.second.pool == pool && (entry.second.queue != 0) == isEnqueued;
        }));
}

int Allocate(Messaging& messaging, uint64_t poolHandle, size_t size, IAMShmBlock& block) {
    const auto pool = messaging.pools.find(poolHandle);
    if (pool == messaging.pools.end()) {
        return -EBADF;
    }
    if (size > pool->second.config.blockSize) {
        return -EMSGSIZE;
    }
    const size_t inUse =
        BlocksOf(messaging, poolHandle, false) + BlocksOf(messaging, poolHandle, true);
    if (inUse >= pool->second.config.blockCount) {
        return -EAGAIN;
    }
    block.handle = ++messaging.lastHandle;
    messaging.blocks[block.handle] = {poolHandle, 0, std::string(size, '\0')};
    return 0;
}

}  // namespace

std::vector<PoolRecord> Pools() {
    Messaging& messaging = Messaging::State();
    const Lock lock(messaging.mutex);
    std::vector<PoolRecord> records;
    for (const auto& [handle, pool] : messaging.pools) {
        records.push_back({pool.name, pool.config.blockSize, pool.config.blockCount,
                           BlocksOf(messaging, handle, false), BlocksOf(messaging, handle, true)});
    }
    return records;
}

}  // namespace GrpOwnerMemory

using namespace GrpOwnerMemory;

int IAMShmRegisterPoolWithConfig(const IAMShmPoolConfig* config, IAMShmPool* pool) {
    Messaging& messaging = Messaging::State();
    const Lock lock(messaging.mutex);
    if (const auto scripted = messaging.script.Next(MessagingCall::kRegisterPool)) {
        return *scripted;
    }
    pool->handle = ++messaging.lastHandle;
    messaging.pools[pool->handle] = {{nullptr, config->blockSize, config->blockCount},
                                     config->name};
    return 0;
}

int IAMShmDestroyPool(IAMShmPool* pool) {
    Messaging& messaging = Messaging::State();
    const Lock lock(messaging.mutex);
    if (const auto scripted = messaging.script.Next(MessagingCall::kDestroyPool)) {
        return *scripted;
    }
    if (messaging.pools.erase(pool->handle) == 0) {
        return -EBADF;
    }
    for (auto block = messaging.blocks.begin(); block != messaging.blocks.end();) {
        block = block->second.pool == pool->handle ? messaging.blocks.erase(block) : ++block;
    }
    return 0;
}

int IAMShmHandleMalloc(IAMShmPool* pool, size_t size, IAMShmBlock* block) {
    Messaging& messaging = Messaging::State();
    const Lock lock(messaging.mutex);
    if (const auto scripted = messaging.script.Next(MessagingCall::kMalloc)) {
        return *scripted;
    }
    return Allocate(messaging, pool->handle, size, *block);
}

int IAMShmWrite(const IAMShmBlock* block, const void* source, size_t length, size_t offset) {
    Messaging& messaging = Messaging::State();
    const Lock lock(messaging.mutex);
    if (const auto scripted = messaging.script.Next(MessagingCall::kWrite)) {
        return *scripted;
    }
    MemoryBlock* const held = FindHeld(messaging, *block);
    if (held == nullptr) {
        return -EBADF;
    }
    if (offset > held->bytes.size() || length > held->bytes.size() - offset) {
        return -EINVAL;
    }
    held->bytes.replace(offset, length, static_cast<const char*>(source), length);
    return 0;
}

int IAMShmFree(IAMShmPool* pool, IAMShmBlock* block) {
    Messaging& messaging = Messaging::State();
    const Lock lock(messaging.mutex);
    if (const auto scripted = messaging.script.Next(MessagingCall::kFree)) {
        return *scripted;
    }
    const MemoryBlock* const held = FindHeld(messaging, *block);
    if (held == nullptr || held->pool != pool->handle) {
        return -EBADF;
    }
    messaging.blocks.erase(block->handle);
    return 0;
}

int IAMDataEnqueue(uint64_t queue, IAMShmPool* pool, const IAMShmBlock* block) {
    {
        Messaging& messaging = Messaging::State();
        const Lock lock(messaging.mutex);
        if (const auto scripted = messaging.script.Next(MessagingCall::kEnqueue)) {
            return *scripted;
        }
        const auto reader = messaging.readers.find(queue);
        MemoryBlock* const held = FindHeld(messaging, *block);
        if (reader == messaging.readers.end() || held == nullptr || held->pool != pool->handle) {
            return -EBADF;
        }
        held->queue = queue;
        reader->second.push_back(block->handle);
    }
    TellWaiters();
    return 0;
}
