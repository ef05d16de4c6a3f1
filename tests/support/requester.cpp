#include "tests/support/requester.h"

#include <cstring>

#include "tests/support/group.h"

namespace GrpOwnerTest {

namespace {

constexpr size_t kRecordSize = 4000;
constexpr size_t kTimeoutOffset = 8;
constexpr size_t kDataOffset = 12;

std::string Bytes(uint32_t number) {
    return {reinterpret_cast<const char*>(&number), sizeof(number)};
}

uint32_t TakeNumber(const std::string& bytes, size_t& place) {
    uint32_t number = 0;
    bytes.copy(reinterpret_cast<char*>(&number), sizeof(number), place);
    place += sizeof(number);
    return number;
}

}  // namespace

Requester::Requester() : file_(kRequestFile) {}

std::string Requester::Ask(unsigned command, const std::string& payload, int32_t timeout) {
    char record[kRecordSize] = {};
    uint64_t size = payload.size();
    std::memcpy(record, &size, sizeof(size));
    std::memcpy(record + kTimeoutOffset, &timeout, sizeof(timeout));
    payload.copy(record + kDataOffset, kRecordSize - kDataOffset);
    const int result = file_.Ioctl(command, record, kRecordSize);
    std::memcpy(&size, record, sizeof(size));
    if (result < 0 || static_cast<uint64_t>(result) != size + sizeof(size)) {
        return "error " + std::to_string(result);
    }
    return {record + kDataOffset, static_cast<size_t>(size)};
}

std::string Requester::Change(const std::vector<std::string>& term,
                              const std::vector<std::string>& start,
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

std::string Requester::Query(const std::vector<std::string>& names) {
    std::string payload = Bytes(static_cast<uint32_t>(names.size()));
    for (const std::string& name : names) {
        payload += Bytes(static_cast<uint32_t>(name.size())) + name;
    }
    const std::string answer = Ask(kQueryStates, payload, 1000);
    std::string text = answer.empty() ? "nothing" : std::to_string(answer[0]);
    size_t place = 1;
    for (uint32_t left = TakeNumber(answer, place); left > 0 && place < answer.size(); --left) {
        const uint32_t length = TakeNumber(answer, place);
        text += " " + answer.substr(place, length);
        place += length;
        for (int i = 0; i < 2; ++i) {
            text += " " + std::to_string(static_cast<int32_t>(TakeNumber(answer, place)));
        }
    }
    return text;
}

}  // namespace GrpOwnerTest
