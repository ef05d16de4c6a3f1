#include "client/grpctl/text/wall_clock.h"

#include <chrono>
#include <cstdio>
#include <ctime>

namespace GrpCtl {

namespace {

constexpr int64_t kSecond = 1'000'000'000;
constexpr int64_t kMillisecond = 1'000'000;

std::string Milliseconds(int64_t when) {
    char text[8];
    (void)std::snprintf(text, sizeof(text), ".%03d",
                        static_cast<int>(when % kSecond / kMillisecond));
    return text;
}

}  // namespace

std::string WallClock::Exact(int64_t time) const {
    return Short(time) + Milliseconds(time + offset_);
}

std::string WallClock::Short(int64_t time) const {
    const time_t seconds = (time + offset_) / kSecond;
    tm parts{};
    char text[16] = "";
    if (localtime_r(&seconds, &parts) != nullptr) {
        (void)std::strftime(text, sizeof(text), "%H:%M:%S", &parts);  // it fits
    }
    return text;
}

std::string WallClock::Utc(int64_t time) const {
    const time_t seconds = (time + offset_) / kSecond;
    tm parts{};
    char text[32] = "";
    if (gmtime_r(&seconds, &parts) != nullptr) {
        (void)std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%S", &parts);  // it fits
    }
    return text + Milliseconds(time + offset_) + "Z";
}

int64_t NowNs() {
    return std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
}

}  // namespace GrpCtl
