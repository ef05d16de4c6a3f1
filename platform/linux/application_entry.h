#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/linux/source_text.h"
#include "platform/portable/manifest_fields.h"

namespace GrpOwnerLinux {

struct Dependency {
    std::string name;
    Span place;
};

/// One application of the file while it is read: what becomes its manifest, and where that stands.
struct ApplicationEntry {
    ManifestFields fields;
    Span place;  // of its name
    std::vector<Dependency> depends;

    // What the application itself says, whatever `defaults` say; the places of the values.
    std::optional<Span> command;
    bool hasCommandArguments = false;  // `command` is a list of more than the path
    bool mayHaveProgram = false;       // `command` is probably mistyped
    std::optional<Span> args;
    std::optional<Span> sharedObject;
    std::optional<Span> autostart;  // true
    std::optional<Span> restart;
    std::optional<Span> stopTimeout;
};

}  // namespace GrpOwnerLinux
