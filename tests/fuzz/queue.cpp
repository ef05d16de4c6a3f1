// What readers of a queue send while they have two events in hand.

#include <cstdlib>

#include "platform/linux/queue_connection.h"
#include "tests/fuzz/scripted_peer.h"

using namespace GrpOwnerLinux;

namespace {

QueueConnection* reader = nullptr;

int Open(IamQfsMgrFile* /*file*/) {
    static uint64_t pool = 0;
    if (pool == 0 && SharedPools::Instance().Register({"pool", 64, 4}, pool) != 0) {
        std::abort();
    }
    for (int i = 0; i < 2; ++i) {
        uint64_t block = 0;  // all are free again, or some reader has kept one for ever
        if (SharedPools::Instance().Allocate(pool, 8, block) != 0 ||
            reader->Enqueue(pool, block) != 0) {
            std::abort();
        }
    }
    return 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    const GrpOwnerFuzz::SocketPair pair;
    pair.Say(GrpOwnerFuzz::PacketsOf(bytes, size));
    QueueConnection connection(pair.theirs, "queue", 1);
    reader = &connection;
    IAMQueueOperations operations{};
    operations.open = Open;
    connection.Serve(operations);
    return 0;
}
