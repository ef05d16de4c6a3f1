// What clients send to a virtual file.

#include <cstring>

#include "platform/linux/virtual_file_connection.h"
#include "tests/fuzz/scripted_peer.h"

using namespace GrpOwnerLinux;

namespace {

// Reads and writes all that it is told to be its own.
int Ioctl(IAMMgrFile* /*file*/, uint32_t command, IAMIoctlArg* argument) {
    if (argument->buffer != nullptr) {
        std::memset(argument->buffer, static_cast<int>(command), argument->length);
    }
    return static_cast<int>(command);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    static IAMFileOperations operations{};
    operations.ioctl = Ioctl;
    OfferedFile file{"file", &operations, 1, {}, 0, "owner=fuzz"};
    const GrpOwnerFuzz::SocketPair pair;
    pair.Say(GrpOwnerFuzz::PacketsOf(bytes, size));
    VirtualFileConnection(pair.theirs, file).Serve();
    return 0;
}
