#include "client/grpctl/trace/limits.h"

#include <algorithm>

#include "src/common/restart_window.h"

namespace GrpCtl {

namespace {

using ProcMgr::kRestartLimit;
using ProcMgr::TraceKind;
using std::chrono::milliseconds;

constexpr int64_t kNsPerMs = 1'000'000;

// A reload makes new records of all applications, none of which has a window.
bool IsClosedByReload(const std::string& application, const Trace& trace) {
    for (auto step = trace.steps.rbegin(); step != trace.steps.rend(); ++step) {
        if (step->kind == TraceKind::LIMITER && step->application == application) {
            return false;
        }
        if (step->kind == TraceKind::REQUEST_END && step->isGood &&
            step->request == ProcMgr::TraceRequest::RELOAD) {
            return true;
        }
    }
    return false;
}

NextFailure Predict(const Limit& limit) {
    if (limit.policy.empty()) {
        return NextFailure::kUnknown;
    }
    if (limit.policy == "on-forever") {
        return NextFailure::kAlwaysRestarts;
    }
    if (limit.policy != "on-failure") {
        return NextFailure::kStaysDown;
    }
    // Only the attempt after the last one that is allowed looks at the age of the window.
    return limit.left.count() > 0 ? NextFailure::kRefused : NextFailure::kRestarts;
}

}  // namespace

uint32_t Limit::Left() const {
    return used < kRestartLimit ? kRestartLimit - used : 0;
}

Limit LimitOf(const std::string& application, const std::string& policy, const Trace& trace,
              int64_t now) {
    Limit limit;
    limit.application = application;
    limit.policy = policy;
    const auto state =
        std::find_if(trace.states.begin(), trace.states.end(),
                     [&](const TraceState& entry) { return entry.application == application; });
    if (state != trace.states.end() && state->windowBegin > 0 &&
        !IsClosedByReload(application, trace)) {
        limit.used = state->restarts;
        limit.age = milliseconds(std::max<int64_t>(now - state->windowBegin, 0) / kNsPerMs);
        if (limit.used >= kRestartLimit) {
            // A window of exactly that age still refuses.
            limit.left =
                std::max(milliseconds(ProcMgr::kRestartWindow + 1) - *limit.age, milliseconds(0));
        }
    }
    limit.next = Predict(limit);
    return limit;
}

}  // namespace GrpCtl
