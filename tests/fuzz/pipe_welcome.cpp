// What a process manager answers to the hello of a pipe.

#include <unistd.h>

#include <cstdlib>

#include "platform/linux/pipe_opener.h"
#include "tests/fuzz/scripted_peer.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    static GrpOwnerFuzz::ScriptedPeer peer;
    setenv("GRPOWNER_RUN_DIR", peer.Directory().c_str(), 1);
    EzcomOpenParams params{};
    params.ownName = "owner";
    params.targetName = "peer";
    params.timeoutMs = 1000;
    peer.Expect(GrpOwnerFuzz::PacketsOf(bytes, size));
    const int socket = GrpOwnerLinux::OpenPipeSocket(params);
    if (socket >= 0) {
        close(socket);
    }
    peer.Join();
    return 0;
}
