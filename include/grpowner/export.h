#pragma once
// What leaves the library: everything is compiled hidden, and this marks the exceptions.

#define GRPOWNER_EXPORT __attribute__((visibility("default")))
