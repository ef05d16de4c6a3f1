#pragma once
// The platform's messaging service: virtual files that other processes open and command, and queues
// that carry blocks of shared memory to their readers.
//
// The service calls the operations of a table on threads of its own, several connections side by
// side; the operations of one connection come one after the other. Functions answer 0 or more on
// success and a negative code on failure unless stated otherwise.

#include <cstddef>
#include <cstdint>

#include "platform/export.h"

extern "C" {

// --- Virtual files -------------------------------------------------------------------------------

/// One connection of a client to a virtual file.
struct IAMMgrFile {
    const char* name;  // of the virtual file
};

/// What a client hands over with a command: its buffer, of the length that the client chose.
struct IAMIoctlArg {
    size_t length;  // bytes
    void* buffer;
};

/// The operations of a virtual file, in this order. An empty slot is not offered.
struct IAMFileOperations {
    int64_t (*read)(IAMMgrFile* file, char* buffer, size_t length, int64_t offset);
    int64_t (*write)(IAMMgrFile* file, const char* buffer, size_t length, int64_t offset);
    int (*ioctl)(IAMMgrFile* file, unsigned command, IAMIoctlArg* argument);
    int (*open)(IAMMgrFile* file);
    int (*close)(IAMMgrFile* file);
    int (*poll)(IAMMgrFile* file);
};

struct IAMServiceDescriptor {
    const char* name;                     // of the virtual file; copied
    const IAMFileOperations* operations;  // must outlive the service
    int32_t timeout;                      // milliseconds that one command may take
};

/// Offers a virtual file.
GRPOWNER_PLATFORM_EXPORT int IAMRegisterService(const IAMServiceDescriptor* descriptor);

// --- Shared memory -------------------------------------------------------------------------------

/// A pool of blocks in shared memory. Kept by value by its owner, zero before registration.
struct IAMShmPool {
    uint64_t handle;
};

struct IAMShmBlock {
    uint64_t handle;
};

struct IAMShmPoolConfig {
    const char* name;
    uint32_t blockSize;   // the largest block, bytes
    uint32_t blockCount;  // blocks that may be in use at a time
};

GRPOWNER_PLATFORM_EXPORT int IAMShmRegisterPoolWithConfig(const IAMShmPoolConfig* config,
                                                          IAMShmPool* pool);

/// @return 0, anything else on failure
GRPOWNER_PLATFORM_EXPORT int IAMShmDestroyPool(IAMShmPool* pool);

/// @return 0, anything else when no block of that size is to be had
GRPOWNER_PLATFORM_EXPORT int IAMShmHandleMalloc(IAMShmPool* pool, size_t size, IAMShmBlock* block);

/// @return 0, anything else on failure (nothing is written beyond a block)
GRPOWNER_PLATFORM_EXPORT int IAMShmWrite(const IAMShmBlock* block, const void* source,
                                         size_t length, size_t offset);

/// @return 0, anything else on failure
GRPOWNER_PLATFORM_EXPORT int IAMShmFree(IAMShmPool* pool, IAMShmBlock* block);

// --- Queues --------------------------------------------------------------------------------------

/// One reader of a queue.
struct IamQfsMgrFile {
    const char* name;  // of the reader's file
    uint64_t queue;    // the reader's queue handle
};

/// The operations of a queue service, in this order.
struct IAMQueueOperations {
    void* read;
    void* write;
    int (*open)(IamQfsMgrFile* file);
    int (*close)(IamQfsMgrFile* file);
    void* poll;
};

struct IAMQueueDescriptor {
    const char* name;                      // of the queue; copied
    const IAMQueueOperations* operations;  // must outlive the service
    int32_t timeout;                       // milliseconds
    uint32_t flags;                        // the group owner passes 0
};

GRPOWNER_PLATFORM_EXPORT int IAMRegisterQueueService(const IAMQueueDescriptor* descriptor);

/// Puts a block on a reader's queue. On success the block belongs to the queue.
GRPOWNER_PLATFORM_EXPORT int IAMDataEnqueue(uint64_t queue, IAMShmPool* pool,
                                            const IAMShmBlock* block);
}
