// The system-state manager's verify request, as the owner reads it.

#include "src/ss/ss_to_owner_serialization.h"
#include "tests/fuzz/record.h"

using namespace ProcMgr::SS;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    std::map<std::string, uint32_t> changes;
    (void)UnPackVerifyRequest(GrpOwnerFuzz::RecordOf<SsToOwnerRequestMsg>(bytes, size), changes);
    return 0;
}
