#pragma once

#include <cstdint>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "platform/manifest_service.h"
#include "src/common/sync.h"
#include "tests/support/pm_records.h"

namespace Schedules {

using Names = std::vector<std::string>;
using Random = std::mt19937_64;
using ProcMgr::Milliseconds;

inline bool Chance(Random& random, unsigned percent) {
    return random() % 100 < percent;
}

template <typename List>
auto OneOf(const List& list, Random& random) {
    return *(std::begin(list) + static_cast<std::ptrdiff_t>(random() % std::size(list)));
}

/// What a seed makes of the world around the owner.
enum class Weather {
    kCalm,    // one change set at a time, nothing goes wrong: all ends soon
    kHonest,  // applications end and managers get in each other's way; every report is true
    kStormy,  // reports are lost, late, doubled, in no order; sends fail; the process manager dies
};

/// When it does not hold, says what is broken and ends the process.
void Check(bool holds, const std::string& what);

/// Sees each line of the owner's log, each request to the process manager, each report and each
/// notice, and judges their order. Needs no lock: none of its functions has a point at which
/// another thread could go on.
class Watch {
public:
    explicit Watch(bool isPrinting) : isPrinting_(isPrinting) {}

    /// Of everything that happened; two runs of a seed have the same.
    uint64_t Digest() const { return digest_; }

    void Line(std::string line);
    /// On the thread that sends.
    void Request(const GrpOwnerTest::PmRequest& request);
    /// Around the delivery of one report on the calling thread.
    void BeginReport(const GrpOwnerTest::PmReport& report);
    void EndReport(const GrpOwnerTest::PmReport& report);
    void OwnWord(const std::string& name);
    void Notice(const std::string& notice);
    /// The notices on the calling thread since the last call.
    Names TakeNotices();

    /// Whether the application's end was once told while it was to restart. When that end is from
    /// before the request, the owner holds for down what the process manager then brings up.
    bool HasCrossed(const std::string& name) const { return crossed_.count(name) > 0; }

private:
    /// What the owner was told of an application; numbers of events, 0 for never.
    struct Told {
        uint64_t running = 0, endBegan = 0, endWasTold = 0, termResult = 0;
        ProcMgr::TimePoint termResultTime{};
    };
    /// The batch that a thread is working on.
    struct Batch {
        uint64_t began = 0;
        ParseAndDepend::DependsMap depends;
        std::set<std::string> offered;  // for termination, sent or not
        std::set<std::string> sent;
    };

    void Note(const std::string& text);
    void CheckStart(const std::string& name);
    bool HasResult(const std::string& name, const Batch& batch);
    bool Needs(const std::string& who, const std::string& what, const Batch& batch);
    void CheckTerm(const std::set<std::string>& names);
    void CheckTimeOut(const Batch& batch);

    const bool isPrinting_;
    uint64_t events_ = 0;
    uint64_t digest_ = 14695981039346656037U;
    std::map<std::string, Told> told_;
    std::map<std::string, Batch> starts_;  // by thread, as all below
    std::map<std::string, Batch> terms_;
    std::map<std::string, Names> notices_;
    std::set<std::string> foreign_;  // whose report was of nobody's application
    std::set<std::string> crossed_;  // names of applications
};

}  // namespace Schedules
