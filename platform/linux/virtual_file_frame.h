#pragma once
// The frames of a virtual file on Linux. A virtual file is the socket "<run directory>/<name>.vfs"
// (SOCK_SEQPACKET: one packet is one frame), a connection is an open file. Integers are in the
// host's order, since both ends live on one machine.
//
//   server -> client, once, on connecting:  VirtualFileGreeting, then `length` bytes of facts
//   client -> server:                       VirtualFileRequest, then `length` bytes of its buffer
//   server -> client, one for each request: VirtualFileAnswer, then `length` bytes
//
// Facts are NUL-terminated texts "key=value"; a reader skips keys that it does not know:
//   owner=<name of the host process>      pid=<its pid>
//   configuration=<absolute path>         define=<NAME>=<VALUE>   (once for each pair of match
//   data)
//
// A connection that is not served gets a greeting without rights and facts, then a refusal with the
// sequence 0 that says why, and then the end. A packet that is no request is refused with the
// sequence 0 too; the connection goes on. An empty packet cannot be told from the end.
//
// The requests of one connection are carried out one after the other, those of different ones side
// by side. A connection may be ended by its client at any time.

#include <cstddef>
#include <cstdint>

namespace GrpOwnerLinux {

constexpr uint32_t kVirtualFileMagic = 0x31465647;  // "GVF1"

/// The longest buffer of a command; the longest reason or facts.
constexpr size_t kMaxVirtualFileBuffer = 64 * 1024;

/// What the peer may do, by its credentials.
enum class VirtualFileRights : uint32_t { kNone = 0, kQuery = 1, kChange = 2 };

struct VirtualFileGreeting {
    uint32_t magic = kVirtualFileMagic;
    VirtualFileRights rights = VirtualFileRights::kNone;
    int32_t timeout = 0;  // of the service, milliseconds
    uint32_t length = 0;  // of the facts
};

struct VirtualFileRequest {
    uint32_t magic = kVirtualFileMagic;
    uint32_t command = 0;
    uint32_t sequence = 0;  // comes back with the answer
    uint32_t length = 0;    // of the buffer; 0: no buffer at all
};

enum class VirtualFileOutcome : uint32_t {
    kDone = 0,     // `code` is the operation's; the bytes are the buffer as it left it
    kRefused = 1,  // the service did not call the operation; the bytes are the reason in words
};

struct VirtualFileAnswer {
    uint32_t magic = kVirtualFileMagic;
    uint32_t sequence = 0;
    VirtualFileOutcome outcome = VirtualFileOutcome::kDone;
    // Of a refusal: -EACCES, -EMSGSIZE, -EBADMSG, -ENOTTY (no operation for it); of a connection
    // -EBUSY (too many), -EAGAIN, or what the operation that opens has answered.
    int32_t code = 0;
    uint32_t length = 0;
};

static_assert(sizeof(VirtualFileGreeting) == 16);
static_assert(sizeof(VirtualFileRequest) == 16);
static_assert(sizeof(VirtualFileAnswer) == 20);

}  // namespace GrpOwnerLinux
