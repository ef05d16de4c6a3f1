#include "platform/linux/shared_pools.h"

#include <cerrno>
#include <cstring>
#include <new>
#include <numeric>
#include <utility>

#include "platform/linux/queue_frame.h"

namespace GrpOwnerLinux {

namespace {

// Callers in C know codes only.
template <typename Call>
int WithoutThrowing(Call call) {
    try {
        return call();
    } catch (const std::bad_alloc&) {
        return -ENOMEM;
    }
}

}  // namespace

// Never destroyed: readers are served while the process exits.
SharedPools& SharedPools::Instance() {
    static SharedPools& pools = *new SharedPools;
    return pools;
}

int SharedPools::Register(const IAMShmPoolConfig& config, uint64_t& pool) {
    const uint64_t size = uint64_t{config.blockSize} * config.blockCount;
    if (config.name == nullptr || size == 0 || size > kMaxQueueMemory) {
        return -EINVAL;
    }
    Pool made;
    made.memory = SharedMemory::Make(config.name, size);
    if (made.memory == nullptr) {
        return -errno;
    }
    made.blockSize = config.blockSize;
    made.freeSlots.resize(config.blockCount);
    std::iota(made.freeSlots.rbegin(), made.freeSlots.rend(), 0U);
    std::lock_guard<std::mutex> lock(mutex_);
    pool = ++lastHandle_;
    pools_.emplace(pool, std::move(made));
    return 0;
}

int SharedPools::Destroy(uint64_t pool) {
    Pool gone;  // what it holds is let go of without the lock
    std::lock_guard<std::mutex> lock(mutex_);
    const auto found = pools_.find(pool);
    if (found == pools_.end()) {
        return -EINVAL;
    }
    gone = std::move(found->second);
    pools_.erase(found);
    for (auto entry = blocks_.begin(); entry != blocks_.end();) {
        entry = entry->second.pool == pool ? blocks_.erase(entry) : std::next(entry);
    }
    return 0;
}

int SharedPools::Allocate(uint64_t pool, size_t size, uint64_t& block) {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto found = pools_.find(pool);
    if (found == pools_.end() || size == 0) {
        return -EINVAL;
    }
    Pool& from = found->second;
    if (size > from.blockSize) {
        return -EMSGSIZE;
    }
    if (from.freeSlots.empty()) {
        return -ENOMEM;
    }
    const Block made{pool, from.freeSlots.back(), static_cast<uint32_t>(size), false};
    block = ++lastHandle_;
    blocks_.emplace(block, made);
    from.freeSlots.pop_back();
    return 0;
}

int SharedPools::Write(uint64_t block, const void* source, size_t length, size_t offset) {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto entry = blocks_.find(block);
    if (entry == blocks_.end()) {
        return -EINVAL;
    }
    if (entry->second.isQueued) {
        return -EPERM;
    }
    if (offset > entry->second.length || length > entry->second.length - offset) {
        return -ERANGE;
    }
    if (length > 0) {
        std::memcpy(BytesLocked(entry->second) + offset, source, length);
    }
    return 0;
}

int SharedPools::Free(uint64_t pool, uint64_t block) {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto entry = blocks_.find(block);
    if (entry == blocks_.end() || entry->second.pool != pool) {
        return -EINVAL;
    }
    if (entry->second.isQueued) {
        return -EPERM;
    }
    FreeLocked(entry);
    return 0;
}

int SharedPools::HandOver(uint64_t pool, uint64_t block, PlacedBlock& placed) {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto entry = blocks_.find(block);
    if (entry == blocks_.end() || entry->second.pool != pool) {
        return -EINVAL;
    }
    Block& given = entry->second;
    if (given.isQueued) {
        return -EPERM;
    }
    given.isQueued = true;
    placed.memory = pools_.at(pool).memory;
    placed.offset = static_cast<uint64_t>(BytesLocked(given) - placed.memory->Bytes());
    placed.length = given.length;
    return 0;
}

void SharedPools::TakeBack(uint64_t block) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (const auto entry = blocks_.find(block); entry != blocks_.end()) {
        entry->second.isQueued = false;
    }
}

void SharedPools::FreeHandedOver(uint64_t block) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (const auto entry = blocks_.find(block); entry != blocks_.end()) {
        FreeLocked(entry);
    }
}

// A pool takes its blocks with it, so each block has one.
char* SharedPools::BytesLocked(const Block& block) {
    const Pool& pool = pools_.at(block.pool);
    return pool.memory->Bytes() + size_t{block.slot} * pool.blockSize;
}

void SharedPools::FreeLocked(BlockEntry entry) {
    pools_.at(entry->second.pool).freeSlots.push_back(entry->second.slot);
    blocks_.erase(entry);
}

}  // namespace GrpOwnerLinux

using GrpOwnerLinux::SharedPools;
using GrpOwnerLinux::WithoutThrowing;

int IAMShmRegisterPoolWithConfig(const IAMShmPoolConfig* config, IAMShmPool* pool) {
    if (config == nullptr || pool == nullptr) {
        return -EINVAL;
    }
    return WithoutThrowing([&] { return SharedPools::Instance().Register(*config, pool->handle); });
}

int IAMShmDestroyPool(IAMShmPool* pool) {
    return pool == nullptr ? -EINVAL : SharedPools::Instance().Destroy(pool->handle);
}

int IAMShmHandleMalloc(IAMShmPool* pool, size_t size, IAMShmBlock* block) {
    if (pool == nullptr || block == nullptr) {
        return -EINVAL;
    }
    return WithoutThrowing(
        [&] { return SharedPools::Instance().Allocate(pool->handle, size, block->handle); });
}

int IAMShmWrite(const IAMShmBlock* block, const void* source, size_t length, size_t offset) {
    if (block == nullptr || source == nullptr) {
        return -EINVAL;
    }
    return SharedPools::Instance().Write(block->handle, source, length, offset);
}

int IAMShmFree(IAMShmPool* pool, IAMShmBlock* block) {
    if (pool == nullptr || block == nullptr) {
        return -EINVAL;
    }
    return SharedPools::Instance().Free(pool->handle, block->handle);
}
