// The system-state manager's new system state, as the owner reads it.

#include "src/ss/ss_to_owner_serialization.h"
#include "tests/fuzz/record.h"

using namespace ProcMgr::SS;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    int state = 0;
    (void)UnPackSetSystemStateRequest(GrpOwnerFuzz::RecordOf<SsToOwnerRequestMsg>(bytes, size),
                                      state);
    return 0;
}
