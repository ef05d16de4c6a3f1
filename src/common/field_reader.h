#pragma once

#include <cstdint>
#include <locale>
#include <sstream>
#include <string>

namespace ProcMgr {

/// Reads a text whose fields are each followed by '#': numbers in decimal, texts raw.
///
/// Lenient, as both peers expect: white space before a number is skipped, the character after it is
/// taken unseen, and from where the text runs dry every field keeps its default. What is no number
/// reads as 0, what overflows as the largest.
class FieldReader {
public:
    explicit FieldReader(const std::string& text) : stream_(text) {
        stream_.imbue(std::locale::classic());  // a host's locale might group digits
    }

    /// A negative number read as an unsigned one wraps.
    /// @param number what is told when the text has run dry
    template <typename Number>
    Number GetNumber(Number number = 0) {
        char separator = 0;
        stream_ >> number >> separator;
        return number;
    }

    std::string GetText() {
        std::string text;
        std::getline(stream_, text, '#');
        return text;
    }

private:
    std::istringstream stream_;
};

}  // namespace ProcMgr
