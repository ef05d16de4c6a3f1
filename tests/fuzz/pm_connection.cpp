// What owners send through their pipes, as the process manager's end of one takes it.

#include "daemons/procmgrd/connection.h"
#include "daemons/procmgrd/log.h"
#include "tests/fuzz/scripted_peer.h"

using namespace ProcMgrDaemon;

namespace {

class Handler : public ConnectionHandler {
public:
    explicit Handler(EventLoop& loop) : loop_(loop) {}

    int32_t OnHello(Connection& /*connection*/) override { return 0; }
    void OnWelcomed(Connection& connection) override { connection.TellProcess(1, {}, "probe"); }
    void OnRecord(Connection& connection, const Record& record) override {
        connection.QueueRecord(record);
    }
    int32_t OnCall(Connection& /*connection*/, const Record& record) override {
        return static_cast<int32_t>(record.type);
    }
    void OnClosed(Connection& /*connection*/) override { loop_.Stop(); }

private:
    EventLoop& loop_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    SetLogThreshold(LogLevel::kError);
    const GrpOwnerFuzz::SocketPair pair;
    pair.Say(GrpOwnerFuzz::PacketsOf(bytes, size));
    EventLoop loop;
    Handler handler(loop);
    Connection connection(loop, handler, Daemons::UniqueFd(pair.theirs), {});
    loop.SetRoundEnd([&connection] { connection.Flush(); });
    loop.Run();
    return 0;
}
