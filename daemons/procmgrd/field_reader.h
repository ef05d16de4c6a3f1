#pragma once

#include <charconv>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ProcMgrDaemon {

/// Takes '#'-terminated fields off the front of a text. The first thing that is not as expected
/// makes it bad for good; what it answers then is empty or 0.
class FieldReader {
public:
    explicit FieldReader(std::string_view text) : rest_(text) {}

    /// Whether all was well and nothing is left over.
    bool Done() const { return good_ && rest_.empty(); }

    std::string Text() {
        const size_t end = rest_.find('#');
        if (!good_ || end == std::string_view::npos) {
            good_ = false;
            return {};
        }
        std::string field(rest_.substr(0, end));
        rest_.remove_prefix(end + 1);
        return field;
    }

    template <typename Integer = uint32_t>
    Integer Number() {
        const std::string field = Text();
        Integer value = 0;
        const auto [end, error] = std::from_chars(field.data(), field.data() + field.size(), value);
        if (error != std::errc() || end != field.data() + field.size()) {
            good_ = false;
            return 0;
        }
        return value;
    }

    /// A number of things of which each takes one byte at least; 0 when so many cannot follow.
    size_t Count() {
        const uint32_t count = Number();
        if (count > rest_.size()) {
            good_ = false;
        }
        return good_ ? count : 0;
    }

    std::vector<std::string> Texts() {
        std::vector<std::string> texts;
        for (size_t left = Count(); left > 0 && good_; --left) {
            texts.push_back(Text());
        }
        return texts;
    }

    bool Good() const { return good_; }

private:
    std::string_view rest_;
    bool good_ = true;
};

}  // namespace ProcMgrDaemon
