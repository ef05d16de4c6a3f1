#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace GrpOwnerReplay {

enum class Kind { kIn, kOut, kAsk, kGot, kLog, kStep };

struct Entry {
    size_t number = 0;  // of its line
    std::chrono::nanoseconds time{0};
    std::string thread;
    Kind kind = Kind::kStep;
    std::string what;  // of a line its level, of a step its letter
    std::vector<std::string> fields;
};

/// A recording as it was read. See docs/recording.md for the file.
struct Recording {
    std::vector<Entry> entries;
    std::map<std::string, std::string> environment;
    std::map<std::string, std::string> paths;  // as given, as they are
    bool isWhole = false;                      // ended in order
    size_t dropped = 0;                        // bytes behind the last whole line
    std::string error;                         // why it cannot be used; empty: it can
};

/// Steps that belong to nothing that has come in are left out: they are the host's own.
Recording ReadRecording(std::string_view text);

/// All of a file, one line an entry with its number and the time since the beginning.
std::string ListRecording(std::string_view text);

}  // namespace GrpOwnerReplay
