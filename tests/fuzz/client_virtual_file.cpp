// What the server of a virtual file sends to its client: a greeting and answers.

#include "client/virtual_file.h"
#include "tests/fuzz/scripted_peer.h"

using namespace GrpOwnerClient;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    static GrpOwnerFuzz::ScriptedPeer peer;
    peer.Expect(GrpOwnerFuzz::PacketsOf(bytes, size));
    {
        auto file = VirtualFile::Open(peer.Path(), std::chrono::seconds(1));
        bool isGoingOn = static_cast<bool>(file);
        while (isGoingOn) {
            const auto answer = file->Ioctl(0, {1, 2, 3, 4}, std::chrono::seconds(1));
            isGoingOn = answer || answer.GetError().kind == ErrorKind::kRefused;
        }
    }
    peer.Join();
    return 0;
}
