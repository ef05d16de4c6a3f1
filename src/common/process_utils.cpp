#include "src/common/process_utils.h"

#include <algorithm>
#include <cctype>

#if !defined(__aarch64__)
#include <ctime>
#endif

namespace ProcMgr {

namespace {

struct BootCounter {
    uint64_t count = 0;
    uint64_t frequency = 0;  // ticks a second
};

#if defined(__aarch64__)
// The generic timer counts from power-on, so a stamp also covers the time before the kernel.
BootCounter ReadBootCounter() {
    BootCounter counter;
    asm volatile("mrs %0, cntvct_el0" : "=r"(counter.count));
    asm volatile("mrs %0, cntfrq_el0" : "=r"(counter.frequency));
    return counter;
}
#else
BootCounter ReadBootCounter() {
    constexpr uint64_t kNanosecondsPerSecond = 1000000000;
    timespec now{};
    if (clock_gettime(CLOCK_BOOTTIME, &now) != 0) {
        return {};
    }
    return {static_cast<uint64_t>(now.tv_sec) * kNanosecondsPerSecond +
                static_cast<uint64_t>(now.tv_nsec),
            kNanosecondsPerSecond};
}
#endif

}  // namespace

std::string FormatBootStrace(uint64_t counter, uint64_t frequency, const std::string& message) {
    if (frequency == 0) {
        return {};
    }
    const double seconds = static_cast<double>(counter) / static_cast<double>(frequency);
    return "[" + std::to_string(seconds) + "s][BOOT_TRACE][" + message + "]";  // to_string is "%f"
}

std::string BootStrace(const std::string& message) {
    const BootCounter counter = ReadBootCounter();
    return FormatBootStrace(counter.count, counter.frequency, message);
}

bool IsStrDigits(const std::string& text) {
    return std::all_of(text.begin(), text.end(),
                       [](unsigned char character) { return std::isdigit(character) != 0; });
}

}  // namespace ProcMgr
