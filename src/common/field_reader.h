#pragma once

#include <charconv>
#include <cstddef>
#include <limits>
#include <string_view>
#include <system_error>
#include <type_traits>

namespace ProcMgr {

/// Reads a text whose fields are each followed by '#': numbers in decimal, texts raw. The text must
/// outlive the reader and what it has read.
///
/// Lenient, as both peers expect: white space before a number is skipped, the character after it is
/// taken unseen, and from where the text runs dry every field keeps its default. What is no number
/// reads as 0, what overflows as the largest; nothing is read behind either.
class FieldReader {
public:
    explicit FieldReader(std::string_view text) : rest_(text) {}

    /// A negative number read as an unsigned one wraps.
    /// @param number what is told when the text has run dry
    template <typename Number>
    Number GetNumber(Number number = 0) {
        SkipWhiteSpace();
        if (rest_.empty()) {
            return number;
        }
        const bool isRead = TakeNumber(number);
        SkipWhiteSpace();
        rest_.remove_prefix(isRead && !rest_.empty() ? 1 : rest_.size());
        return number;
    }

    std::string_view GetText() {
        const std::string_view text = rest_.substr(0, rest_.find('#'));
        rest_.remove_prefix(text.size() + (text.size() < rest_.size() ? 1 : 0));
        return text;
    }

private:
    void SkipWhiteSpace() {
        const size_t begin = rest_.find_first_not_of(" \t\n\v\f\r");
        rest_.remove_prefix(begin < rest_.size() ? begin : rest_.size());
    }

    /// Whether it is one; `number` is 0 or at its limit when not.
    template <typename Number>
    bool TakeNumber(Number& number) {
        using Limits = std::numeric_limits<Number>;
        using Magnitude = std::make_unsigned_t<Number>;
        const bool isNegative = rest_.front() == '-';
        rest_.remove_prefix(isNegative || rest_.front() == '+' ? 1 : 0);
        Magnitude magnitude = 0;
        const auto [behind, error] =
            std::from_chars(rest_.data(), rest_.data() + rest_.size(), magnitude);
        rest_.remove_prefix(static_cast<size_t>(behind - rest_.data()));
        const Number limit = isNegative && Limits::is_signed ? Limits::min() : Limits::max();
        const auto most = limit < 0 ? Magnitude{0} - static_cast<Magnitude>(limit)
                                    : static_cast<Magnitude>(limit);
        if (error == std::errc::result_out_of_range || magnitude > most) {
            number = limit;
            return false;
        }
        number = static_cast<Number>(isNegative ? Magnitude{0} - magnitude : magnitude);
        return error == std::errc();
    }

    std::string_view rest_;
};

}  // namespace ProcMgr
