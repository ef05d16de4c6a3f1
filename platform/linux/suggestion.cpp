#include "platform/linux/suggestion.h"

#include <algorithm>
#include <cctype>
#include <utility>

#include "platform/linux/utf8.h"

namespace GrpOwnerLinux {

namespace {

constexpr size_t kLongestCompared = 64;
constexpr size_t kEffortOfComparison = 100;  // in glances at a name's length

char Lower(char letter) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
}

// How many letters to insert, remove, change or swap with their neighbour.
size_t Distance(std::string_view a, std::string_view b) {
    std::vector<size_t> beforeLast;
    std::vector<size_t> last(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j) {
        last[j] = j;
    }
    for (size_t i = 1; i <= a.size(); ++i) {
        std::vector<size_t> row(b.size() + 1);
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t change = Lower(a[i - 1]) == Lower(b[j - 1]) ? 0 : 1;
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + change});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                row[j] = std::min(row[j], beforeLast[j - 2] + 1);
            }
        }
        beforeLast = std::exchange(last, std::move(row));
    }
    return last[b.size()];
}

// "kill" of "SIGKILL".
bool IsLastPart(std::string_view part, std::string_view name) {
    return part.size() >= 3 && part.size() < name.size() &&
           std::equal(part.rbegin(), part.rend(), name.rbegin(),
                      [](char a, char b) { return Lower(a) == Lower(b); });
}

}  // namespace

Suggester::Suggester(std::vector<std::string_view> known) : known_(std::move(known)) {}

std::string_view Suggester::Nearest(std::string_view typed) {
    if (typed.empty() || typed.size() > kLongestCompared) {
        return {};
    }
    std::string_view nearest;
    size_t limit = std::max<size_t>(typed.size() / 3, 1) + 1;  // a distance below it is near
    for (const std::string_view name : known_) {
        const size_t difference =
            name.size() > typed.size() ? name.size() - typed.size() : typed.size() - name.size();
        const size_t effort = difference < limit ? kEffortOfComparison : 1;
        if (effort > effortLeft_) {
            return {};
        }
        effortLeft_ -= effort;
        if (nearest.empty() && IsLastPart(typed, name)) {
            nearest = name;
        }
        if (difference >= limit) {
            continue;
        }
        const size_t distance = Distance(typed, name);
        if (distance < limit) {
            limit = distance;
            nearest = name;
        }
    }
    return nearest;
}

std::string DidYouMean(std::string_view name) {
    return name.empty() ? "" : "did you mean " + Quote(name) + "?";
}

std::string UseOneOf(std::string_view typed, const std::vector<std::string_view>& known) {
    std::string help = DidYouMean(Suggester(known).Nearest(typed));
    help += help.empty() ? "use one of: " : " Use one of: ";
    for (const std::string_view name : known) {
        help.append(name == known.front() ? "" : ", ").append(name);
    }
    return help;
}

}  // namespace GrpOwnerLinux
