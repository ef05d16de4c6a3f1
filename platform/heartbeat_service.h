#pragma once
// The platform's heartbeat service: a process sends its own heartbeat to another one, and checks
// the heartbeats of others.

#include <cstddef>
#include <cstdint>

#include "platform/export.h"

extern "C" {

/// The service's two numbers for a sender; the group owner passes 3 and 1.
struct HeartBeatSendParams {
    uint32_t missedBeats;    // beats that may be missed before the peer is told
    uint32_t periodSeconds;  // seconds between two beats
};

/// Begins to send this process's heartbeat. The names need not be terminated.
/// @return 0 on success, negative errno on failure
GRPOWNER_PLATFORM_EXPORT int RegisterSendHeartBeat(const char* ownName, size_t ownNameLength,
                                                   const char* targetName, size_t targetNameLength,
                                                   const HeartBeatSendParams* params);

/// Ends it; harmless when nothing was registered.
GRPOWNER_PLATFORM_EXPORT int UnregisterSendHeartBeat(void);

/// Told once for each change, on the service's own thread, with no lock of the service held.
/// @param name not terminated
/// @param status 1: lost, 0: back again
/// @return not read
typedef int (*HeartBeatCheckCallback)(const char* name, size_t nameLength, unsigned pid,
                                      int status);

/// Begins to check the heartbeat of the process `name`. Registering a name again is normal: it
/// resets that name's clock.
/// @return 0 on success, negative errno on failure
GRPOWNER_PLATFORM_EXPORT int RegisterCheckHeartBeat(const char* name, size_t nameLength,
                                                    uint32_t gid, HeartBeatCheckCallback callback);

/// Ends the check. No callback for the name begins after the return; harmless when unknown.
GRPOWNER_PLATFORM_EXPORT int UnregisterCheckHeartBeat(const char* name, size_t nameLength);

/// Ends all checks; no callback begins after the return.
GRPOWNER_PLATFORM_EXPORT int DisableAllCheckHeartBeat(void);
}
