#pragma once
// Our own frames around the records of the pipe service. Both ends, the service and the process
// manager, read and write them with these definitions; never change a number.
//
// A pipe is a Unix-domain socket of type SOCK_SEQPACKET; one packet is one frame: the header and
// `size` bytes of payload. A packet goes whole or not at all, so no frame is ever cut.
//
// The opener sends kHello first (payload: PipeHello and its name) and the acceptor answers kWelcome
// (payload: int32 result, 0 or negative errno). Then, in any order:
//   opener to acceptor    kRequest, kCall (with a sequence number above 0), kHeartBeat (empty)
//   acceptor to opener    kRequest, kAnswer (sequence number of the call), kProcess (PipeProcess
//   and
//                         the application's name): which process is which application's
// A frame that breaks this ends the connection.

#include <cstdint>
#include <type_traits>

namespace GrpOwnerLinux {

inline constexpr uint32_t kPipeMagic = 0x31504f47;  // "GOP1"
inline constexpr uint32_t kMaxPipePayload = 8192;   // bytes
inline constexpr uint32_t kMaxProcessName = 128;    // bytes
inline constexpr uint32_t kMaxPid = 1U << 22;       // that Linux has

enum class PipeFrameKind : uint32_t {
    kHello = 1,
    kWelcome = 2,
    kRequest = 3,
    kCall = 4,
    kAnswer = 5,
    kHeartBeat = 6,
    kProcess = 7,
};

struct PipeFrameHeader {
    uint32_t magic;
    uint32_t kind;      // PipeFrameKind
    uint64_t sequence;  // of a call and its answer, else 0
    uint32_t size;      // bytes of payload that follow
    uint32_t reserved;  // 0
};
static_assert(sizeof(PipeFrameHeader) == 24 && std::is_trivially_copyable_v<PipeFrameHeader>);

/// Payload of kHello; `nameLength` bytes of the opener's own name follow.
struct PipeHello {
    uint32_t gid;
    uint32_t nameLength;  // 1 to kMaxProcessName
};
static_assert(sizeof(PipeHello) == 8);

/// Payload of kProcess, said for each process that there is when an owner has connected, and then
/// whenever one has begun or ended; `nameLength` bytes of the application's name follow.
struct PipeProcess {
    uint64_t begun;       // nanoseconds of the monotonic clock, not after the process was made
    uint32_t pid;         // 1 to kMaxPid; the process leads a process group of its own
    uint32_t nameLength;  // 0: the process has ended
};
static_assert(sizeof(PipeProcess) == 16 && std::is_trivially_copyable_v<PipeProcess>);

}  // namespace GrpOwnerLinux
