#pragma once
// What virtual files, queues and shared memory have in common.

#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "platform/memory/memory_platform.h"
#include "platform/memory/recorder.h"

namespace GrpOwnerMemory {

struct MemoryPool {
    IAMShmPoolConfig config{};  // without its name
    std::string name;
};

struct MemoryBlock {
    uint64_t pool = 0;
    uint64_t queue = 0;  // whose it is; 0: its allocator's
    std::string bytes;
};

struct Messaging {
    std::mutex mutex;
    Script<MessagingCall> script;
    std::vector<OfferedService> offered;
    std::map<std::string, const IAMFileOperations*> files;
    std::map<std::string, const IAMQueueOperations*> queues;
    std::map<uint64_t, std::deque<uint64_t>> readers;  // of each the blocks that wait
    std::map<uint64_t, MemoryPool> pools;
    std::map<uint64_t, MemoryBlock> blocks;
    uint64_t lastHandle = 0;  // of pools, blocks and readers, so that none passes for another

    static Messaging& State() { return Immortal<Messaging>(); }
};

}  // namespace GrpOwnerMemory
