// The system-state manager's change request, as the owner reads it.

#include "src/ss/ss_to_owner_serialization.h"
#include "tests/fuzz/record.h"

using namespace ProcMgr::SS;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    std::vector<AppInfo> apps;
    (void)UnPackChangeAppInfoRequestMsg(GrpOwnerFuzz::RecordOf<SsToOwnerRequestMsg>(bytes, size),
                                        apps);
    return 0;
}
