#include "client/grpctl/text/hex.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdio>

namespace GrpCtl {

namespace {

constexpr size_t kWidth = 16;

std::string Line(const std::vector<uint8_t>& bytes, size_t offset) {
    char text[32];
    std::snprintf(text, sizeof(text), "%08zx ", offset);
    std::string line = text;
    std::string characters;
    for (size_t index = offset; index < offset + kWidth; ++index) {
        line += index % (kWidth / 2) == 0 ? " " : "";
        if (index >= bytes.size()) {
            line += "   ";
            continue;
        }
        std::snprintf(text, sizeof(text), "%02x ", bytes[index]);
        line += text;
        const bool isPrintable = bytes[index] >= ' ' && bytes[index] <= '~';
        characters += isPrintable ? static_cast<char>(bytes[index]) : '.';
    }
    return line + " |" + characters + "|\n";
}

bool IsAsAbove(const std::vector<uint8_t>& bytes, size_t offset) {
    const auto place = bytes.begin() + static_cast<std::ptrdiff_t>(offset);
    return offset >= kWidth && offset + kWidth <= bytes.size() &&
           std::equal(place, place + kWidth, place - kWidth);
}

}  // namespace

bool AppendHex(std::string_view text, std::vector<uint8_t>& bytes) {
    if (text.size() % 2 != 0) {
        return false;
    }
    for (size_t index = 0; index < text.size(); index += 2) {
        uint8_t byte = 0;
        const char* const begin = text.data() + index;
        const auto [rest, error] = std::from_chars(begin, begin + 2, byte, 16);
        if (error != std::errc() || rest != begin + 2) {
            return false;
        }
        bytes.push_back(byte);
    }
    return true;
}

std::string HexDump(const std::vector<uint8_t>& bytes) {
    std::string text;
    bool isElided = false;
    for (size_t offset = 0; offset < bytes.size(); offset += kWidth) {
        if (!IsAsAbove(bytes, offset)) {
            text += Line(bytes, offset);
            isElided = false;
        } else if (!isElided) {
            text += "*\n";
            isElided = true;
        }
    }
    return text;
}

std::string ToHex(const std::vector<uint8_t>& bytes) {
    std::string text;
    char pair[3];
    for (const uint8_t byte : bytes) {
        std::snprintf(pair, sizeof(pair), "%02x", byte);
        text += pair;
    }
    return text;
}

}  // namespace GrpCtl
