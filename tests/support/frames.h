#pragma once
// Raw bytes of the pipe between owner and process manager, for those who say what no peer says.

#include <string>
#include <string_view>

#include "daemons/procmgrd/pm_wire.h"
#include "platform/linux/pipe_frame.h"

namespace GrpOwnerTest {

using GrpOwnerLinux::PipeFrameKind;

template <typename Head>
std::string Bytes(const Head& head, std::string_view rest = {}) {
    return std::string(reinterpret_cast<const char*>(&head), sizeof(head)).append(rest);
}

inline std::string PipeFrame(PipeFrameKind kind, uint64_t sequence, std::string_view payload) {
    return Bytes(
        GrpOwnerLinux::PipeFrameHeader{GrpOwnerLinux::kPipeMagic, static_cast<uint32_t>(kind),
                                       sequence, static_cast<uint32_t>(payload.size()), 0},
        payload);
}

/// The payload of an owner's first frame.
inline std::string HelloBytes(const std::string& name) {
    return Bytes(GrpOwnerLinux::PipeHello{0, static_cast<uint32_t>(name.size())}, name);
}

/// A record of this type around a payload.
template <typename Type>
std::string RecordBytes(Type type, std::string_view payload) {
    ProcMgrDaemon::Record record{static_cast<uint32_t>(type), 0, payload.size(), {}, 0};
    payload.copy(record.data, sizeof(record.data));
    return Bytes(record);
}

}  // namespace GrpOwnerTest
