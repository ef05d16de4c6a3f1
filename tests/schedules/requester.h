#pragma once

#include "tests/schedules/process_manager.h"

namespace Schedules {

/// A system-state manager at the owner's virtual file. Judges each answer: what it says of whom,
/// and when it comes. Used by one thread.
class Requester {
public:
    Requester(const Names& names, Weather weather, uint64_t seed, const ProcessManager& manager,
              Watch& watch)
        : names_(names), weather_(weather), random_(seed), manager_(manager), watch_(watch) {}

    /// Any request, at random.
    void AskAnything();
    /// One that changes nothing.
    void AskOnly();
    /// @return the names whose result is no success; of a refusal "refused" alone
    Names Change(const Names& term, const Names& start, const Names& restart, int timeout);
    void Query();
    bool Reload();

private:
    Names Some();
    /// @param bound the longest that it may take, busy pipes apart
    std::string Ask(unsigned command, const std::string& payload = {}, int timeout = 5000,
                    Milliseconds bound = Milliseconds(0));

    const Names& names_;
    const Weather weather_;
    Random random_;
    const ProcessManager& manager_;
    Watch& watch_;
};

}  // namespace Schedules
