#pragma once
// What leaves the platform's library: everything is compiled hidden, and this marks the exceptions.

#define GRPOWNER_PLATFORM_EXPORT __attribute__((visibility("default")))
