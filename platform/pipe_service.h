#pragma once
// The platform's pipe and remote-call service.
//
// A pipe is a connection of two processes that knows their names. Both sides may send requests at
// any time; a request is either one way or waits for an answer. The service owns two threads a
// pipe: a receiving one, which completes synchronous calls, and a handling one, which calls the
// request handler, one request after the other in the order of arrival. So a handler may itself
// send and call on the pipe.
//
// Results: negative errno on failure. -11 (-EAGAIN) is "busy, nothing was sent, try again"; closing
// answers -16 (-EBUSY) while the pipe is in use. All functions may be called on any thread.

#include <cstdint>

#include "platform/export.h"

extern "C" {

/// A request. `data` belongs to whoever fills it in: to the caller while sending, to the service
/// while the handler runs.
struct EzcomRequest {
    const void* data;
    uint32_t size;  // bytes
};

/// An answer. What a synchronous call fills in belongs to the service until the calling thread's
/// next synchronous call; `data` is null when the peer answered without data.
struct EzcomResponse {
    const void* data;
    uint32_t size;  // bytes
};

/// Called on the service's handling thread for each request of the peer.
typedef void (*EzcomRequestHandler)(int fd, const EzcomRequest* request);

struct EzcomOpenParams {
    const char* ownName;          // the caller's process name, not null
    const char* targetName;       // the peer's process name, not null
    uint32_t gid;                 // the caller's group id
    EzcomRequestHandler handler;  // for the peer's requests, not null
    int32_t timeoutMs;            // longest time that opening may take
    // The service's own tuning; the group owner passes 0, 1, -1, -1.
    int32_t flags;
    int32_t version;
    int32_t priority;
    int32_t affinity;
};

/// Opens a pipe to the process of that name.
/// @return a handle greater than 0, or negative errno (-11: busy)
GRPOWNER_PLATFORM_EXPORT int EzcomOpen(const EzcomOpenParams* params);

/// Sends a one-way request: all of it or nothing, without blocking.
/// @return 0 or more on success, negative errno on failure
GRPOWNER_PLATFORM_EXPORT int EzcomSendRequest(int fd, const EzcomRequest* request);

/// Answers the request that the calling handler is handling.
GRPOWNER_PLATFORM_EXPORT int EzcomSendResponse(int fd, const EzcomResponse* response);

/// Sends a request and waits for its answer for the time that the pipe was opened with.
GRPOWNER_PLATFORM_EXPORT int EzcomRPCSync(int fd, EzcomRequest* request, EzcomResponse* response);

/// The same with a time-out in milliseconds (-110, -ETIMEDOUT, when it passes). A later answer is
/// dropped.
GRPOWNER_PLATFORM_EXPORT int EzcomTimedRPCSync(int fd, EzcomRequest* request,
                                               EzcomResponse* response, int timeoutMs);

/// Closes the pipe. Waiting calls fail; no handler of this pipe begins after the return.
GRPOWNER_PLATFORM_EXPORT int EzcomClosePipe(int fd);
}
