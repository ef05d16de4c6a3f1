// Requests.

#include <cstring>
#include <string_view>

#include "client/ss_wire.h"

namespace GrpOwnerClient::SsWire {

namespace {

constexpr char kSeparator = '#';

class Packer {
public:
    void Number(int64_t number) { text_ += std::to_string(number) + kSeparator; }

    // Nothing that the owner, or the process manager behind it, would read as something else.
    bool Text(const std::string& text) {
        text_ += text + kSeparator;
        return text.find_first_of(std::string_view("#\0\r\n", 4)) == std::string::npos;
    }

    std::string Take() { return std::move(text_); }

private:
    std::string text_;
};

Error Usage(std::string message) {
    return {ErrorKind::kUsage, std::move(message), 0};
}

// For messages: such a name may be long and hold anything.
std::string Quoted(const std::string& text) {
    constexpr size_t kShown = 64;
    std::string shown = "`";
    for (const char character : text.substr(0, kShown)) {
        shown += static_cast<unsigned char>(character) < ' ' ? '?' : character;
    }
    return shown + (text.size() > kShown ? "…`" : "`");
}

std::string FaultOfName(const std::string& name) {
    if (name.empty()) {
        return "an application's name is empty";
    }
    if (name.size() > kLongestName) {
        return "the name " + Quoted(name) + " has " + std::to_string(name.size()) +
               " bytes, at most " + std::to_string(kLongestName) + " fit an answer";
    }
    if (name.find_first_of(std::string_view("#\0\r\n", 4)) != std::string::npos) {
        return "the name " + Quoted(name) + " holds a '#', NUL or line break";
    }
    return {};
}

Error TooMany(size_t count, const std::string& what) {
    return {ErrorKind::kTooLarge,
            std::to_string(count) + " " + what + ", at most " + std::to_string(kMaxEntries) +
                " fit one request",
            0};
}

// Ok: true.
Result<bool> PackTexts(Packer& packer, const std::vector<std::string>& texts,
                       const std::string& what) {
    if (texts.size() > kMaxEntries) {
        return TooMany(texts.size(), what);
    }
    packer.Number(static_cast<int64_t>(texts.size()));
    for (const std::string& text : texts) {
        if (!packer.Text(text)) {
            return Usage(Quoted(text) + " among the " + what + " holds a '#', NUL or line break");
        }
    }
    return true;
}

Result<bool> PackOne(Packer& packer, const Change& change) {
    const std::string fault = FaultOfName(change.name);
    if (!fault.empty()) {
        return Usage(fault);
    }
    (void)packer.Text(change.name);  // checked above
    packer.Number(static_cast<uint32_t>(change.option));
    Result<bool> done = PackTexts(packer, change.arguments, "arguments of " + change.name);
    packer.Number(static_cast<int64_t>(change.dynamicParameters.size()));
    for (const auto& [index, values] : change.dynamicParameters) {
        if (index < 0 || index > kMaxDynamicIndex) {
            return Usage("the dynamic parameters of " + change.name + " have the index " +
                         std::to_string(index) + ", which is not 0 to 2");
        }
        packer.Number(index);
        if (done) {
            done = PackTexts(packer, values, "dynamic parameters of " + change.name);
        }
    }
    return done;
}

void AppendNumber(std::string& payload, uint32_t number) {
    char bytes[sizeof(number)];
    std::memcpy(bytes, &number, sizeof(number));
    payload.append(bytes, sizeof(bytes));
}

}  // namespace

Result<Record> MakeRecord(const std::string& payload, int32_t timeoutMs, size_t entries) {
    // The owner's limit on applications cannot be passed without this one: each takes four bytes.
    if (payload.size() > kDataSize) {
        return Error{ErrorKind::kTooLarge,
                     "the request needs " + std::to_string(payload.size()) + " bytes for " +
                         std::to_string(entries) + " applications, a record holds " +
                         std::to_string(kDataSize) + " bytes and " + std::to_string(kMaxEntries) +
                         " applications",
                     0};
    }
    Record record(kRecordSize, 0);
    const uint64_t size = payload.size();
    std::memcpy(record.data(), &size, sizeof(size));
    std::memcpy(record.data() + kTimeoutOffset, &timeoutMs, sizeof(timeoutMs));
    std::memcpy(record.data() + kDataOffset, payload.data(), payload.size());
    return record;
}

Result<std::string> PackChange(const std::vector<Change>& changes) {
    Packer packer;
    packer.Number(static_cast<int64_t>(changes.size()));
    for (const Change& change : changes) {
        const Result<bool> done = PackOne(packer, change);
        if (!done) {
            return done.GetError();
        }
    }
    return packer.Take();
}

Result<std::string> PackVerify(const std::map<std::string, uint32_t>& changes) {
    Packer packer;
    packer.Number(static_cast<int64_t>(changes.size()));
    for (const auto& [name, option] : changes) {
        const std::string fault = FaultOfName(name);
        if (!fault.empty()) {
            return Usage(fault);
        }
        (void)packer.Text(name);  // checked above
        packer.Number(option);
    }
    return packer.Take();
}

std::string PackQuery(const std::vector<std::string>& names) {
    std::string payload;
    AppendNumber(payload, static_cast<uint32_t>(names.size()));
    for (const std::string& name : names) {
        AppendNumber(payload, static_cast<uint32_t>(name.size()));
        payload += name;
    }
    return payload;
}

Result<std::vector<std::vector<std::string>>> SplitQuery(const std::vector<std::string>& names) {
    std::vector<std::vector<std::string>> parts;
    size_t room = 0;
    for (const std::string& name : names) {
        const std::string fault = FaultOfName(name);
        if (!fault.empty()) {
            return Usage(fault);
        }
        const size_t needed = kQueryAnswerEntry + name.size();
        if (needed > room) {
            parts.emplace_back();
            room = kDataSize - kQueryAnswerHead;
        }
        parts.back().push_back(name);
        room -= needed;
    }
    return parts;
}

}  // namespace GrpOwnerClient::SsWire
