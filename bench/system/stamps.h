#pragma once
// What the applications of a measured group write down about themselves: a file in shared memory
// with a head and one slot for each application. Times are nanoseconds of the monotonic clock.

#include <stdint.h>
#include <time.h>

enum { kSlotSize = 64 };

struct Slot {
    uint64_t begun;  // the program's first instruction that is ours
    uint64_t ready;  // just before it says so
    uint64_t ended;  // after SIGTERM, just before it exits
    uint32_t pid;
    uint32_t starts;  // how often it became ready
    uint8_t padding[32];
};

struct Stamps {
    uint32_t ready;  // how often any of them became ready
    uint32_t ended;
    uint8_t padding[56];
    struct Slot slots[];
};

_Static_assert(sizeof(struct Slot) == kSlotSize, "the runner reads it by offset");
_Static_assert(sizeof(struct Stamps) == kSlotSize, "the head is as large as a slot");

static inline uint64_t Now(void) {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (uint64_t)now.tv_sec * 1000000000U + (uint64_t)now.tv_nsec;
}
