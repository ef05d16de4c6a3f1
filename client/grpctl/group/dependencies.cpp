#include "client/grpctl/group/dependencies.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace GrpCtl {

Names Common(const Names& names, const Names& others) {
    Names both;
    std::set_intersection(names.begin(), names.end(), others.begin(), others.end(),
                          std::inserter(both, both.end()));
    return both;
}

Dependencies::Dependencies(Map needs) : needs_(std::move(needs)) {
    for (const auto& [name, needed] : needs_) {
        for (const std::string& other : needed) {
            neededBy_[other].insert(name);
        }
    }
}

const Names& Dependencies::Of(const Map& map, const std::string& name) {
    static const Names none;
    const auto found = map.find(name);
    return found == map.end() ? none : found->second;
}

const Names& Dependencies::NeedsOf(const std::string& name) const {
    return Of(needs_, name);
}

const Names& Dependencies::NeededBy(const std::string& name) const {
    return Of(neededBy_, name);
}

Names Dependencies::Reach(const Map& map, const Names& names) {
    Names reached;
    std::vector<std::string> left(names.begin(), names.end());
    while (!left.empty()) {
        const std::string name = std::move(left.back());
        left.pop_back();
        for (const std::string& next : Of(map, name)) {
            if (reached.insert(next).second) {
                left.push_back(next);
            }
        }
    }
    for (const std::string& name : names) {
        reached.erase(name);
    }
    return reached;
}

Names Dependencies::AllNeeds(const Names& names) const {
    return Reach(needs_, names);
}

Names Dependencies::AllNeeding(const Names& names) const {
    return Reach(neededBy_, names);
}

// How many of the names stand one behind the other up to this one. With its own stack, since a
// chain may be as long as the configuration.
size_t Dependencies::Level(const std::string& name, const Names& names,
                           std::map<std::string, size_t>& levels) const {
    std::vector<std::pair<const std::string*, bool>> path{{&name, false}};
    while (!path.empty()) {
        const auto [current, isEntered] = path.back();
        if (!isEntered && !levels.emplace(*current, 0).second) {
            path.pop_back();
            continue;
        }
        if (!isEntered) {
            path.back().second = true;
            for (const std::string& needed : NeedsOf(*current)) {
                path.emplace_back(&needed, false);
            }
            continue;
        }
        size_t level = 0;
        for (const std::string& needed : NeedsOf(*current)) {
            level = std::max(level, levels[needed]);
        }
        levels[*current] = level + names.count(*current);
        path.pop_back();
    }
    return levels[name];
}

std::vector<std::vector<std::string>> Dependencies::Waves(const Names& names) const {
    std::map<std::string, size_t> levels;
    std::map<size_t, std::vector<std::string>> byLevel;
    for (const std::string& name : names) {
        byLevel[Level(name, names, levels)].push_back(name);
    }
    std::vector<std::vector<std::string>> waves;
    waves.reserve(byLevel.size());
    for (auto& [level, wave] : byLevel) {
        waves.push_back(std::move(wave));
    }
    return waves;
}

std::vector<std::string> Dependencies::InOrder(const Names& names) const {
    std::vector<std::string> order;
    for (const std::vector<std::string>& wave : Waves(names)) {
        order.insert(order.end(), wave.begin(), wave.end());
    }
    return order;
}

}  // namespace GrpCtl
