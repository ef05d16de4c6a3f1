#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <utility>
#include <vector>

#include "platform/linux/source_text.h"

namespace GrpOwnerLinux {

/// A value of a YAML file with its place. An alias is the same node as its anchor.
struct YamlNode {
    enum class Kind {
        kScalar,
        kSequence,
        kMapping,
        kBroken,  // already complained about
    };
    using Entry = std::pair<const YamlNode*, const YamlNode*>;  // the key is always a scalar

    Kind kind = Kind::kScalar;
    Span place;
    std::string text;        // scalar: without quotes and escapes
    bool isQuoted = false;   // scalar
    bool isComplete = true;  // false when the file could not be read to the node's end
    std::vector<const YamlNode*> items;
    std::vector<Entry> entries;  // keys differ
    uint64_t cost = 1;           // of reading it once, aliases followed

    /// A plain scalar without a character: a key with nothing behind it.
    bool IsEmpty() const { return kind == Kind::kScalar && text.empty() && !isQuoted; }
};

/// Owns its nodes. Movable: the nodes stay where they are.
struct YamlTree {
    std::deque<YamlNode> nodes;
    const YamlNode* root = nullptr;  // null for a file without content
    bool isComplete = false;         // read to its end
};

}  // namespace GrpOwnerLinux
