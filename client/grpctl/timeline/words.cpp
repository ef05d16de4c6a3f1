#include "client/grpctl/timeline/words.h"

#include <algorithm>
#include <chrono>
#include <cmath>

#include "client/grpctl/text/duration.h"
#include "platform/linux/utf8.h"

namespace GrpCtl::Timeline {

namespace {

constexpr int64_t kMicrosecond = 1000;
constexpr int64_t kMillisecond = Milliseconds(1);
constexpr int64_t kSecond = Milliseconds(1000);
constexpr int64_t kMinute = 60 * kSecond;

}  // namespace

// By hand, for the point of printf() is that of the locale.
std::string ShowFixed(double value, int digits) {
    int64_t power = 1;
    for (int i = 0; i < digits; ++i) {
        power *= 10;
    }
    const int64_t scaled = std::llround(value * static_cast<double>(power));
    const int64_t size = scaled < 0 ? -scaled : scaled;
    std::string text = (scaled < 0 ? "-" : "") + std::to_string(size / power);
    if (digits > 0) {
        const std::string fraction = std::to_string(size % power);
        text += "." + std::string(static_cast<size_t>(digits) - fraction.size(), '0') + fraction;
    }
    return text;
}

std::string ShowTime(int64_t length) {
    if (length < 0) {
        return "-" + ShowTime(-length);
    }
    const auto count = static_cast<double>(length);
    if (length == 0) {
        return "0ms";
    }
    if (length < 100 * kMicrosecond) {
        return "<0.1ms";
    }
    if (length < 10 * kMillisecond - 50 * kMicrosecond) {
        return ShowFixed(count / kMillisecond, 1) + "ms";
    }
    if (length < kSecond - kMillisecond / 2) {
        return ShowFixed(count / kMillisecond, 0) + "ms";
    }
    if (length < kMinute - kMillisecond / 2) {
        return ShowFixed(count / kSecond, 3) + "s";
    }
    return ShowAge(std::chrono::milliseconds(length / kMillisecond));
}

std::string ShowChange(int64_t length) {
    return length <= 0 ? ShowTime(length) : "+" + ShowTime(length);
}

double ToMilliseconds(int64_t length) {
    const int64_t microseconds = length / kMicrosecond;
    return static_cast<double>(microseconds) / 1000;
}

std::string JoinChain(const std::vector<std::string>& names, bool isUtf8, size_t most) {
    constexpr size_t kMostEnds = 3;
    const std::string arrow = isUtf8 ? " → " : " -> ";
    for (size_t ends = names.size(); ends > 0; ends = std::min(ends - 1, kMostEnds)) {
        std::string line;
        for (size_t i = 0; i < names.size(); ++i) {
            const size_t left = names.size() - std::min(2 * ends, names.size());
            if (i == ends && left > 1) {
                line += arrow + (isUtf8 ? "… " : "... ") + std::to_string(left) + " more";
                i += left;
            }
            line += (line.empty() ? "" : arrow) + GrpOwnerLinux::PrintableLine(names[i]);
        }
        if (ends == 1 || GrpOwnerLinux::CountCharacters(line) <= most) {
            return line;
        }
    }
    return "-";
}

}  // namespace GrpCtl::Timeline
