// What a process manager sends through a pipe, as the platform's end takes it while a call waits.

#include "platform/linux/pipe_connection.h"

#include <sys/socket.h>

#include <future>

#include "tests/fuzz/scripted_peer.h"

using namespace GrpOwnerLinux;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    const GrpOwnerFuzz::SocketPair pair;
    std::promise<void> ended;
    const auto connection = std::make_shared<PipeConnection>(
        1, pair.theirs, "peer", [](int, const EzcomRequest*) {}, 1000,
        PipeHandlers{[&ended](int, const std::string&) { ended.set_value(); }, [] {}});
    connection->Start();
    std::thread caller([&connection] {
        std::vector<char> answer;
        (void)connection->Call({"?", 1}, 60'000, answer);  // 0 or -EPIPE
    });
    char call[64];
    (void)recv(pair.ours, call, sizeof(call), 0);
    pair.Say(GrpOwnerFuzz::PacketsOf(bytes, size));
    caller.join();
    ended.get_future().wait();
    while (connection->Close() != 0) {
        std::this_thread::yield();  // the handler of the end is just about to return
    }
    return 0;
}
