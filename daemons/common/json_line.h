#pragma once
// What the daemons' observer sockets say: one JSON object a line, always valid UTF-8.

#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

namespace Daemons {

/// Appends one object to a text, member by member; the line ends with this object's life:
///
///     std::string out;
///     JsonLine(out).Number("seq", 7).Text("kind", "exited").Flag("core", false);
///     // out: {"seq":7,"kind":"exited","core":false}\n
///
/// Keys are the program's own and are written as they are. Texts may hold anything: what a terminal
/// would obey is escaped as JSON escapes it. Where a text is not UTF-8, a backslash in it is
/// doubled, a byte that belongs to no character becomes \xNN, and the member "<key>_escaped":true
/// says so: whoever needs the bytes gets all of them back.
class JsonLine {
public:
    explicit JsonLine(std::string& out) : out_(out) { out_ += '{'; }
    ~JsonLine() { out_ += "}\n"; }
    JsonLine(const JsonLine&) = delete;
    JsonLine& operator=(const JsonLine&) = delete;

    JsonLine& Text(std::string_view key, std::string_view text);
    JsonLine& Flag(std::string_view key, bool value);

    template <typename Integer>
    JsonLine& Number(std::string_view key, Integer value) {
        static_assert(std::is_integral_v<Integer> && !std::is_same_v<Integer, bool>);
        if constexpr (std::is_signed_v<Integer>) {
            return Signed(key, value);
        } else {
            return Unsigned(key, value);
        }
    }

    /// An array of texts.
    template <typename Range>
    JsonLine& Texts(std::string_view key, const Range& texts) {
        Key(key);
        bool isEscaped = false;
        char before = '[';
        for (const auto& text : texts) {
            out_ += before;
            isEscaped |= Quoted(text);
            before = ',';
        }
        out_ += before == '[' ? "[]" : "]";
        return TellEscaped(key, isEscaped);
    }

private:
    void Key(std::string_view key);
    bool Quoted(std::string_view text);
    JsonLine& TellEscaped(std::string_view key, bool isEscaped);
    JsonLine& Signed(std::string_view key, int64_t value);
    JsonLine& Unsigned(std::string_view key, uint64_t value);

    std::string& out_;
    bool isFirst_ = true;
};

}  // namespace Daemons
