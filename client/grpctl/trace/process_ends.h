#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "client/grpctl/trace/trace_line.h"

namespace GrpCtl {

/// How processes have ended, or why there was none: the newest few thousand.
class ProcessEnds {
public:
    void Add(const ProcessEvent& event);

    /// @param pid 0: of the last start for which there was no process
    /// @return null: not known
    const ProcessEvent* Find(const std::string& application, int pid) const;

private:
    using Key = std::pair<std::string, int>;

    std::map<Key, ProcessEvent> ends_;
    std::deque<Key> order_;  // the oldest first
};

/// What a report of the process manager to the owner says of it.
std::optional<ProcessEvent> EndByReason(const TraceStep& report);

/// "SIGSEGV", "SIGSEGV, core dumped", "exit status 3", "could not execute the program: ...".
std::string WordsOf(const ProcessEvent& end);

/// "SIGSEGV"; "signal 200" for one without a name.
std::string NameOfSignal(int number);

}  // namespace GrpCtl
