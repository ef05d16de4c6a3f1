#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "grpowner/enumerations.h"
#include "platform/manifest_service.h"
#include "tests/support/pm_records.h"

namespace Schedules {

/// Says which rule is broken and ends the process.
[[noreturn]] void Broken(const std::string& what);

inline void Check(bool holds, const std::string& what) {
    if (!holds) {
        Broken(what);
    }
}

/// Sees each line of the owner's log, each request to the process manager, each report and each
/// notice, and judges their order. Needs no lock: none of its functions has a point at which
/// another thread could go on.
class Watch {
public:
    explicit Watch(bool isPrinting) : isPrinting_(isPrinting) {}

    /// Of everything that happened; two runs of a seed have the same.
    uint64_t Digest() const { return digest_; }

    void Line(const std::string& text);
    /// On the thread that sends.
    void Request(const GrpOwnerTest::PmRequest& request);
    /// Around the delivery of one report on the calling thread.
    void BeginReport(const GrpOwnerTest::PmReport& report);
    void EndReport(const GrpOwnerTest::PmReport& report);
    void OwnWord(const std::string& name);
    void Notice(const std::string& name, ProcMgr::AppReportState state);
    /// Whether a request to restart the application once crossed the report of its end. The owner
    /// takes that for the end of the restart, and then holds for down what the process manager
    /// runs.
    bool HasCrossed(const std::string& name) const { return crossed_.count(name) > 0; }

    /// The notices on the calling thread since the last call.
    std::vector<std::string> TakeNotices();

private:
    /// What the owner was told of an application; numbers of events, 0 for never.
    struct Told {
        uint64_t running = 0;
        uint64_t endBegan = 0;
        uint64_t endWasTold = 0;
        uint64_t termResult = 0;
    };
    /// The batch that a thread is working on.
    struct Batch {
        uint64_t began = 0;
        ParseAndDepend::DependsMap depends;
        std::set<std::string> sent;
    };

    void Note(const std::string& text);
    void CheckStart(const std::string& name);
    void CheckTerm(const std::set<std::string>& names);

    const bool isPrinting_;
    uint64_t events_ = 0;
    uint64_t digest_ = 14695981039346656037U;
    std::map<std::string, Told> told_;
    std::map<std::string, Batch> starts_;  // by thread
    std::map<std::string, Batch> terms_;
    std::map<std::string, std::vector<std::string>> notices_;
    std::set<std::string> crossed_;
    std::set<std::string> strangers_;  // threads whose report was of nobody's application
};

}  // namespace Schedules
