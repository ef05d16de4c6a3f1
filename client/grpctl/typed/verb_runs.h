#pragma once
// What the verbs do. Each returns its exit code or throws a Failure.

#include <string>
#include <vector>

#include "client/grpctl/typed/options.h"

namespace GrpCtl {

int RunList(const Options& options);
int RunStatus(const Options& options);
int RunIsRunning(const Options& options);
int RunWait(const Options& options);

int RunStart(const Options& options);
int RunStop(const Options& options);
int RunRestart(const Options& options);
int RunChange(const Options& options);
int RunStopAll(const Options& options);

int RunCheck(const Options& options);
int RunGraph(const Options& options);

int RunSetState(const Options& options);
std::vector<std::string> SystemStateNames();
int RunVerify(const Options& options);
int RunReload(const Options& options);
int RunDump(const Options& options);

int RunTimeline(const Options& options);
int RunCriticalChain(const Options& options);
int RunWatch(const Options& options);
int RunWhy(const Options& options);
int RunLimits(const Options& options);
int RunEvents(const Options& options);
int RunLog(const Options& options);
int RunRaw(const Options& options);
int RunDecode(const Options& options);

}  // namespace GrpCtl
