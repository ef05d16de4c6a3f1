#pragma once
// What has become slower between two traces.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "client/grpctl/timeline/chain.h"
#include "client/grpctl/timeline/story.h"

namespace GrpCtl::Timeline {

enum class Verdict { kFailed, kMissing, kSlower, kFaster, kMended, kNew, kSame };

/// The first start of one application, before and after. Nothing: it had none, or none that came to
/// its end.
struct Change {
    std::string name;
    Verdict verdict = Verdict::kSame;
    std::optional<int64_t> before;  // how long it took, in nanoseconds
    std::optional<int64_t> after;
    bool isCritical = false;  // in the later boot's critical chain

    int64_t Difference() const { return before && after ? *after - *before : 0; }
};

/// What is too little to be told from chance.
struct Noise {
    int64_t least = 10000000;
    double share = 0.1;  // of what it was before

    bool Covers(int64_t before, int64_t after) const;
};

struct Comparison {
    std::optional<int64_t> bootBefore;  // how long; nothing: the trace has no boot
    std::optional<int64_t> bootAfter;
    Verdict boot = Verdict::kSame;
    std::vector<std::string> chainBefore;  // names, the first one first
    std::vector<std::string> chainAfter;
    std::vector<Change> changes;  // what has failed or is missing, then by the harm to the boot
    size_t same = 0;              // so many differ by noise only

    /// Whether something is worse than before.
    bool IsWorse() const;
};

Comparison Compare(const Story& before, const Story& after, const Noise& noise);

}  // namespace GrpCtl::Timeline
