#pragma once

#include "tests/schedules/process_manager.h"
#include "tests/schedules/watch.h"
#include "tests/schedules/weather.h"

namespace Schedules {

/// A system-state manager at the owner's virtual file. Judges each answer: what it says of whom,
/// and when it comes. Used by one thread.
class Requester {
public:
    Requester(const Names& names, Weather weather, uint64_t seed, ProcessManager& manager,
              Watch& watch)
        : names_(names), weather_(weather), random_(seed), manager_(manager), watch_(watch) {}

    /// Any request, at random.
    void AskAnything();
    /// One that changes nothing.
    void AskOnly();
    /// Lists at random; in calm weather all that can succeed has to.
    void Change();
    /// @return the names whose result is no success; nothing but "refused" when it was
    Names Change(const Names& term, const Names& start, const Names& restart, int timeout);
    void Query(const Names& names);
    bool StopAll();
    bool Reload();

private:
    Names Some();
    std::string Ask(unsigned command, const std::string& payload, int timeout,
                    ProcMgr::Milliseconds bound);
    void CheckSuccess(const Names& failed, const Names& term, const Names& start);

    const Names& names_;
    const Weather weather_;
    Random random_;
    std::map<std::string, unsigned> restarts_;
    ProcessManager& manager_;
    Watch& watch_;
};

}  // namespace Schedules
