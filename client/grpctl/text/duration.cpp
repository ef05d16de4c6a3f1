#include "client/grpctl/text/duration.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace GrpCtl {

namespace {

using std::chrono::milliseconds;

constexpr int64_t kSecond = 1000;
constexpr int64_t kMinute = 60 * kSecond;
constexpr int64_t kHour = 60 * kMinute;
constexpr int64_t kDay = 24 * kHour;

struct Unit {
    std::string_view name;
    int64_t length;
};
constexpr std::array<Unit, 4> kUnits{{{"ms", 1}, {"s", kSecond}, {"m", kMinute}, {"h", kHour}}};

int64_t LengthOf(std::string_view name) {
    for (const Unit& unit : kUnits) {
        if (unit.name == name) {
            return unit.length;
        }
    }
    return 0;
}

std::string Two(int64_t first, const char* firstUnit, int64_t second, const char* secondUnit) {
    char text[64];
    std::snprintf(text, sizeof(text), "%lld%s%02lld%s", static_cast<long long>(first), firstUnit,
                  static_cast<long long>(second), secondUnit);
    return text;
}

}  // namespace

std::optional<milliseconds> ParseDuration(std::string_view text) {
    const size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
    std::string_view rest = text.substr(digits);
    std::string_view fraction;
    if (!rest.empty() && rest.front() == '.') {
        const size_t end = std::min(rest.find_first_not_of("0123456789", 1), rest.size());
        fraction = rest.substr(1, end - 1);
        rest = rest.substr(end);
    }
    const int64_t unit = LengthOf(rest);
    constexpr size_t kMostDigits = 9;
    const bool isPoint = digits < text.size() && text[digits] == '.';
    if (digits == 0 || digits > kMostDigits || unit == 0 || isPoint == fraction.empty()) {
        return std::nullopt;
    }
    int64_t length = 0;
    for (const char digit : text.substr(0, digits)) {
        length = length * 10 + (digit - '0');
    }
    length *= unit;
    int64_t share = unit;
    for (const char digit : fraction) {
        share /= 10;
        length += share * (digit - '0');
    }
    if (length < 1 || length > kDay) {
        return std::nullopt;
    }
    return milliseconds(length);
}

std::string ShowAge(milliseconds age) {
    const int64_t count = age.count();
    if (count < kMinute) {
        return std::to_string(count / kSecond) + "s";
    }
    if (count < kHour) {
        return Two(count / kMinute, "m", count % kMinute / kSecond, "s");
    }
    if (count < kDay) {
        return Two(count / kHour, "h", count % kHour / kMinute, "m");
    }
    return Two(count / kDay, "d", count % kDay / kHour, "h");
}

std::string ShowDuration(milliseconds duration) {
    const int64_t count = duration.count();
    if (count < kSecond) {
        return std::to_string(count) + "ms";
    }
    return count < kMinute && count % kSecond != 0
               ? Two(count / kSecond, ".", count % kSecond / 10, "s")
               : ShowAge(duration);
}

std::string ShowSeconds(milliseconds duration) {
    char text[32];
    std::snprintf(text, sizeof(text), "%lld.%03lld",
                  static_cast<long long>(duration.count() / kSecond),
                  static_cast<long long>(duration.count() % kSecond));
    return text;
}

}  // namespace GrpCtl
