#pragma once

#include <cstdint>
#include <string>

namespace GrpCtl {

/// Tells people the time of day of what programs count on the monotonic clock, in nanoseconds.
class WallClock {
public:
    WallClock() = default;
    /// @param time one moment on the monotonic clock
    /// @param utc the same since 1970
    WallClock(int64_t time, int64_t utc) : offset_(utc - time) {}

    /// "12:04:31.207", "12:04:31".
    std::string Exact(int64_t time) const;
    std::string Short(int64_t time) const;

    /// "2025-11-21T11:04:31.207Z".
    std::string Utc(int64_t time) const;

private:
    int64_t offset_ = 0;
};

/// On the monotonic clock.
int64_t NowNs();

}  // namespace GrpCtl
