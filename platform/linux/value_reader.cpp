#include "platform/linux/value_reader.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <set>
#include <utility>

#include "platform/linux/substitution.h"
#include "platform/linux/suggestion.h"
#include "platform/linux/utf8.h"
#include "platform/portable/manifest_fields.h"

namespace GrpOwnerLinux {

namespace {

constexpr size_t kLongestFilledIn = 16 * 1024 * 1024;
constexpr uint32_t kLongestTime = 60 * 60 * 1000;  // milliseconds
constexpr uint32_t kHighestCore = 8191;

struct Unit {
    std::string_view name;
    uint32_t milliseconds;
};
constexpr Unit kUnits[] = {{"ms", 1}, {"s", 1000}, {"m", 60000}, {"h", 3600000}};

std::string ForExample(const Field& field) {
    return "for example `" + std::string(field.example) + "`";
}

// All of `text` as a number.
template <typename Number>
bool ReadNumber(std::string_view text, Number& number) {
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && rest == end;
}

std::string_view Trimmed(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

// The place of some bytes of a scalar's text; of the whole scalar where text and source differ.
Span PlaceInside(const YamlNode& node, size_t begin, size_t length) {
    const uint32_t quote = node.isQuoted ? 1 : 0;
    const std::string_view text = node.text;
    if (CountCharacters(text) + 2 * quote != node.place.length) {
        return node.place;
    }
    return {node.place.line, node.place.column + quote + CountCharacters(text.substr(0, begin)),
            CountCharacters(text.substr(begin, length))};
}

// "1.5" thousandths of a unit of 1000 ms are 1500; false where that is no whole number.
bool Scale(std::string_view number, uint32_t unit, uint64_t& milliseconds) {
    const size_t point = number.find('.');
    uint64_t scaled = 0;
    const std::string_view whole = number.substr(0, point);
    if (whole.size() > 9 || !ReadNumber(whole, scaled)) {
        return false;
    }
    scaled *= unit;
    if (point != std::string_view::npos) {
        const std::string_view fraction = number.substr(point + 1);
        uint64_t part = 0;
        if (fraction.size() > 3 || !ReadNumber(fraction, part)) {
            return false;
        }
        uint64_t divisor = 1;
        for (size_t digits = fraction.size(); digits > 0; --digits) {
            divisor *= 10;
        }
        if (part * unit % divisor != 0) {
            return false;
        }
        scaled += part * unit / divisor;
    }
    milliseconds = scaled;
    return true;
}

}  // namespace

bool FitsRecord(std::string_view text, std::string& reason) {
    const size_t bad = text.find_first_of(std::string_view("#\0\n\r", 4));
    if (bad != std::string_view::npos) {
        reason = text[bad] == '#' ? "`#`" : text[bad] == '\0' ? "a NUL character" : "a line break";
    }
    return bad == std::string_view::npos;
}

void ValueReader::Refuse(const Field& field, std::string message, std::string help) {
    findings_.Error(field.node.place, std::move(message), std::move(help));
}

bool ValueReader::IsKind(const Field& field, YamlNode::Kind kind, std::string_view demand) {
    if (field.node.kind == kind && !field.node.IsEmpty()) {
        return true;
    }
    if (field.node.kind == YamlNode::Kind::kBroken) {
        return false;
    }
    const std::string key = Quote(field.key);
    if (field.node.IsEmpty()) {
        Refuse(field, key + " has no value", ForExample(field));
    } else {
        Refuse(field, key + " " + std::string(demand), ForExample(field));
    }
    return false;
}

bool ValueReader::IsSequence(const Field& field) {
    return IsKind(field, YamlNode::Kind::kSequence, "must be a list");
}

bool ValueReader::IsMapping(const Field& field) {
    return IsKind(field, YamlNode::Kind::kMapping, "must be a map");
}

std::string_view ValueReader::RefuseKey(const YamlNode& key, std::string_view what,
                                        const std::vector<std::string_view>& known) {
    const std::string_view nearest = Suggester(known).Nearest(key.text);
    std::string help = nearest.empty() ? UseOneOf(key.text, known) : DidYouMean(nearest);
    if (key.text == "<<") {
        help = "maps are not merged here: use `defaults`, or an alias";
    }
    findings_.Error(key.place, Quote(key.text) + " is not " + std::string(what), std::move(help));
    return nearest;
}

std::optional<std::string> ValueReader::Scalar(const Field& field) {
    if (!IsKind(field, YamlNode::Kind::kScalar, "needs a single value here")) {
        return std::nullopt;
    }
    const std::string& text = field.node.text;
    if (text.find('$') == std::string::npos) {
        return text;
    }
    std::vector<SubstitutionFault> faults;
    std::string result = Substitute(text, matchData_, faults);
    filledIn_ += result.size();
    if (filledIn_ > kLongestFilledIn) {
        faults.push_back({0, text.size(), "the replacements of this file make too much text", {}});
    }
    for (SubstitutionFault& fault : faults) {
        findings_.Error(PlaceInside(field.node, fault.begin, fault.length),
                        std::move(fault.message), std::move(fault.help));
    }
    if (!faults.empty()) {
        return std::nullopt;
    }
    return result;
}

std::optional<std::string> ValueReader::Text(const Field& field) {
    std::optional<std::string> text = Scalar(field);
    std::string reason;
    if (text && !FitsRecord(*text, reason)) {
        Refuse(field, Quote(field.key) + " cannot hold " + reason,
               "the records between the processes are lines of texts that `#` separates");
        return std::nullopt;
    }
    return text;
}

std::optional<std::string> ValueReader::AbsolutePath(const Field& field) {
    std::optional<std::string> path = Text(field);
    if (path && (path->empty() || path->front() != '/')) {
        Refuse(field, Quote(*path) + " is not an absolute path", ForExample(field));
        return std::nullopt;
    }
    if (path && path->size() >= PATH_MAX) {
        Refuse(field, "this path is longer than " + std::to_string(PATH_MAX - 1) + " bytes");
        return std::nullopt;
    }
    return path;
}

std::optional<std::string> ValueReader::RelativePath(const Field& field) {
    std::optional<std::string> path = Text(field);
    if (!path) {
        return path;
    }
    if (path->empty() || path->front() == '/') {
        Refuse(field, Quote(*path) + " is not a relative path", ForExample(field));
        return std::nullopt;
    }
    if (path->find("..") != std::string::npos) {
        Refuse(field, Quote(*path) + " holds `..`", ForExample(field));
        return std::nullopt;
    }
    return path;
}

std::optional<bool> ValueReader::Bool(const Field& field) {
    const std::optional<std::string> text = Scalar(field);
    if (!text) {
        return std::nullopt;
    }
    if (*text == "true" || *text == "false") {
        return *text == "true";
    }
    std::string meant;
    for (const auto& [value, others] :
         {std::pair<std::string, std::set<std::string>>{"true", {"yes", "on", "1", "y"}},
          {"false", {"no", "off", "0", "n"}}}) {
        meant = others.count(*text) > 0 ? value : meant;
    }
    Refuse(field, Quote(*text) + " is neither `true` nor `false`",
           meant.empty() ? UseOneOf(*text, {"true", "false"}) : DidYouMean(meant));
    return std::nullopt;
}

std::optional<int32_t> ValueReader::Number(const Field& field) {
    const std::optional<std::string> text = Scalar(field);
    int32_t number = 0;
    if (text && !ReadNumber(*text, number)) {
        Refuse(field, Quote(*text) + " is not a whole number of 32 bits", ForExample(field));
        return std::nullopt;
    }
    return text ? std::optional(number) : std::nullopt;
}

std::optional<size_t> ValueReader::Word(const Field& field, std::string_view what,
                                        const std::vector<std::string_view>& words) {
    const std::optional<std::string> text = Scalar(field);
    if (!text) {
        return std::nullopt;
    }
    const auto word = std::find(words.begin(), words.end(), *text);
    if (word == words.end()) {
        Refuse(field, Quote(*text) + " is not " + std::string(what), UseOneOf(*text, words));
        return std::nullopt;
    }
    return word - words.begin();
}

std::optional<uint32_t> ValueReader::Milliseconds(const Field& field, uint32_t least) {
    const std::optional<std::string> text = Scalar(field);
    if (!text) {
        return std::nullopt;
    }
    const size_t end = std::min(text->find_first_not_of("0123456789."), text->size());
    const std::string_view unit = std::string_view(*text).substr(end);
    const auto* const known = std::find_if(std::begin(kUnits), std::end(kUnits),
                                           [&](const Unit& each) { return each.name == unit; });
    uint64_t time = 0;
    if (end > 0 && unit.empty()) {
        Refuse(field, Quote(*text) + " has no unit",
               "did you mean `" + *text + "s`? Units are ms, s, m and h");
    } else if (known == std::end(kUnits) ||
               !Scale(std::string_view(*text).substr(0, end), known->milliseconds, time)) {
        Refuse(field, Quote(*text) + " is not a time",
               ForExample(field) + "; units are ms, s, m and h");
    } else if (time < least || time > kLongestTime) {
        Refuse(field, Quote(*text) + (time < least ? " is too short" : " is too long"),
               "it can be " + std::to_string(least) + "ms to 1h");
    } else {
        return static_cast<uint32_t>(time);
    }
    return std::nullopt;
}

bool ValueReader::AddCores(const Field& field, std::string_view range, std::set<uint32_t>& cores) {
    const size_t dash = range.find('-');
    uint32_t first = 0;
    uint32_t last = 0;
    const bool isGood =
        ReadNumber(range.substr(0, dash), first) &&
        ReadNumber(dash == std::string_view::npos ? range : range.substr(dash + 1), last);
    if (!isGood || first > last || last > kHighestCore) {
        Refuse(field,
               Quote(range) + (isGood && first > last ? " runs backwards" : " is not a core"),
               ForExample(field) + "; cores are 0 to " + std::to_string(kHighestCore));
        return false;
    }
    for (uint32_t core = first; core <= last; ++core) {
        cores.insert(core);
    }
    return true;
}

std::optional<std::vector<uint32_t>> ValueReader::Cores(const Field& field) {
    const bool isList = field.node.kind == YamlNode::Kind::kSequence;
    const std::vector<const YamlNode*> items =
        isList ? field.node.items : std::vector<const YamlNode*>{&field.node};
    std::set<uint32_t> cores;
    bool isGood = true;
    for (const YamlNode* const item : items) {
        const Field each{field.key, field.example, *item};
        const std::optional<std::string> text = Scalar(each);
        isGood = isGood && text;
        for (size_t begin = 0; text && begin <= text->size();) {
            const size_t comma = std::min(text->find(',', begin), text->size());
            isGood = AddCores(each, Trimmed(std::string_view(*text).substr(begin, comma - begin)),
                              cores) &&
                     isGood;
            begin = comma + 1;
        }
    }
    if (isGood && cores.empty()) {
        Refuse(field, Quote(field.key) + " names no core", ForExample(field));
    }
    if (!isGood || cores.empty()) {
        return std::nullopt;
    }
    return std::vector<uint32_t>(cores.begin(), cores.end());
}

std::optional<uint32_t> ValueReader::Identity(const Field& field, bool isUser) {
    const std::optional<std::string> text = Scalar(field);
    if (!text) {
        return std::nullopt;
    }
    uint32_t number = 0;
    if (ReadNumber(*text, number) && number != kInheritedId) {
        return number;
    }
    const bool isName = !text->empty() && text->find('\0') == std::string::npos;
    const std::optional<uint32_t> found = !isName  ? std::nullopt
                                          : isUser ? identities_.User(*text)
                                                   : identities_.Group(*text);
    if (!found) {
        Refuse(field, std::string("there is no ") + (isUser ? "user " : "group ") + Quote(*text),
               "give a name or a number that exists where the group runs");
    }
    return found;
}

std::optional<uint32_t> ValueReader::User(const Field& field) {
    return Identity(field, true);
}

std::optional<uint32_t> ValueReader::Group(const Field& field) {
    return Identity(field, false);
}

}  // namespace GrpOwnerLinux
