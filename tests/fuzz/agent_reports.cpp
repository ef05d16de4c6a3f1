// The process manager's reports, as the owner reads them.

#include "src/agent/procmgr_agent_serialization.h"
#include "tests/fuzz/record.h"

using namespace ProcMgr;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    const auto record = GrpOwnerFuzz::RecordOf<Message::RequestMsg>(bytes, size);
    std::vector<Message::AppStateInfo> apps;
    (void)Serialization::ProcMgrUnpackedAppStateRequest(&record, apps);
    return 0;
}
