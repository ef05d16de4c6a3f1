#include "platform/linux/process_table.h"

#include <cstring>

#include "platform/linux/pipe_frame.h"

namespace GrpOwnerLinux {

ProcessTable::News ProcessTable::Take(std::string_view payload) {
    PipeProcess process{};
    if (payload.size() < sizeof(process)) {
        return News::kNonsense;
    }
    std::memcpy(&process, payload.data(), sizeof(process));
    payload.remove_prefix(sizeof(process));
    if (process.pid == 0 || process.pid > kMaxPid || process.nameLength != payload.size()) {
        return News::kNonsense;
    }
    std::lock_guard<std::mutex> lock(mutex_);
    if (payload.empty()) {
        processes_.erase(process.pid);
        return News::kEnded;
    }
    processes_[process.pid] = {process.begun, std::string(payload)};
    return News::kBegun;
}

std::string ProcessTable::ApplicationOf(int pid, std::chrono::steady_clock::time_point when) const {
    const std::chrono::nanoseconds sinceBoot = when.time_since_epoch();
    std::lock_guard<std::mutex> lock(mutex_);
    const auto found = processes_.find(static_cast<uint32_t>(pid));
    const bool isKnown = found != processes_.end() &&
                         found->second.begun <= static_cast<uint64_t>(sinceBoot.count());
    return isKnown ? found->second.application : std::string();
}

}  // namespace GrpOwnerLinux
