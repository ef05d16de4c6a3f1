// What the server of a queue sends to its reader: a greeting, and events with their memory.

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>

#include "client/event_reader.h"
#include "tests/fuzz/scripted_peer.h"

using namespace GrpOwnerClient;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    static GrpOwnerFuzz::ScriptedPeer peer;
    static const int memory = memfd_create("events", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    if (ftruncate(memory, 4096) != 0 || fcntl(memory, F_ADD_SEALS, F_SEAL_SHRINK) != 0) {
        std::abort();
    }
    peer.Expect(GrpOwnerFuzz::PacketsOf(bytes, size), memory);
    {
        auto reader = EventReader::Open(peer.Path(), std::chrono::seconds(1));
        while (reader && reader->Next(std::chrono::seconds(1))) {
        }
    }
    peer.Join();
    return 0;
}
