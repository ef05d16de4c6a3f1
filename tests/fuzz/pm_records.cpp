// An owner's records, as the process manager reads them.

#include "daemons/procmgrd/pm_wire.h"
#include "tests/fuzz/record.h"

using namespace ProcMgrDaemon;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    const auto raw = GrpOwnerFuzz::RecordOf<Record>(bytes, size);
    const auto record = ReadRecord({reinterpret_cast<const char*>(&raw), sizeof(raw)});
    switch (record ? static_cast<RecordType>(record->type) : RecordType::kReports) {
        case RecordType::kStart:
        case RecordType::kRestart:
            (void)DecodeLaunches(record->Payload());
            break;
        case RecordType::kTerminate:
            (void)DecodeTerminations(record->Payload());
            break;
        case RecordType::kBaseState:
            (void)DecodeBaseState(record->Payload());
            break;
        case RecordType::kExecution:
            (void)DecodeExecution(record->Payload());
            break;
        case RecordType::kLoad:
        case RecordType::kReload:
            (void)DecodeConfiguration(record->Payload());
            break;
        case RecordType::kQuery:
            (void)DecodeQuery(record->Payload());
            break;
        default:
            break;
    }
    return 0;
}
