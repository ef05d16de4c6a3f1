#include "tests/support/requests.h"

#include <cstring>

#include "platform/memory/memory_platform.h"
#include "tests/support/group.h"

namespace GrpOwnerTest {

std::string Ask(unsigned command, const std::string& payload, int32_t timeout) {
    constexpr size_t kTimeoutOffset = 8;
    constexpr size_t kDataOffset = 12;
    char record[4000] = {};
    uint64_t size = payload.size();
    std::memcpy(record, &size, sizeof(size));
    std::memcpy(record + kTimeoutOffset, &timeout, sizeof(timeout));
    payload.copy(record + kDataOffset, sizeof(record) - kDataOffset);
    const int result =
        GrpOwnerMemory::VirtualFileClient(kRequestFile).Ioctl(command, record, sizeof(record));
    std::memcpy(&size, record, sizeof(size));
    if (result < 0 || static_cast<uint64_t>(result) != size + sizeof(size)) {
        return "error " + std::to_string(result);
    }
    return {record + kDataOffset, static_cast<size_t>(size)};
}

std::string AskChange(const std::vector<std::string>& term, const std::vector<std::string>& start,
                      const std::vector<std::string>& restart, int32_t timeout) {
    std::string payload = std::to_string(term.size() + start.size() + restart.size()) + "#";
    const auto add = [&payload](const std::vector<std::string>& names, const char* option) {
        for (const std::string& name : names) {
            payload += name + option;
        }
    };
    add(term, "#1#0#0#");
    add(start, "#0#0#0#");
    add(restart, "#2#0#0#");
    return Ask(kChangeApps, payload, timeout);
}

std::string AskStates(const std::vector<std::string>& names) {
    const auto bytes = [](size_t number) {
        const auto narrow = static_cast<uint32_t>(number);
        return std::string(reinterpret_cast<const char*>(&narrow), sizeof(narrow));
    };
    std::string payload = bytes(names.size());
    for (const std::string& name : names) {
        payload += bytes(name.size()) + name;
    }
    return Ask(kQueryStates, payload);
}

}  // namespace GrpOwnerTest
