#include "tests/schedules/watch.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "src/common/sync_seeded.h"

namespace Schedules {

using GrpOwnerTest::PmReport;
using ProcMgr::Seeded::ThreadName;

namespace {

/// What stands between two texts of a line; empty when it is another line.
std::string Between(const std::string& line, const std::string& before, const std::string& after) {
    const size_t begin = line.find(before);
    const size_t end = line.find(after, begin == std::string::npos ? begin : begin + before.size());
    return end == std::string::npos
               ? ""
               : line.substr(begin + before.size(), end - begin - before.size());
}

bool Needs(const ParseAndDepend::DependsMap& depends, const std::string& who,
           const std::string& what) {
    const auto entry = depends.find(who);
    return entry != depends.end() &&
           std::any_of(entry->second.begin(), entry->second.end(), [&](const auto& dependency) {
               return dependency == what || Needs(depends, dependency, what);
           });
}

/// The time since boot is the machine's, not the run's.
std::string WithoutStamp(std::string line) {
    const size_t end = line.find("s][BOOT_TRACE]");
    return end == std::string::npos ? line : line.erase(0, end + 2);
}

}  // namespace

void Broken(const std::string& what) {
    std::fflush(stdout);
    std::fprintf(
        stderr, "broken at %lld ms on thread %s: %s\n",
        static_cast<long long>(std::chrono::duration_cast<ProcMgr::Milliseconds>(
                                   ProcMgr::Now().time_since_epoch() - std::chrono::hours(1000))
                                   .count()),
        ThreadName().c_str(), what.c_str());
    _exit(1);
}

void Watch::Note(const std::string& text) {
    ++events_;
    const auto now = std::chrono::duration_cast<ProcMgr::Milliseconds>(
        ProcMgr::Now().time_since_epoch() - std::chrono::hours(1000));
    const std::string line = std::to_string(now.count()) + " " + ThreadName() + ": " + text;
    for (const char character : line) {
        digest_ = (digest_ ^ static_cast<unsigned char>(character)) * 1099511628211U;
    }
    if (isPrinting_) {
        std::printf("%s\n", line.c_str());
    }
}

void Watch::Line(const std::string& text) {
    const std::string line = WithoutStamp(text);
    Note(line);
    const std::string thread = ThreadName();
    if (line == "StartApps begin.") {
        starts_[thread] = {events_, ParseAndDepend::GetInstance().GetApplicationDependsMap(), {}};
    } else if (line == "TermApps begin.") {
        terms_[thread] = {events_, ParseAndDepend::GetInstance().GetApplicationDependsMap(), {}};
    } else if (line == "TermApps end." || line.find("TermApps failed time-out.") != line.npos) {
        terms_.erase(thread);
    } else if (line.find("is not in this group.") != line.npos) {
        strangers_.insert(thread);
    }
    const std::string name = Between(line, "ReportTermAppResult: appName=", ",");
    if (!name.empty()) {
        told_[name].termResult = events_;
    }
}

void Watch::Request(const GrpOwnerTest::PmRequest& request) {
    std::string text = "request " + std::to_string(request.type) + ":";
    std::set<std::string> names;
    for (const auto& app : request.apps) {
        text += " " + app.name;
        Check(names.insert(app.name).second, app.name + " stands twice in a request");
        const Told& told = told_[app.name];
        if (request.type == GrpOwnerTest::kRestart && told.endWasTold < told.endBegan) {
            crossed_.insert(app.name);
        }
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
    Check(batch.began > 0, name + " is started by no batch");
    Check(batch.sent.insert(name).second, name + " is sent for start twice by a batch");
    for (const std::string& dependency : batch.depends[name]) {
        const Told& told = told_[dependency];
        // Until the report of its end has been taken in whole, it may still count as running.
        const bool isUp = told.running > told.endBegan || told.endWasTold < told.endBegan;
        const bool ran = told.running > 0 && (isUp || told.endWasTold >= batch.began);
        Check(ran || batch.depends.count(dependency) == 0,
              name + " is sent for start, but " + dependency + " was not seen running");
    }
}

void Watch::CheckTerm(const std::set<std::string>& names) {
    Batch& batch = terms_[ThreadName()];
    const std::set<std::string> before = batch.sent;
    batch.sent.insert(names.begin(), names.end());
    for (const std::string& name : names) {
        for (const std::string& other : batch.sent) {
            const Told& told = told_[other];
            Check(!Needs(batch.depends, other, name) ||
                      std::max(told.termResult, told.endWasTold) >= batch.began,
                  name + " is terminated before its dependant " + other + " has a result");
            Check(!Needs(batch.depends, name, other) || before.count(name) > 0,
                  name + " is terminated behind " + other + ", which it depends on");
        }
    }
}

void Watch::BeginReport(const PmReport& report) {
    Note("report " + std::to_string(report.type) + " of " + report.name);
    Told& told = told_[report.name];
    const bool isEnd =
        report.type == GrpOwnerTest::kExited || report.type == GrpOwnerTest::kCrashed;
    (isEnd ? told.endBegan : told.running) = events_;
    notices_[ThreadName()].clear();
    strangers_.erase(ThreadName());
}

// A stop is told of whatever the owner held of the application; a start, if it counts as one.
void Watch::EndReport(const PmReport& report) {
    Note("end of report");
    if (report.type != GrpOwnerTest::kStarted && report.type != GrpOwnerTest::kRestarted) {
        told_[report.name].endWasTold = events_;
    }
    std::vector<std::string> notices = TakeNotices();
    if (strangers_.count(ThreadName()) > 0) {
        Check(notices.empty(), "a notice of a foreign application");
        return;
    }
    const auto isFirst = [&](const char* what) {
        return !notices.empty() && notices.front() == report.name + " " + what;
    };
    switch (report.type) {
        case GrpOwnerTest::kExited:
            return Check(notices.size() == 1 && isFirst("1"), "no notice of an exit");
        case GrpOwnerTest::kCrashed:
            return Check(notices.size() == 1 && isFirst("4"), "no notice of a crash");
        case GrpOwnerTest::kRestarted:
            return Check(notices.size() <= 2 && isFirst("1"), "no notice of a restart's stop");
        case GrpOwnerTest::kStarted:
            return Check(notices.empty() || (notices.size() == 1 && isFirst("0")),
                         "a wrong notice of a start");
        default:
            return Check(notices.empty(), "a notice of a termination that failed");
    }
}

void Watch::OwnWord(const std::string& name) {
    Note(name + " says that it runs");
    told_[name].running = events_;
}

void Watch::Notice(const std::string& name, ProcMgr::AppReportState state) {
    notices_[ThreadName()].push_back(name + " " + std::to_string(static_cast<uint32_t>(state)));
    Note("notice " + notices_[ThreadName()].back());
}

std::vector<std::string> Watch::TakeNotices() {
    return std::exchange(notices_[ThreadName()], {});
}

}  // namespace Schedules
