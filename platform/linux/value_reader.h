#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/findings.h"
#include "platform/linux/identity_lookup.h"
#include "platform/linux/yaml_node.h"
#include "platform/manifest_service.h"

namespace GrpOwnerLinux {

/// A value and the key that it stands behind.
struct Field {
    std::string_view key;
    std::string_view example;  // a good line of the file, for the help
    const YamlNode& node;
};

/// Whether `text` may stand in a record between the processes, whose fields are separated by `#`.
/// @param reason what may not, when the result is false
bool FitsRecord(std::string_view text, std::string& reason);

/// Reads values of a configuration. An operation that answers nothing has told what is wrong.
class ValueReader {
public:
    ValueReader(Findings& findings, const ParseAndDepend::MatchData& matchData)
        : findings_(findings), matchData_(matchData) {}

    /// A value as it stands, after replacement.
    std::optional<std::string> Scalar(const Field& field);

    /// A text that fits a record, after replacement.
    std::optional<std::string> Text(const Field& field);
    std::optional<std::string> AbsolutePath(const Field& field);
    std::optional<std::string> RelativePath(const Field& field);
    std::optional<bool> Bool(const Field& field);
    std::optional<int32_t> Number(const Field& field);

    /// One of the words, by its index.
    /// @param what is "a restart policy"
    std::optional<size_t> Word(const Field& field, std::string_view what,
                               const std::vector<std::string_view>& words);

    /// A time in milliseconds, at least `least` of them, an hour at most.
    std::optional<uint32_t> Milliseconds(const Field& field, uint32_t least);

    /// Cores, rising: a list, or a text like "0-3,6".
    std::optional<std::vector<uint32_t>> Cores(const Field& field);

    std::optional<uint32_t> User(const Field& field);
    std::optional<uint32_t> Group(const Field& field);

    bool IsSequence(const Field& field);
    bool IsMapping(const Field& field);

    /// Says that `key` is not among the `known` ones.
    /// @param what is "a key of an application"
    /// @return which one is probably meant; may be empty
    std::string_view RefuseKey(const YamlNode& key, std::string_view what,
                               const std::vector<std::string_view>& known);

    Findings& Complaints() { return findings_; }

private:
    bool IsKind(const Field& field, YamlNode::Kind kind, std::string_view demand);
    void Refuse(const Field& field, std::string message, std::string help = {});
    bool AddCores(const Field& field, std::string_view range, std::set<uint32_t>& cores);
    std::optional<uint32_t> Identity(const Field& field, bool isUser);

    Findings& findings_;
    const ParseAndDepend::MatchData& matchData_;
    IdentityLookup identities_;
    size_t filledIn_ = 0;  // bytes of texts with replacements
};

}  // namespace GrpOwnerLinux
