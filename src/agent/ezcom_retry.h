#pragma once
// The pipe service's functions, repeated while they answer that they are busy. Each returns the
// last result and may be called on any thread; a busy pipe holds its caller for two seconds at
// most.

#include "platform/pipe_service.h"

namespace ProcMgr {

int ProcMgrEzcomSendRequest(int fd, const EzcomRequest* request);
int ProcMgrEzcomSendResponse(int fd, const EzcomResponse* response);
int ProcMgrEzcomRPCSync(int fd, EzcomRequest* request, EzcomResponse* response);

/// @param timeoutMs milliseconds, anew for each call
int ProcMgrEzcomTimedRPCSync(int fd, EzcomRequest* request, EzcomResponse* response, int timeoutMs);

int ProcMgrEzcomClosePipe(int fd);

}  // namespace ProcMgr
