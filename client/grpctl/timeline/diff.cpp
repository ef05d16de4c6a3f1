#include "client/grpctl/timeline/diff.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <set>
#include <tuple>
#include <utility>

namespace GrpCtl::Timeline {

namespace {

using ProcMgr::OptionType;

/// How a first start went.
struct Start {
    std::optional<int64_t> length;  // nothing: it has failed, or still goes on
    bool isOfBoot = false;
};
using Starts = std::map<std::string, Start>;

Starts FirstStarts(const Story& story, const Chain& boot) {
    Starts starts;
    for (const Move& move : story.moves) {
        if (move.what == OptionType::START) {
            Start start;
            start.length = move.done > 0 ? std::optional(LengthOf(story, move)) : std::nullopt;
            start.isOfBoot = !boot.empty() && RequestOf(story, move) ==
                                                  RequestOf(story, story.moves[boot.front().move]);
            starts.emplace(story.rows[move.row].name, start);
        }
    }
    return starts;
}

std::optional<int64_t> BootLength(const Story& story, const Chain& chain) {
    return chain.empty() ? std::nullopt
                         : std::optional(story.moves[chain.front().move].done - BootBegin(story));
}

bool HasFailed(const Story& story, const Chain& boot) {
    const auto request =
        boot.empty() ? std::nullopt : RequestOf(story, story.moves[boot.front().move]);
    return boot.empty() || (request && story.requests[*request].isDone == false);
}

Verdict Judge(int64_t before, int64_t after, const Noise& noise) {
    if (noise.Covers(before, after)) {
        return Verdict::kSame;
    }
    return after > before ? Verdict::kSlower : Verdict::kFaster;
}

// Whoever is not started at the boot is started when somebody asks: not to ask is no loss.
std::optional<Verdict> Judge(const Start* before, const Start* after, const Noise& noise) {
    if (before == nullptr || after == nullptr) {
        const bool isOfBoot = (before == nullptr ? after : before)->isOfBoot;
        const Verdict verdict = before == nullptr ? Verdict::kNew : Verdict::kMissing;
        return isOfBoot ? std::optional(verdict) : std::nullopt;
    }
    if (before->length && after->length) {
        return Judge(*before->length, *after->length, noise);
    }
    return before->length ? Verdict::kFailed : after->length ? Verdict::kMended : Verdict::kSame;
}

const Start* Find(const Starts& starts, const std::string& name) {
    const auto found = starts.find(name);
    return found == starts.end() ? nullptr : &found->second;
}

// Failures first; then what has made the boot longer, for each part of the chain adds its whole
// change to the boot; then the rest by size.
auto RankOf(const Change& change) {
    const bool isHarm = change.verdict == Verdict::kSlower && change.isCritical;
    const bool isLoss = change.verdict == Verdict::kFailed || change.verdict == Verdict::kMissing;
    return std::make_tuple(!isLoss, !isHarm, -std::abs(change.Difference()), change.name);
}

}  // namespace

bool Noise::Covers(int64_t before, int64_t after) const {
    const int64_t change = std::abs(after - before);
    return change < least || static_cast<double>(change) < share * static_cast<double>(before);
}

bool Comparison::IsWorse() const {
    return boot == Verdict::kSlower || boot == Verdict::kFailed ||
           std::any_of(changes.begin(), changes.end(),
                       [](const Change& change) { return change.verdict <= Verdict::kSlower; });
}

Comparison Compare(const Story& before, const Story& after, const Noise& noise) {
    Comparison comparison;
    const Chain chainBefore = ChainOfBoot(before);
    const Chain chainAfter = ChainOfBoot(after);
    comparison.chainBefore = NamesOf(before, chainBefore);
    comparison.chainAfter = NamesOf(after, chainAfter);
    comparison.bootBefore = BootLength(before, chainBefore);
    comparison.bootAfter = BootLength(after, chainAfter);
    if (HasFailed(after, chainAfter) && !HasFailed(before, chainBefore)) {
        comparison.boot = Verdict::kFailed;
    } else if (comparison.bootBefore && comparison.bootAfter) {
        comparison.boot = Judge(*comparison.bootBefore, *comparison.bootAfter, noise);
    }
    const Starts startsBefore = FirstStarts(before, chainBefore);
    const Starts startsAfter = FirstStarts(after, chainAfter);
    std::set<std::string> names;
    for (const Starts* const starts : {&startsBefore, &startsAfter}) {
        for (const auto& [name, start] : *starts) {
            names.insert(name);
        }
    }
    for (const std::string& name : names) {
        const Start* const one = Find(startsBefore, name);
        const Start* const other = Find(startsAfter, name);
        const auto verdict = Judge(one, other, noise);
        comparison.same += verdict == Verdict::kSame ? 1 : 0;
        if (verdict && verdict != Verdict::kSame) {
            Change change;
            change.name = name;
            change.verdict = *verdict;
            change.before = one == nullptr ? std::nullopt : one->length;
            change.after = other == nullptr ? std::nullopt : other->length;
            change.isCritical =
                std::find(comparison.chainAfter.begin(), comparison.chainAfter.end(), name) !=
                comparison.chainAfter.end();
            comparison.changes.push_back(std::move(change));
        }
    }
    std::sort(comparison.changes.begin(), comparison.changes.end(),
              [](const Change& one, const Change& other) { return RankOf(one) < RankOf(other); });
    return comparison;
}

}  // namespace GrpCtl::Timeline
