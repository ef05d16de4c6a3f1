#include "platform/linux/substitution.h"

#include <string_view>

#include "platform/linux/utf8.h"

namespace GrpOwnerLinux {

namespace {

constexpr std::string_view kDefaultMark = ":-";
constexpr size_t kLongestResult = 64 * 1024;  // a short text may ask for a long one very often

bool IsName(std::string_view text) {
    constexpr std::string_view kFirst = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_";
    return !text.empty() && kFirst.find(text[0]) != std::string_view::npos &&
           text.find_first_not_of(std::string(kFirst) + "0123456789") == std::string_view::npos;
}

// The text for what stands between the braces.
std::string Value(std::string_view inside, const ParseAndDepend::MatchData& matchData,
                  SubstitutionFault& fault) {
    const size_t mark = inside.find(kDefaultMark);
    const bool hasDefault = mark != std::string_view::npos;
    const std::string name(inside.substr(0, mark));
    const std::string_view fallback =
        hasDefault ? inside.substr(mark + kDefaultMark.size()) : std::string_view();
    if (!IsName(name)) {
        fault.message = Quote(name) + " cannot be the name of a replacement";
        fault.help = "names are made of letters, digits and `_`; write `$$` for a dollar sign";
    } else if (fallback.find('$') != std::string_view::npos) {
        fault.message = "a default cannot hold another replacement";
    } else {
        const auto entry = matchData.find(name);
        if (entry != matchData.end() && (!entry->second.empty() || !hasDefault)) {
            return entry->second;
        }
        if (!hasDefault) {
            fault.message = Quote(name) + " is not defined";
            fault.help = "define it with `--define " + name + "=VALUE`, or give a default: `${" +
                         name + ":-default}`";
        }
    }
    return std::string(fallback);
}

}  // namespace

std::string Substitute(const std::string& text, const ParseAndDepend::MatchData& matchData,
                       std::vector<SubstitutionFault>& faults) {
    std::string result;
    size_t done = 0;
    for (size_t dollar = text.find('$'); dollar != std::string::npos;
         dollar = text.find('$', done)) {
        result.append(text, done, dollar - done);
        const char next = dollar + 1 < text.size() ? text[dollar + 1] : '\0';
        const size_t end = next == '{' ? text.find('}', dollar) : std::string::npos;
        if (next == '$') {
            result += '$';
            done = dollar + 2;
        } else if (end == std::string::npos) {
            faults.push_back({dollar, 1,
                              next == '{' ? "this replacement has no `}`" : "a single dollar sign",
                              "write `${NAME}` for a replacement, `$$` for a dollar sign"});
            done = dollar + 1;
        } else {
            SubstitutionFault fault{dollar, end + 1 - dollar, {}, {}};
            result += Value(std::string_view(text).substr(dollar + 2, end - dollar - 2), matchData,
                            fault);
            if (!fault.message.empty()) {
                faults.push_back(fault);
            }
            done = end + 1;
        }
        if (result.size() > kLongestResult) {
            faults.push_back({0, text.size(), "the replacements make this longer than 64 KiB", {}});
            return {};
        }
    }
    return result.append(text, done, std::string::npos);
}

}  // namespace GrpOwnerLinux
