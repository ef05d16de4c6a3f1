#pragma once
// The platform's log service.
//
// Both functions may be called on any thread, before main and with any lock of the caller held;
// they must not call back.

#include "platform/export.h"

extern "C" {

/// Whether a line of `module` at `level` would be written.
/// @param level the service's own number: 0 debug, 1 info, 2 warning, 3 error, 16 event
/// @return 1 when it would be written, any other value when not
GRPOWNER_PLATFORM_EXPORT int CheckLogLevel(int module, int level);

/// Writes one line, without asking for the threshold again. A line break is added by the service.
/// @param format printf-style; always a constant of the program, never a text from outside
GRPOWNER_PLATFORM_EXPORT void DlogInner(int module, int level, const char* format, ...)
    __attribute__((format(printf, 3, 4)));
}
