#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/pm_records.h"

namespace GrpOwnerTest {

/// What becomes of an application that the process manager is asked to start or restart.
enum class Fate {
    kRuns,
    kStaysSilent,  // no report ever
    kCrashes,
    kCannotStart,  // the start-time I/O failure
    kExits,
};

/// How the process manager answers; chances in percent.
struct Habits {
    unsigned inside = 0;    // on the sender's thread, before its send call returns
    unsigned together = 1;  // at most so many reports in one record
    bool shuffled = false;  // in random order
};

/// What happened, in the order in which it did.
struct PmEvent {
    enum Kind { kAskedStart, kAskedRestart, kAskedTerm, kRunning } kind;
    std::string name;
};

/// A process manager by script over the pipe in memory. Requests are read on the owner's threads;
/// answers are given on a thread of its own, one record after the other, unless the habits say
/// otherwise; only queries are always answered inside the send call. Its mutex guards everything
/// and is held during no call to the owner.
class ScriptedPm {
public:
    explicit ScriptedPm(uint64_t seed = 1);
    ~ScriptedPm();
    ScriptedPm(const ScriptedPm&) = delete;
    ScriptedPm& operator=(const ScriptedPm&) = delete;

    void SetHabits(const Habits& habits);
    void SetFate(const std::string& name, Fate fate);

    /// Applications that say themselves that they run, and how they do it. Their word and the
    /// started report overtake one another when the habits are shuffled.
    void SetReadiness(std::set<std::string> names,
                      std::function<void(const std::string& name, uint32_t pid)> say);

    /// Called once, on the sender's thread before the next request is read, with that one's type:
    /// what it sends itself overtakes that request.
    void SetOvertaker(std::function<void(uint32_t type)> overtake);

    /// Keeps all answers back until released.
    void Hold();
    void Release();

    /// Reports on the calling thread, as one record.
    void Report(const std::vector<PmReport>& reports);

    /// Waits until nothing is left to answer. False when that never happens.
    [[nodiscard]] bool WaitIdle();

    std::vector<PmEvent> Events() const;
    size_t Count(PmEvent::Kind kind, const std::string& name) const;
    uint32_t PidOf(const std::string& name) const;
    /// The latest start or restart request of the name.
    PmAppRequest LastRequest(const std::string& name) const;

private:
    struct Answer {
        PmReport report;
        bool isOwnWord = false;  // the application's, not a report
    };

    void Receive(const std::string& bytes);
    std::function<void(uint32_t)> TakeOvertaker();
    void AnswerQuery();
    void TakeRequest(uint32_t type, const PmAppRequest& app, std::vector<Answer>& atOnce);
    PmReport ReportFor(uint32_t type, const std::string& name);
    void Give(const std::vector<Answer>& answers);
    std::vector<Answer> TakeAnswers();
    void Work();
    bool Chance(unsigned percent);

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::mt19937_64 random_;
    Habits habits_;
    std::map<std::string, Fate> fates_;
    std::set<std::string> reporting_;
    std::function<void(const std::string&, uint32_t)> say_;
    std::function<void(uint32_t)> overtake_;
    std::map<std::string, uint32_t> pids_;
    std::set<std::string> ended_;  // by request; another one is not answered again
    std::map<std::string, PmAppRequest> requests_;
    std::vector<PmEvent> events_;
    std::vector<Answer> answers_;  // still to be given
    uint32_t nextPid_ = 1000;
    bool held_ = false;
    bool busy_ = false;
    bool stop_ = false;
    std::thread worker_;
};

}  // namespace GrpOwnerTest
