#include "platform/linux/utf8.h"

#include <cstdio>

namespace GrpOwnerLinux {

namespace {

constexpr size_t kLongestName = 64;  // characters

// Calls `use(bytes, value)` for each character; `bytes` is a single byte and the value a control's
// where there is no character.
template <typename Use>
void ForEachCharacter(std::string_view text, Use use) {
    while (!text.empty()) {
        uint32_t value = 0;
        size_t width = DecodeCharacter(text, value);
        if (width == 0) {
            width = 1;
            value = 0;
        }
        use(text.substr(0, width), value);
        text.remove_prefix(width);
    }
}

}  // namespace

size_t DecodeCharacter(std::string_view text, uint32_t& value) {
    struct Form {
        uint8_t mask, lead;
        uint32_t lowest;
    };
    constexpr Form kForms[] = {{0xE0, 0xC0, 0x80}, {0xF0, 0xE0, 0x800}, {0xF8, 0xF0, 0x10000}};
    const auto lead = static_cast<uint8_t>(text[0]);
    if (lead < 0x80) {
        value = lead;
        return 1;
    }
    size_t width = 1;
    for (const Form& form : kForms) {
        ++width;
        if ((lead & form.mask) != form.lead) {
            continue;
        }
        if (text.size() < width) {
            return 0;
        }
        value = lead & static_cast<uint8_t>(~form.mask);
        for (const char next : text.substr(1, width - 1)) {
            if ((static_cast<uint8_t>(next) & 0xC0) != 0x80) {
                return 0;
            }
            value = value << 6 | (static_cast<uint8_t>(next) & 0x3F);
        }
        const bool isSurrogate = value >= 0xD800 && value <= 0xDFFF;
        return value < form.lowest || value > 0x10FFFF || isSurrogate ? 0 : width;
    }
    return 0;
}

bool IsControl(uint32_t value) {
    return value < 0x20 || (value >= 0x7F && value < 0xA0) || value == 0x2028 || value == 0x2029;
}

uint32_t CountCharacters(std::string_view text) {
    uint32_t count = 0;
    ForEachCharacter(text, [&count](std::string_view, uint32_t) { ++count; });
    return count;
}

std::string PrintableLine(std::string_view text) {
    std::string line;
    ForEachCharacter(text, [&line](std::string_view bytes, uint32_t value) {
        line += IsControl(value) && value != '\t' ? "?" : bytes;
    });
    return line;
}

std::string Escaped(std::string_view text) {
    std::string escaped;
    size_t count = 0;
    ForEachCharacter(text, [&](std::string_view bytes, uint32_t value) {
        if (++count > kLongestName) {
            return;
        }
        if (!IsControl(value)) {
            escaped += bytes;
            return;
        }
        for (const char byte : bytes) {
            char escape[5];
            std::snprintf(escape, sizeof(escape), "\\x%02x", static_cast<uint8_t>(byte));
            escaped += escape;
        }
    });
    return escaped + (count > kLongestName ? "..." : "");
}

std::string Quote(std::string_view text) {
    return "`" + Escaped(text) + "`";
}

}  // namespace GrpOwnerLinux
