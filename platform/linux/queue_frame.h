#pragma once
// The frames of a queue on Linux. A queue is the socket "<run directory>/<name>.queue"
// (SOCK_SEQPACKET: one packet is one frame), a connection is a reader. Integers are in the host's
// order, since both ends live on one machine.
//
//   service -> reader, once, first:    QueueGreeting, then `length` bytes
//   service -> reader, for each event: QueueEvent
//   reader -> service, for each event: QueueReturn, when it has done with the block
//
// From the greeting on every event arrives, in order, as long as the reader takes them: what finds
// the socket full is lost to this reader, and told to whoever has reported it. A refused connection
// gets a greeting with a negative code and the reason in words, and then the end.
//
// The bytes of events lie in memory whose descriptor (SCM_RIGHTS) comes with the first event that
// lies in it, and with no other. It is sealed against becoming smaller; a reader may map it for
// reading only. A block may be used anew as soon as it is given back.
//
// A reader that sends anything but the return of a block that it has, once, loses the connection.

#include <cstddef>
#include <cstdint>

namespace GrpOwnerLinux {

constexpr uint32_t kQueueMagic = 0x31514547;  // "GEQ1"

/// The longest reason of a refusal.
constexpr size_t kMaxQueueReason = 1024;

/// The largest memory of a reader, in bytes.
constexpr size_t kMaxQueueMemory = 64 * 1024 * 1024;

struct QueueGreeting {
    uint32_t magic = kQueueMagic;
    int32_t code = 0;     // negative: refused; -EBUSY (too many readers), -EACCES, -EAGAIN, or what
                          // the operation that opens has answered
    uint32_t length = 0;  // of the reason
};

struct QueueEvent {
    uint32_t magic = kQueueMagic;
    uint32_t length = 0;    // of the block
    uint64_t offset = 0;    // of the block in the memory
    uint64_t sequence = 0;  // 1, 2, 3…
};

struct QueueReturn {
    uint32_t magic = kQueueMagic;
    uint32_t unused = 0;
    uint64_t sequence = 0;  // of the event
};

static_assert(sizeof(QueueGreeting) == 12);
static_assert(sizeof(QueueEvent) == 24);
static_assert(sizeof(QueueReturn) == 16);

}  // namespace GrpOwnerLinux
