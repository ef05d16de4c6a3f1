#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

namespace GrpCtl {

using Names = std::set<std::string>;

/// Those that are in both.
Names Common(const Names& names, const Names& others);

/// Who needs whom. A value; without cycles (one that came in all the same does no harm).
class Dependencies {
public:
    using Map = std::map<std::string, Names>;

    Dependencies() = default;
    explicit Dependencies(Map needs);

    /// What it needs itself, without what that needs in turn.
    const Names& NeedsOf(const std::string& name) const;
    const Names& NeededBy(const std::string& name) const;

    /// All that they need and all that needs them, directly or through others; not themselves.
    Names AllNeeds(const Names& names) const;
    Names AllNeeding(const Names& names) const;

    /// The names in the order of a start: each wave needs nothing of its own or of a later one, not
    /// even through applications that are not among the names.
    std::vector<std::vector<std::string>> Waves(const Names& names) const;

    /// The names as Waves gives them, one behind the other.
    std::vector<std::string> InOrder(const Names& names) const;

private:
    static const Names& Of(const Map& map, const std::string& name);
    static Names Reach(const Map& map, const Names& names);
    size_t Level(const std::string& name, const Names& names,
                 std::map<std::string, size_t>& levels) const;

    Map needs_;
    Map neededBy_;
};

}  // namespace GrpCtl
