#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "daemons/grpowner-replay/recording.h"
#include "src/common/sync_seeded.h"

namespace GrpOwnerReplay {

/// The recording as the part that each thread plays. Used by the thread that runs.
///
/// A thread comes from one of its lines, requests or answers to the next; between them are steps.
/// Those that it does not make any more are left out, those that it makes newly go unguided.
class Script : public ProcMgr::Seeded::Guide {
public:
    explicit Script(const std::vector<Entry>& entries);

    /// The threads, in the order in which they appear.
    const std::vector<std::string>& Threads() const { return threads_; }

    /// The thread's next entry that is no step; its steps before that are left out. Null: none.
    const Entry* Peek(const std::string& thread);

    /// The same beyond that one: the first that fits, before the end of what has come in.
    const Entry* Find(const std::string& thread,
                      const std::function<bool(const Entry& entry)>& fits) const;

    /// Leaves the thread's next entry out.
    void Drop(const std::string& thread);

    size_t PassedOver() const { return passedOver_; }

    std::string Next() override;
    std::optional<ProcMgr::Seeded::Step> Foresees(const std::string& thread,
                                                  ProcMgr::Seeded::Step step,
                                                  ProcMgr::Seeded::Step orElse) override;
    void Make(const std::string& thread) override;
    std::chrono::nanoseconds Time() override { return time_; }
    void PassOver() override;

private:
    struct Part {
        std::vector<size_t> places;
        size_t next = 0;
    };

    /// The place of the thread's next entry; the number of entries when there is none.
    size_t PlaceOf(const std::string& thread);

    const std::vector<Entry>& entries_;
    std::vector<bool> isDone_;
    std::vector<std::string> threads_;
    std::map<std::string, Part> parts_;
    size_t next_ = 0;
    size_t passedOver_ = 0;
    std::chrono::nanoseconds time_{0};
};

}  // namespace GrpOwnerReplay
