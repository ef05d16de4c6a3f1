#pragma once
// How times and kinds are called.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "grpowner/enumerations.h"
#include "grpowner/trace.h"

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

/// Why a process ended or did not start, by the number that the process manager gives: "SIGSEGV",
/// "exit status 3". Empty: it means nothing.
std::string ReasonWords(uint32_t reason);

std::string_view WordOf(ProcMgr::TraceRequest request);
std::string_view WordOf(ProcMgr::OptionType operation);

}  // namespace GrpCtl::Timeline
