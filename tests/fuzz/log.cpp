// In the place of the platform's log: every line is put together, so that what it is put together
// from is looked at, and goes nowhere.

#include "platform/log_service.h"

#include <cstdarg>
#include <cstdio>

int CheckLogLevel(int /*module*/, int /*level*/) {
    return 1;
}

void DlogInner(int /*module*/, int /*level*/, const char* format, ...) {
    char text[256];
    va_list arguments;
    va_start(arguments, format);
    (void)vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
}
