// An owner's answer to each command, as the client reads it.

#include "client/ss_wire.h"
#include "tests/fuzz/record.h"

using namespace GrpOwnerClient;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    SsWire::Record record(bytes, bytes + size);
    record.resize(SsWire::kRecordSize);
    const auto claimed = GrpOwnerFuzz::RecordOf<uint32_t>(bytes, size);
    const auto payload = SsWire::TakePayload({static_cast<int>(claimed + 8), std::move(record)});
    if (payload) {
        (void)SsWire::UnpackChange(*payload);
        (void)SsWire::UnpackSetState(*payload);
        (void)SsWire::UnpackFlag(*payload);
        (void)SsWire::UnpackList(*payload);
        (void)SsWire::UnpackQuery(*payload);
    }
    return 0;
}
