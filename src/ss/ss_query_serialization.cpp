#include "src/ss/ss_query_serialization.h"

#include <algorithm>
#include <cstdint>

#include "src/common/byte_records.h"
#include "src/common/logging.h"

namespace ProcMgr::SS {

bool DeserializeMessage(const SsToOwnerRequestMsg& request, std::vector<std::string>& names) {
    ByteReader reader(request.data, std::min<uint64_t>(request.size, sizeof(request.data)));
    uint32_t count = 0;
    // A name takes more than a byte: a higher count cannot be true and is not worth the memory.
    if (!reader.GetNumber(count) || count > reader.Remaining()) {
        return false;
    }
    names.assign(count, {});
    for (std::string& name : names) {
        uint32_t length = 0;
        if (!reader.GetNumber(length) || !reader.GetText(length, name)) {
            return false;
        }
    }
    return true;
}

bool SerializeMessage(bool result, const std::vector<AppStatus>& states,
                      SsToOwnerResponseMsg& response) {
    ByteWriter writer(response.data, sizeof(response.data));
    const uint8_t told = result ? 1 : 0;
    bool fits =
        writer.Put(&told, sizeof(told)) && writer.PutNumber(static_cast<uint32_t>(states.size()));
    for (const AppStatus& status : states) {
        fits = fits && writer.PutText(status.name) &&
               writer.PutNumber(static_cast<uint32_t>(status.pid)) &&
               writer.PutNumber(status.state);
    }
    response.size = fits ? writer.Written() : 0;
    if (!fits) {
        GRP_ERROR("QueryAppState SerializeMessage failed");
    }
    return fits;
}

}  // namespace ProcMgr::SS
