#include "src/agent/query_serialization.h"

#include <algorithm>

#include "src/common/byte_records.h"

namespace ProcMgr::Serialization {

bool SerializeMessage(const std::vector<std::string>& names, Message::RequestMsg& record) {
    record = {};
    record.type = static_cast<uint32_t>(Message::RequestType::QUERY_APP_STATE);
    ByteWriter writer(record.data, sizeof(record.data));
    bool fits = writer.PutNumber(static_cast<uint32_t>(names.size()));
    for (const std::string& name : names) {
        fits = fits && writer.PutText(name);
    }
    record.length = writer.Written();
    return fits;
}

bool DeserializeMessage(const Message::RequestMsg& record,
                        std::map<std::string, uint32_t>& states) {
    ByteReader reader(record.data, std::min<uint64_t>(record.length, sizeof(record.data)));
    uint32_t count = 0;
    if (!reader.GetNumber(count)) {
        return false;
    }
    for (; count > 0; --count) {
        uint32_t length = 0;
        std::string name;
        uint32_t state = 0;
        if (!reader.GetNumber(length) || length == 0 || !reader.GetText(length, name) ||
            !reader.GetNumber(state)) {
            return false;
        }
        states[name] = state;
    }
    return true;
}

}  // namespace ProcMgr::Serialization
