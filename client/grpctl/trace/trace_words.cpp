#include "client/grpctl/trace/trace_words.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdio>
#include <vector>

#include "client/grpctl/text/duration.h"
#include "src/common/restart_window.h"

namespace GrpCtl {

namespace {

using ProcMgr::AppStateType;
using ProcMgr::OptionType;
using ProcMgr::TraceRequest;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;

std::string UserName(uint32_t uid) {
    static std::map<uint32_t, std::string> known;  // a look-up may ask a server
    const auto entry = known.find(uid);
    if (entry != known.end()) {
        return entry->second;
    }
    passwd account{};
    passwd* found = nullptr;
    std::vector<char> texts(16384);
    const int error = getpwuid_r(uid, &account, texts.data(), texts.size(), &found);
    return known[uid] =
               error == 0 && found != nullptr ? found->pw_name : "user " + std::to_string(uid);
}

std::string WindowWords() {
    return std::to_string(ProcMgr::kRestartWindow / 1000) + "s";
}

}  // namespace

std::string WordOf(AppStateType state) {
    constexpr const char* kWords[] = {"not started", "running",  "starting",
                                      "restarting",  "stopping", "stopped"};
    return kWords[static_cast<size_t>(state)];
}

std::string WordOf(OptionType operation) {
    constexpr const char* kWords[] = {"start", "stop", "restart"};
    return kWords[static_cast<size_t>(operation)];
}

std::string Requester(const TraceStep& request, int ownerPid) {
    if (request.pid == 0 || request.pid == ownerPid) {
        return "the owner itself";
    }
    return UserName(request.uid) + ", pid " + std::to_string(request.pid);
}

std::string AskedWords(const TraceStep& request, int ownerPid) {
    switch (request.request) {
        case TraceRequest::BOOT:
            return "boot";
        case TraceRequest::RESTART:
            if (request.cause != 0) {
                return "after a lost heartbeat";
            }
            [[fallthrough]];
        case TraceRequest::CHANGE:
            return "asked by " + Requester(request, ownerPid);
        default:
            return std::string(NameOf(request.request)) + " by " + Requester(request, ownerPid);
    }
}

std::string RestartWords(const TraceStep& decision, const Policies& policies) {
    const auto policy = policies.find(decision.application);
    const std::string name = policy == policies.end() ? "" : " (" + policy->second + ")";
    if (decision.restarts > 0) {
        return "restart " + std::to_string(decision.restarts) + " of " +
               std::to_string(ProcMgr::kRestartLimit) + " in " + WindowWords() + name;
    }
    // Either nobody counts, or the last of the window came after its end.
    return "restart" + name;
}

std::string RefusalWords(const TraceStep& decision) {
    return std::to_string(ProcMgr::kRestartLimit + 1) + " crashes in " +
           ShowDuration(milliseconds(decision.windowMs)) + ", limit " +
           std::to_string(ProcMgr::kRestartLimit) + " in " + WindowWords();
}

std::string EndWords(const StepFacts& facts) {
    std::string words = facts.end ? WordsOf(*facts.end) : "";
    if (facts.pid > 0) {
        words += (words.empty() ? "pid " : ", pid ") + std::to_string(facts.pid);
    }
    if (facts.up) {
        words += (words.empty() ? "up " : ", up ") + Show(*facts.up);
    }
    return words;
}

std::string LateWords(uint32_t lateMs) {
    constexpr uint32_t kSecond = 1000;
    constexpr uint32_t kTenth = kSecond / 10;
    const std::string time = lateMs >= kSecond && lateMs < 60 * kSecond
                                 ? std::to_string(lateMs / kSecond) + "." +
                                       std::to_string(lateMs % kSecond / kTenth) + "s"
                                 : ShowDuration(milliseconds(lateMs));
    return time + " after the time-out";
}

std::string Show(nanoseconds duration) {
    constexpr milliseconds kExact{10};
    if (duration < kExact) {
        char text[16];
        (void)std::snprintf(text, sizeof(text), "%.1fms",
                            static_cast<double>(duration.count()) / 1e6);
        return text;
    }
    return ShowDuration(std::chrono::duration_cast<milliseconds>(duration));
}

}  // namespace GrpCtl
