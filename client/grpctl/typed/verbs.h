#pragma once
// The one table of what can be typed. Parser and help are made from it.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "client/grpctl/typed/options.h"

namespace GrpCtl {

struct Verb {
    std::string_view name;
    std::string_view operands;  // as the help shows them
    size_t least, most;         // how many operands
    bool takesArguments;        // behind "--"
    std::string_view summary;
    std::string_view details;  // of its own help; may be empty
    int (*run)(const Options& options);
};

constexpr size_t kAnyNumber = static_cast<size_t>(-1);

struct Switch {
    std::string_view spelling;  // "-q,--quiet"
    std::string_view value;     // as the help shows it; empty: the switch has none
    std::string_view words;     // its values, separated by '|'; empty: any
    std::string_view verbs;     // separated by blanks; empty: all
    std::string_view help;
    void (*apply)(Options& options, const std::string& value);
};

const std::vector<Verb>& Verbs();
const std::vector<Switch>& Switches();

const Verb* FindVerb(std::string_view name);
bool Applies(const Switch& entry, std::string_view verb);

/// Pieces of a text between separators.
std::vector<std::string> Split(std::string_view text, char separator);

}  // namespace GrpCtl
