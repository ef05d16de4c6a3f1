// The system-state manager's state query, as the owner reads it.

#include "src/ss/ss_query_serialization.h"
#include "tests/fuzz/record.h"

using namespace ProcMgr::SS;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    std::vector<std::string> names;
    (void)DeserializeMessage(GrpOwnerFuzz::RecordOf<SsToOwnerRequestMsg>(bytes, size), names);
    return 0;
}
