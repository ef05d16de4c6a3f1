// Answers. They come from another process: nothing in them is believed.

#include <cstring>
#include <limits>
#include <optional>
#include <string_view>

#include "client/ss_wire.h"

namespace GrpOwnerClient::SsWire {

namespace {

// Codes of the owner's service.
constexpr int kBadRecord = -15794176;
constexpr int kAnswerTooLong = -15794179;

// An operation's result is its answer's size and what precedes it on the wire.
constexpr uint64_t kResultHead = 8;

Error Malformed(const std::string& message) {
    return {ErrorKind::kMalformed, "the owner's answer cannot be read: " + message, 0};
}

Error Refused(int code) {
    std::string why = "the owner's service failed";
    if (code == kBadRecord) {
        why = "the owner refuses the form of the request: file, buffer or length";
    } else if (code == kAnswerTooLong) {
        why = "the answer does not fit a record of " + std::to_string(kDataSize) + " bytes";
    }
    return {ErrorKind::kRefused, why + " (code " + std::to_string(code) + ")", code};
}

// Digits only, no sign, no blank, within 32 bits.
std::optional<uint32_t> ToNumber(std::string_view text) {
    constexpr size_t kMostDigits = 10;
    if (text.empty() || text.size() > kMostDigits) {
        return std::nullopt;
    }
    uint64_t number = 0;
    for (const char digit : text) {
        if (digit < '0' || digit > '9') {
            return std::nullopt;
        }
        number = number * 10 + static_cast<uint64_t>(digit - '0');
    }
    if (number > std::numeric_limits<uint32_t>::max()) {
        return std::nullopt;
    }
    return static_cast<uint32_t>(number);
}

std::optional<bool> ToFlag(std::string_view text) {
    if (text != "0" && text != "1") {
        return std::nullopt;
    }
    return text == "1";
}

// Fields that each end with a separator.
class FieldReader {
public:
    explicit FieldReader(std::string_view text) : rest_(text) {}

    bool AtEnd() const { return rest_.empty(); }

    // Nothing: the text ends before the separator.
    std::optional<std::string_view> Text() {
        const size_t end = rest_.find('#');
        if (end == std::string_view::npos) {
            return std::nullopt;
        }
        const std::string_view field = rest_.substr(0, end);
        rest_.remove_prefix(end + 1);
        return field;
    }

    std::optional<uint32_t> Number() {
        const auto field = Text();
        return field ? ToNumber(*field) : std::nullopt;
    }

    std::optional<bool> Flag() {
        const auto field = Text();
        return field ? ToFlag(*field) : std::nullopt;
    }

private:
    std::string_view rest_;
};

class ByteReader {
public:
    explicit ByteReader(std::string_view bytes) : rest_(bytes) {}

    bool AtEnd() const { return rest_.empty(); }

    std::optional<std::string_view> Bytes(size_t length) {
        if (length > rest_.size()) {
            return std::nullopt;
        }
        const std::string_view bytes = rest_.substr(0, length);
        rest_.remove_prefix(length);
        return bytes;
    }

    std::optional<uint32_t> Number() {
        const auto bytes = Bytes(sizeof(uint32_t));
        if (!bytes) {
            return std::nullopt;
        }
        uint32_t number = 0;
        std::memcpy(&number, bytes->data(), sizeof(number));
        return number;
    }

private:
    std::string_view rest_;
};

std::optional<Status> ReadStatus(ByteReader& reader) {
    const auto length = reader.Number();
    const auto name = length ? reader.Bytes(*length) : std::nullopt;
    const auto pid = reader.Number();
    const auto state = reader.Number();
    if (!name || !pid || !state) {
        return std::nullopt;
    }
    return Status{std::string(*name), static_cast<int32_t>(*pid), *state};
}

}  // namespace

Result<std::string> TakePayload(const IoctlAnswer& answer) {
    if (answer.code < 0) {
        return Refused(answer.code);
    }
    if (answer.buffer.size() != kRecordSize) {
        return Malformed("a record of " + std::to_string(answer.buffer.size()) + " bytes");
    }
    uint64_t size = 0;
    std::memcpy(&size, answer.buffer.data(), sizeof(size));
    if (size > kDataSize) {
        return Malformed("it claims " + std::to_string(size) + " bytes");
    }
    if (size + kResultHead != static_cast<uint64_t>(answer.code)) {
        return Malformed("it claims " + std::to_string(size) + " bytes, but its result is " +
                         std::to_string(answer.code));
    }
    const auto data = answer.buffer.begin() + static_cast<ptrdiff_t>(kDataOffset);
    return std::string(data, data + static_cast<ptrdiff_t>(size));
}

Result<ChangeAnswer> UnpackChange(const std::string& payload) {
    FieldReader reader(payload);
    const auto pieces = reader.Number();
    const auto flag = reader.Flag();
    if (!pieces || *pieces == 0 || !flag) {
        return Malformed("no count and result of a change");
    }
    ChangeAnswer answer;
    answer.isOk = *flag;
    // Ends at the first field that is missing, whatever the count claims.
    for (uint32_t index = 1; index < *pieces; ++index) {
        const auto name = reader.Text();
        const auto state = reader.Number();
        if (!name || !state) {
            return Malformed("result " + std::to_string(index) + " of " +
                             std::to_string(*pieces - 1) + " of a change");
        }
        answer.results.push_back({std::string(*name), *state});
    }
    if (!reader.AtEnd()) {
        return Malformed("a change's results are followed by more");
    }
    return answer;
}

Result<bool> UnpackSetState(const std::string& payload) {
    FieldReader reader(payload);
    const auto flag = reader.Flag();
    if (!flag || !reader.AtEnd()) {
        return Malformed("neither yes nor no");
    }
    return *flag;
}

Result<bool> UnpackFlag(const std::string& payload) {
    const auto flag = ToFlag(payload);
    if (!flag) {
        return Malformed("neither yes nor no");
    }
    return *flag;
}

Result<ListAnswer> UnpackList(const std::string& payload) {
    FieldReader reader(payload);
    const auto flag = reader.Flag();
    if (!flag) {
        return Malformed("no result of a list");
    }
    ListAnswer answer;
    answer.isOk = *flag;
    while (!reader.AtEnd()) {
        const auto name = reader.Text();
        if (!name || !answer.isOk) {
            return Malformed("a list that does not end");
        }
        answer.names.emplace_back(*name);
    }
    return answer;
}

Result<QueryAnswer> UnpackQuery(const std::string& payload) {
    ByteReader reader(payload);
    const auto flag = reader.Bytes(1);
    const auto count = reader.Number();
    if (!flag || !count || static_cast<unsigned char>(flag->front()) > 1) {
        return Malformed("no result and count of a query");
    }
    QueryAnswer answer;
    answer.isOk = flag->front() == 1;
    for (uint32_t index = 0; index < *count; ++index) {
        std::optional<Status> status = ReadStatus(reader);
        if (!status) {
            return Malformed("entry " + std::to_string(index + 1) + " of " +
                             std::to_string(*count) + " of a query");
        }
        answer.entries.push_back(std::move(*status));
    }
    if (!reader.AtEnd()) {
        return Malformed("a query's entries are followed by more");
    }
    return answer;
}

}  // namespace GrpOwnerClient::SsWire
