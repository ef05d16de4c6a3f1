#pragma once
// How times and kinds are called.

#include <cstdint>
#include <string>
#include <vector>

namespace GrpCtl::Timeline {

constexpr int64_t Milliseconds(int64_t count) {
    return count * 1000000;
}

/// With so many digits behind a point.
std::string ShowFixed(double value, int digits);

/// A length in nanoseconds, as short as it stays useful: "0.4ms", "38ms", "1.490s", "2m14s".
std::string ShowTime(int64_t length);

/// The same with its sign: "+284ms".
std::string ShowChange(int64_t length);

/// Milliseconds with three digits behind the point, for JSON.
double ToMilliseconds(int64_t length);

/// "logger → clock → camera"; of a chain with more characters than that, the ends.
std::string JoinChain(const std::vector<std::string>& names, bool isUtf8, size_t most);

}  // namespace GrpCtl::Timeline
