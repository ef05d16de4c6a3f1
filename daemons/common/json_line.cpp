#include "daemons/common/json_line.h"

#include <array>
#include <charconv>

#include "platform/linux/utf8.h"

namespace Daemons {

using GrpOwnerLinux::DecodeCharacter;

namespace {

constexpr char kHex[] = "0123456789abcdef";

bool IsUtf8(std::string_view text) {
    while (!text.empty()) {
        uint32_t value = 0;
        const size_t width = DecodeCharacter(text, value);
        if (width == 0) {
            return false;
        }
        text.remove_prefix(width);
    }
    return true;
}

void AppendControl(std::string& out, uint32_t value) {
    switch (value) {
        case '\n':
            out += "\\n";
            return;
        case '\r':
            out += "\\r";
            return;
        case '\t':
            out += "\\t";
            return;
        default:
            out += "\\u";
            for (const int shift : {12, 8, 4, 0}) {
                out += kHex[value >> shift & 0xF];
            }
    }
}

template <typename Integer>
void AppendNumber(std::string& out, Integer value) {
    std::array<char, 24> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    out.append(digits.data(), end);
}

}  // namespace

void JsonLine::Key(std::string_view key) {
    out_ += isFirst_ ? "\"" : ",\"";
    out_ += key;
    out_ += "\":";
    isFirst_ = false;
}

// Whether bytes had to be replaced.
bool JsonLine::Quoted(std::string_view text) {
    const bool isUtf8 = IsUtf8(text);
    out_ += '"';
    while (!text.empty()) {
        uint32_t value = 0;
        const size_t width = DecodeCharacter(text, value);
        if (width == 0) {
            const auto byte = static_cast<uint8_t>(text.front());
            out_.append("\\\\x").append({kHex[byte >> 4], kHex[byte & 0xF]});
            text.remove_prefix(1);
            continue;
        }
        if (value == '\\') {
            out_ += isUtf8 ? "\\\\" : "\\\\\\\\";
        } else if (value == '"') {
            out_ += "\\\"";
        } else if (GrpOwnerLinux::IsControl(value)) {
            AppendControl(out_, value);
        } else {
            out_ += text.substr(0, width);
        }
        text.remove_prefix(width);
    }
    out_ += '"';
    return !isUtf8;
}

JsonLine& JsonLine::TellEscaped(std::string_view key, bool isEscaped) {
    if (isEscaped) {
        out_.append(",\"").append(key).append("_escaped\":true");
    }
    return *this;
}

JsonLine& JsonLine::Text(std::string_view key, std::string_view text) {
    Key(key);
    return TellEscaped(key, Quoted(text));
}

JsonLine& JsonLine::Flag(std::string_view key, bool value) {
    Key(key);
    out_ += value ? "true" : "false";
    return *this;
}

JsonLine& JsonLine::Signed(std::string_view key, int64_t value) {
    Key(key);
    AppendNumber(out_, value);
    return *this;
}

JsonLine& JsonLine::Unsigned(std::string_view key, uint64_t value) {
    Key(key);
    AppendNumber(out_, value);
    return *this;
}

}  // namespace Daemons
