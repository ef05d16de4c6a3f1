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
//   acceptor to opener    kRequest, kAnswer (sequence number of the call)
// A frame that breaks this ends the connection.

#include <cstdint>
#include <type_traits>

namespace GrpOwnerLinux {

inline constexpr uint32_t kPipeMagic = 0x31504f47;  // "GOP1"
inline constexpr uint32_t kMaxPipePayload = 8192;   // bytes
inline constexpr uint32_t kMaxProcessName = 128;    // bytes

enum class PipeFrameKind : uint32_t {
    kHello = 1,
    kWelcome = 2,
    kRequest = 3,
    kCall = 4,
    kAnswer = 5,
    kHeartBeat = 6,
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

}  // namespace GrpOwnerLinux
