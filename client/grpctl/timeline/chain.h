#pragma once
// The chain of starts that an application had to wait for.

#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "client/grpctl/timeline/story.h"

namespace GrpCtl::Timeline {

struct Link {
    size_t move = 0;
    bool isCause = true;  // what stands before it waited for just this; else it ran already
};

/// From the application back to the first one.
using Chain = std::vector<Link>;

/// Who needs whom; nothing where that is not known.
using Needs = std::map<std::string, std::set<std::string>>;

/// How the application of this row came up the last time that somebody started it. Empty: nobody
/// has.
Chain ChainOf(const Story& story, size_t row, const Needs& needs = {});

/// Of the boot: that of the application that was ready last. Without a boot, of the first request
/// that started something.
Chain ChainOfBoot(const Story& story);

/// When that boot or request began.
int64_t BootBegin(const Story& story);

/// The place of the request that a move belongs to.
std::optional<size_t> RequestOf(const Story& story, const Move& move);

/// The names along a chain, in the order of their starts.
std::vector<std::string> NamesOf(const Story& story, const Chain& chain);

/// For how long it started; until now when it still does.
int64_t LengthOf(const Story& story, const Move& move);

}  // namespace GrpCtl::Timeline
