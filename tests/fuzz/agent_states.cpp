// The process manager's answer to a query, as the owner reads it.

#include "src/agent/query_serialization.h"
#include "tests/fuzz/record.h"

using namespace ProcMgr;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    std::map<std::string, uint32_t> states;
    (void)Serialization::DeserializeMessage(
        GrpOwnerFuzz::RecordOf<Message::RequestMsg>(bytes, size), states);
    return 0;
}
