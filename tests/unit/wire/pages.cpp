#include "tests/unit/wire/pages.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace WirePages {

namespace {

constexpr size_t kRow = 16;

std::string Hex(int digits, size_t number) {
    char text[16];
    (void)std::snprintf(text, sizeof(text), "%0*x", digits, static_cast<unsigned>(number));
    return text;
}

std::string DumpRow(const std::string& row) {
    std::string text;
    std::string letters;
    for (size_t i = 0; i < kRow; ++i) {
        const auto byte = i < row.size() ? static_cast<unsigned char>(row[i]) : 0U;
        text += i == kRow / 2 ? "  " : " ";
        text += i < row.size() ? Hex(2, byte) : "  ";
        if (i < row.size()) {
            letters += byte >= ' ' && byte <= '~' ? row[i] : '.';
        }
    }
    return " " + text + "  |" + letters + "|\n";
}

// The bytes of a quoted payload.
std::string Unescape(const std::string& text) {
    std::string bytes;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            bytes += text[i];
        } else if (text[++i] == 'x') {
            bytes += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
            i += 2;
        } else {
            bytes += text[i] == 'n' ? '\n' : text[i] == '0' ? '\0' : text[i];
        }
    }
    return bytes;
}

}  // namespace

std::string Dump(const std::string& bytes) {
    std::string text;
    std::string last;
    bool isRepeated = false;
    for (size_t offset = 0; offset < bytes.size(); offset += kRow) {
        const std::string row = bytes.substr(offset, kRow);
        if (row != last) {
            text += Hex(8, offset) + DumpRow(row);
        } else if (!isRepeated) {
            text += "*\n";
        }
        isRepeated = row == last;
        last = row;
    }
    return text + Hex(8, bytes.size()) + "\n";
}

Page::Page(const std::string& name) : name_(name) {
    std::ifstream file(std::string(WIRE_PAGES) + "/" + name + ".md");
    if (!file) {
        throw std::runtime_error("there is no page " + name);
    }
    std::vector<std::string>* fence = nullptr;
    for (std::string line; std::getline(file, line);) {
        if (line.compare(0, 3, "```") == 0) {
            fence = fence == nullptr ? &fences_[line.substr(3)] : nullptr;
        } else if (fence != nullptr) {
            fence->push_back(line);
        }
    }
}

std::string Page::Text(const std::string& fence) const {
    const auto found = fences_.find("hex " + fence);
    EXPECT_NE(found, fences_.end()) << "no bytes of `" << fence << "` in " << name_;
    std::string text;
    for (const std::string& line :
         found == fences_.end() ? std::vector<std::string>() : found->second) {
        text += line + "\n";
    }
    return text;
}

std::string Page::Bytes(const std::string& fence) const {
    constexpr size_t kOffset = 8;
    std::istringstream lines(Text(fence));
    std::string bytes;
    for (std::string line; std::getline(lines, line);) {
        if (line == "*") {
            continue;
        }
        const size_t offset = std::stoul(line.substr(0, kOffset), nullptr, 16);
        while (bytes.size() < offset) {  // the rows that `*` stands for
            bytes += bytes.substr(bytes.size() - kRow);
        }
        bytes.resize(offset);
        std::istringstream numbers(line.substr(kOffset, line.find('|') - kOffset));
        for (std::string number; numbers >> number;) {
            bytes += static_cast<char>(std::stoi(number, nullptr, 16));
        }
    }
    return bytes;
}

void Page::Check(const std::string& fence, const Wrapper& wrap, const Reader& read) const {
    const auto found = fences_.find("reads " + fence);
    ASSERT_NE(found, fences_.end()) << "no readings of `" << fence << "` in " << name_;
    for (const std::string& line : found->second) {
        const size_t arrow = line.find(" -> ");
        ASSERT_NE(arrow, std::string::npos) << line;
        const std::string left = line.substr(0, line.find_last_not_of(' ', arrow) + 1);
        const std::string record =
            left[0] == '"' ? wrap(Unescape(left.substr(1, left.size() - 2))) : Bytes(left);
        EXPECT_EQ(read(record), line.substr(arrow + 4)) << name_ << ": " << line;
    }
}

}  // namespace WirePages
