#pragma once

#include <cstddef>
#include <vector>

namespace GrpCtl {

/// Applications by number, and whom each needs itself. Without cycles.
using NeedsByNumber = std::vector<std::vector<size_t>>;

/// A need that stands in vain: what `through` needs includes `needed` already.
struct RedundantNeed {
    size_t application = 0;
    size_t needed = 0;
    size_t through = 0;
};

/// What a whole configuration's dependencies amount to.
struct DependencyStudy {
    std::vector<RedundantNeed> redundant;  // sorted by application
    std::vector<size_t> falls;             // how many need each one, directly or through others
    std::vector<size_t> deepest;           // the longest chain, each needing the one behind it
};

/// Takes near-linear memory and, for a file of the largest size, well under a second.
DependencyStudy Study(const NeedsByNumber& needs);

}  // namespace GrpCtl
