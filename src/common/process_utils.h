#pragma once

#include <cstdint>
#include <string>

namespace ProcMgr {

/// Stamps a message of the boot trace with the seconds since boot:
/// "[5.000000s][BOOT_TRACE][message]". Empty when there is no running counter.
std::string BootStrace(const std::string& message);

/// The stamp for a given counter of `frequency` ticks a second; empty when that is 0.
std::string FormatBootStrace(uint64_t counter, uint64_t frequency, const std::string& message);

/// Whether every character is a decimal digit; true for the empty string.
bool IsStrDigits(const std::string& text);

}  // namespace ProcMgr
