#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/linux/shared_memory.h"
#include "platform/messaging_service.h"

namespace GrpOwnerLinux {

/// Where a block lies that was handed over to a queue.
struct PlacedBlock {
    std::shared_ptr<const SharedMemory> memory;
    uint64_t offset = 0;
    uint32_t length = 0;
};

/// The pools of shared memory of this process, and their blocks. Handles are never used twice, so
/// that an old one meets nothing. A block belongs to whoever has allocated it until it is handed
/// over to a queue. Functions answer 0 or negative errno: -EINVAL for a handle that is none, or is
/// not of that pool, -EPERM for a block that belongs to a queue.
///
/// Any thread. The mutex guards everything, the bytes of blocks too; nothing else is called or
/// locked under it.
class SharedPools {
public:
    static SharedPools& Instance();

    int Register(const IAMShmPoolConfig& config, uint64_t& pool);
    /// Blocks that are still in use go with it.
    int Destroy(uint64_t pool);

    /// -EMSGSIZE: larger than the pool's blocks, -ENOMEM: all of them are in use.
    int Allocate(uint64_t pool, size_t size, uint64_t& block);
    /// -ERANGE: beyond the block.
    int Write(uint64_t block, const void* source, size_t length, size_t offset);
    int Free(uint64_t pool, uint64_t block);

    int HandOver(uint64_t pool, uint64_t block, PlacedBlock& placed);
    /// The queue has not taken it after all.
    void TakeBack(uint64_t block);
    /// The queue has done with it. Nothing happens when its pool is gone.
    void FreeHandedOver(uint64_t block);

private:
    struct Pool {
        std::shared_ptr<SharedMemory> memory;
        uint32_t blockSize = 0;
        std::vector<uint32_t> freeSlots;  // one upon the other, the next at the end
    };
    struct Block {
        uint64_t pool = 0;
        uint32_t slot = 0;
        uint32_t length = 0;
        bool isQueued = false;
    };
    using BlockEntry = std::map<uint64_t, Block>::iterator;

    char* BytesLocked(const Block& block);
    void FreeLocked(BlockEntry entry);

    std::mutex mutex_;
    uint64_t lastHandle_ = 0;  // of pools and blocks: one kind is never taken for the other
    std::map<uint64_t, Pool> pools_;
    std::map<uint64_t, Block> blocks_;
};

}  // namespace GrpOwnerLinux
