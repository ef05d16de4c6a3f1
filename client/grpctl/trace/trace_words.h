#pragma once
// What stands in a trace, in people's words.

#include <chrono>
#include <map>
#include <optional>
#include <string>

#include "client/grpctl/trace/chronicle.h"
#include "client/grpctl/trace/trace_line.h"

namespace GrpCtl {

/// Application to `restart` of its configuration; nothing of those that are not known.
using Policies = std::map<std::string, std::string>;

/// "not started", "stopping".
std::string WordOf(ProcMgr::AppStateType state);

/// "start", "stop", "restart".
std::string WordOf(ProcMgr::OptionType operation);

/// "root, pid 9304"; "the owner itself" for what nobody else has asked for.
std::string Requester(const TraceStep& request, int ownerPid);

/// "boot", "asked by root, pid 9304", "stop-all by root, pid 9304", "after a lost heartbeat".
std::string AskedWords(const TraceStep& request, int ownerPid);

/// "restart 1 of 5 in 60s (on-failure)": of a decision of the limiter.
std::string RestartWords(const TraceStep& decision, const Policies& policies);

/// "6 crashes in 28s, limit 5 in 60s": of one that refuses.
std::string RefusalWords(const TraceStep& decision);

/// "SIGSEGV, pid 48213, up 2m14s": of a transition to TERMINATED.
std::string EndWords(const StepFacts& facts);

/// "1.3s after the time-out".
std::string LateWords(uint32_t lateMs);

/// As short as it stays useful: "0.7ms", "146ms", "1.18s", "2m14s".
std::string Show(std::chrono::nanoseconds duration);

}  // namespace GrpCtl
