#include "tests/schedules/watch.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <utility>

#include "src/common/sync_seeded.h"

namespace Schedules {

using GrpOwnerTest::PmReport;
using ProcMgr::Seeded::ThreadName;

namespace {

std::string NowText() {
    const auto now = ProcMgr::Now().time_since_epoch() % std::chrono::hours(1000);
    return std::to_string(now / Milliseconds(1)) + " " + ThreadName();
}

}  // namespace

void Check(bool holds, const std::string& what) {
    if (!holds) {
        std::fflush(stdout);
        std::fprintf(stderr, "%s: %s\n", NowText().c_str(), what.c_str());
        _exit(1);
    }
}

void Watch::Note(const std::string& text) {
    ++events_;
    const std::string line = NowText() + ": " + text;
    for (const char character : line) {
        digest_ = (digest_ ^ static_cast<unsigned char>(character)) * 1099511628211U;
    }
    if (isPrinting_) {
        std::printf("%s\n", line.c_str());
    }
}

void Watch::Line(std::string line) {
    // The time since boot is the machine's, not the run's.
    if (const size_t stamp = line.find("[BOOT_TRACE]"); stamp != line.npos) {
        line.erase(0, stamp);
    }
    Note(line);
    const auto has = [&line](const char* text) { return line.find(text) != line.npos; };
    const auto batch = [this] {
        return Batch{events_, ParseAndDepend::GetInstance().GetApplicationDependsMap(), {}, {}};
    };
    const auto nameBehind = [&line](const std::string& text) {
        const size_t begin = line.find(text) + text.size();
        return line.substr(begin, line.find_first_of(", ", begin) - begin);
    };
    constexpr char kResult[] = "ReportTermAppResult: appName=";
    constexpr char kRestarting[] = "RestartingApplicationState appName:";
    constexpr char kOffer[] = "Add to termAppList term info: name=";
    if (has("StartApps begin.")) {
        starts_[ThreadName()] = batch();
    } else if (has("TermApps begin.")) {
        terms_[ThreadName()] = batch();
    } else if (has("TermApps failed time-out.")) {
        CheckTimeOut(terms_[ThreadName()]);
        terms_.erase(ThreadName());
    } else if (has("TermApps end.")) {
        terms_.erase(ThreadName());
    } else if (has("is not in this group.")) {
        foreign_.insert(ThreadName());
    } else if (has(kRestarting) && has("ReportTerminated")) {
        crossed_.insert(nameBehind(kRestarting));
    } else if (has(kOffer)) {
        terms_[ThreadName()].offered.insert(nameBehind(kOffer));
    } else if (has(kResult)) {
        Told& told = told_[nameBehind(kResult)];
        told.termResult = events_;
        told.termResultTime = ProcMgr::Now();
    }
}

void Watch::Request(const GrpOwnerTest::PmRequest& request) {
    std::string text = "request " + std::to_string(request.type) + ":";
    std::set<std::string> names;
    for (const auto& app : request.apps) {
        text.append(" ").append(app.name);
        Check(names.insert(app.name).second, app.name + " stands twice in a request");
    }
    Note(text);
    if (request.type == GrpOwnerTest::kStart) {
        std::for_each(names.begin(), names.end(), [this](const auto& name) { CheckStart(name); });
    } else if (request.type == GrpOwnerTest::kTerm && terms_.count(ThreadName()) > 0) {
        CheckTerm(names);
    }
}

void Watch::CheckStart(const std::string& name) {
    Batch& batch = starts_[ThreadName()];
    Check(batch.sent.insert(name).second, name + " is sent for start twice by a batch");
    for (const std::string& dependency : batch.depends[name]) {
        const Told& told = told_[dependency];
        // Until the report of its end has been taken in whole, it may still count as running.
        const bool isUp = told.running > told.endBegan || told.endWasTold < told.endBegan;
        const bool ran = told.running > 0 && (isUp || told.endWasTold >= batch.began);
        Check(ran || batch.depends.count(dependency) == 0,
              std::string(name)
                  .append(" is sent for start, but not seen running was ")
                  .append(dependency));
    }
}

bool Watch::HasResult(const std::string& name, const Batch& batch) {
    return std::max(told_[name].termResult, told_[name].endWasTold) >= batch.began;
}

/// Whether there is a way from one to the other along dependencies that have no result yet.
bool Watch::Needs(const std::string& who, const std::string& what, const Batch& batch) {
    const auto entry = batch.depends.find(who);
    return entry != batch.depends.end() &&
           std::any_of(entry->second.begin(), entry->second.end(), [&](const auto& dependency) {
               return dependency == what ||
                      (!HasResult(dependency, batch) && Needs(dependency, what, batch));
           });
}

void Watch::CheckTerm(const std::set<std::string>& names) {
    Batch& batch = terms_[ThreadName()];
    const std::set<std::string> before = batch.sent;
    batch.sent.insert(names.begin(), names.end());
    for (const std::string& name : names) {
        for (const std::string& other : batch.sent) {
            const std::string both = std::string(name).append(" and ").append(other);
            Check(HasResult(other, batch) || !Needs(other, name, batch),
                  both + ": the first is terminated before its dependant has a result");
            Check(before.count(name) > 0 || !Needs(name, other, batch),
                  both + ": the first is terminated behind what it depends on");
        }
    }
}

// A failed termination, too, frees what the application depends on. A result that comes together
// with the deadline may be too late.
void Watch::CheckTimeOut(const Batch& batch) {
    Check(std::any_of(batch.offered.begin(), batch.offered.end(),
                      [&](const std::string& name) {
                          const Told& told = told_[name];
                          return told.termResult < batch.began ||
                                 told.termResultTime == ProcMgr::Now();
                      }),
          "terminations end by time-out, but nothing that was to end is without a result");
}

void Watch::BeginReport(const PmReport& report) {
    Note("report " + std::to_string(report.type) + " of " + report.name);
    const bool isEnd =
        report.type == GrpOwnerTest::kExited || report.type == GrpOwnerTest::kCrashed;
    (isEnd ? told_[report.name].endBegan : told_[report.name].running) = events_;
    (void)TakeNotices();
    foreign_.erase(ThreadName());
}

// An end is told of whatever the owner held of the application; a start, if it counts as one.
void Watch::EndReport(const PmReport& report) {
    Note("end of report");
    if (report.type == GrpOwnerTest::kExited || report.type == GrpOwnerTest::kCrashed) {
        told_[report.name].endWasTold = events_;
    }
    Names notices = TakeNotices();
    const bool mayRun =
        report.type == GrpOwnerTest::kStarted || report.type == GrpOwnerTest::kRestarted;
    if (mayRun && !notices.empty() && notices.back() == report.name + " 0") {
        notices.pop_back();
    }
    const std::map<uint32_t, const char*> ends = {{GrpOwnerTest::kRestarted, " 1"},
                                                  {GrpOwnerTest::kExited, " 1"},
                                                  {GrpOwnerTest::kCrashed, " 4"}};
    const auto end = ends.find(report.type);
    const bool isTold = end != ends.end() && foreign_.count(ThreadName()) == 0;
    Check(notices == (isTold ? Names{report.name + end->second} : Names{}),
          "the wrong notices of a report");
}

void Watch::OwnWord(const std::string& name) {
    Note(name + " says that it runs");
    told_[name].running = events_;
}

void Watch::Notice(const std::string& notice) {
    Note("notice " + notice);
    notices_[ThreadName()].push_back(notice);
}

Names Watch::TakeNotices() {
    return std::exchange(notices_[ThreadName()], {});
}

}  // namespace Schedules
