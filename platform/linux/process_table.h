#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>

namespace GrpOwnerLinux {

/// Which process is which application's, as the other end of a pipe has told. For any thread; the
/// mutex is a leaf.
class ProcessTable {
public:
    enum class News { kNonsense, kBegun, kEnded };

    /// Takes the payload of a frame.
    News Take(std::string_view payload);

    /// The application whose process this was at that time, and still is; empty: none.
    std::string ApplicationOf(int pid, std::chrono::steady_clock::time_point when) const;

private:
    struct Process {
        uint64_t begun = 0;
        std::string application;
    };

    mutable std::mutex mutex_;
    std::unordered_map<uint32_t, Process> processes_;
};

}  // namespace GrpOwnerLinux
