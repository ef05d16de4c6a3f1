#pragma once
// The fields of a recording's entries: written by whoever records, read by whoever replays. See
// docs/recording.md for the format.

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "platform/portable/manifest_fields.h"

namespace GrpOwnerRecording {

/// The first line. A reader refuses another number.
inline constexpr std::string_view kHead = "grpowner recording 1";

/// One field as it stands in the file: no blank, no line break, never empty.
/// @param keepsBlanks for the last field of a line
std::string Escape(std::string_view field, bool keepsBlanks = false);
std::string Unescape(std::string_view text);

/// The fields of one entry while they are collected.
class FieldWriter {
public:
    std::vector<std::string> fields;

    FieldWriter& operator()(std::string_view text) {
        fields.emplace_back(text);
        return *this;
    }

    template <typename Number, std::enable_if_t<std::is_arithmetic_v<Number>, int> = 0>
    FieldWriter& operator()(Number number) {
        fields.push_back(std::to_string(number));
        return *this;
    }

    /// A record of fixed size: the zeros at its end are counted, not written.
    FieldWriter& Bytes(const void* bytes, size_t size);

    template <typename Range>
    FieldWriter& List(const Range& list) {
        (*this)(list.size());
        for (const auto& entry : list) {
            (*this)(entry);
        }
        return *this;
    }

    FieldWriter& Map(const std::map<std::string, std::string>& map);
    FieldWriter& Manifest(const ManifestFields& manifest);
};

/// The fields of one entry one after the other. What is missing or no number reads as nothing, and
/// is remembered.
class FieldReader {
public:
    explicit FieldReader(const std::vector<std::string>& fields) : fields_(fields) {}

    bool Good() const { return good_; }

    std::string Text();

    template <typename Number>
    Number Get() {
        Number number{};
        const std::string text = Text();
        const char* const end = text.data() + text.size();
        const auto [rest, error] = std::from_chars(text.data(), end, number);
        good_ = good_ && error == std::errc() && rest == end;
        return number;
    }

    std::string Bytes();
    std::vector<std::string> Texts();
    std::map<std::string, std::string> Map();
    ManifestFields Manifest();

private:
    size_t Count();  // of what follows; no more than can

    const std::vector<std::string>& fields_;
    size_t next_ = 0;
    bool good_ = true;
};

}  // namespace GrpOwnerRecording
