#include "platform/log_service.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <mutex>
#include <utility>

#include "platform/memory/memory_platform.h"
#include "platform/memory/recorder.h"

namespace GrpOwnerMemory {

namespace {

constexpr int kEverything = std::numeric_limits<int>::min();

struct Log {
    std::mutex mutex;
    std::vector<LogLine> lines;
    int threshold = kEverything;
    std::function<void(const LogLine&)> hook;
};

__attribute__((format(printf, 1, 0))) std::string Format(const char* format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, again);
    va_end(again);
    if (length < 0) {
        return std::string("cannot format: ") + format;
    }
    std::string text(static_cast<size_t>(length) + 1, '\0');
    (void)std::vsnprintf(text.data(), text.size(), format, arguments);  // the length is known
    text.pop_back();
    return text;
}

// Takes "[file:line]" off the front of a text.
void SplitPrefix(LogLine& line) {
    const size_t end = line.text.find(']');
    const size_t colon = line.text.rfind(':', end);
    if (line.text.empty() || line.text[0] != '[' || end == std::string::npos ||
        colon == std::string::npos) {
        return;
    }
    line.file = line.text.substr(1, colon - 1);
    line.line = std::atoi(line.text.c_str() + colon + 1);
    line.text.erase(0, end + 1);
}

}  // namespace

std::vector<LogLine> LogLines() {
    Log& log = Immortal<Log>();
    const std::lock_guard<std::mutex> lock(log.mutex);
    return log.lines;
}

size_t CountLog(int level, const std::string& text) {
    Log& log = Immortal<Log>();
    const std::lock_guard<std::mutex> lock(log.mutex);
    return static_cast<size_t>(std::count_if(
        log.lines.begin(), log.lines.end(),
        [&](const LogLine& line) { return line.level == level && line.text == text; }));
}

void ClearLog() {
    Log& log = Immortal<Log>();
    const std::lock_guard<std::mutex> lock(log.mutex);
    log.lines.clear();
}

void SetLogHook(std::function<void(const LogLine&)> hook) {
    Log& log = Immortal<Log>();
    const std::lock_guard<std::mutex> lock(log.mutex);
    log.hook = std::move(hook);
}

void SetLogThreshold(int level) {
    Log& log = Immortal<Log>();
    const std::lock_guard<std::mutex> lock(log.mutex);
    log.threshold = level;
}

void ResetLog() {
    ClearLog();
    SetLogHook(nullptr);
    SetLogThreshold(kEverything);
}

}  // namespace GrpOwnerMemory

using namespace GrpOwnerMemory;

int CheckLogLevel(int /*module*/, int level) {
    Log& log = Immortal<Log>();
    const std::lock_guard<std::mutex> lock(log.mutex);
    return level >= log.threshold ? 1 : 0;
}

void DlogInner(int module, int level, const char* format, ...) {
    LogLine line;
    line.module = module;
    line.level = level;
    va_list arguments;
    va_start(arguments, format);
    line.text = Format(format, arguments);
    va_end(arguments);
    SplitPrefix(line);
    std::function<void(const LogLine&)> hook;
    {
        Log& log = Immortal<Log>();
        const std::lock_guard<std::mutex> lock(log.mutex);
        log.lines.push_back(line);
        hook = log.hook;
    }
    if (hook) {
        hook(line);
    }
    TellWaiters();
}
