#include "client/grpctl/group/process_facts.h"

#include <unistd.h>

#include <charconv>
#include <ctime>
#include <fstream>
#include <iterator>
#include <string>

namespace GrpCtl {

std::optional<uint64_t> StartTicks(std::string_view stat) {
    constexpr int kStateField = 3;
    constexpr int kStartField = 22;
    const size_t nameEnd = stat.rfind(") ");
    if (nameEnd == std::string_view::npos) {
        return std::nullopt;
    }
    std::string_view rest = stat.substr(nameEnd + 2);
    for (int field = kStateField; field < kStartField; ++field) {
        const size_t blank = rest.find(' ');
        if (blank == std::string_view::npos) {
            return std::nullopt;
        }
        rest.remove_prefix(blank + 1);
    }
    uint64_t ticks = 0;
    const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), ticks);
    if (error != std::errc() || end == rest.data()) {
        return std::nullopt;
    }
    return ticks;
}

std::optional<std::chrono::milliseconds> AgeOf(int pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    const std::string stat((std::istreambuf_iterator<char>(file)), {});
    const std::optional<uint64_t> ticks = StartTicks(stat);
    timespec now{};
    const long perSecond = sysconf(_SC_CLK_TCK);
    if (!ticks || perSecond <= 0 || clock_gettime(CLOCK_BOOTTIME, &now) != 0) {
        return std::nullopt;
    }
    const int64_t started = static_cast<int64_t>(*ticks) * 1000 / perSecond;
    const int64_t age = static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000 - started;
    return std::chrono::milliseconds(age < 0 ? 0 : age);
}

}  // namespace GrpCtl
