#include "client/grpctl/timeline/chain.h"

#include <algorithm>

namespace GrpCtl::Timeline {

namespace {

using ProcMgr::OptionType;

// The last start of a row, or the last restart where there is no start.
std::optional<size_t> LastStart(const Story& story, size_t row, int64_t before) {
    std::optional<size_t> last;
    for (const size_t place : story.rows[row].moves) {
        const Move& move = story.moves[place];
        const bool isBetter = !last || story.moves[*last].what == OptionType::RESTART ||
                              move.what == OptionType::START;
        if (move.IsStart() && move.begin <= before && isBetter) {
            last = place;
        }
    }
    return last;
}

// What ran already is in nobody's way, but the start of it was.
std::optional<size_t> LatestNeed(const Story& story, const Move& move, const Needs& needs) {
    const auto found = needs.find(story.rows[move.row].name);
    std::optional<size_t> latest;
    if (found == needs.end() || move.what != OptionType::START) {
        return latest;
    }
    for (const std::string& name : found->second) {
        const auto row = story.FindRow(name);
        const auto start = row ? LastStart(story, *row, move.begin) : std::nullopt;
        const bool isUp =
            start && story.moves[*start].done > 0 && story.moves[*start].done <= move.begin;
        if (isUp && (!latest || story.moves[*latest].done < story.moves[*start].done)) {
            latest = start;
        }
    }
    return latest;
}

// Each link lies before the one that waited for it, so this ends.
Chain Follow(const Story& story, size_t place, const Needs& needs) {
    Chain chain{{place, true}};
    while (true) {
        const Move& move = story.moves[chain.back().move];
        const bool isCause = move.waitedFor.has_value();
        const auto next = isCause ? move.waitedFor : LatestNeed(story, move, needs);
        if (!next || *next >= chain.back().move) {
            return chain;
        }
        chain.push_back({*next, isCause});
    }
}

}  // namespace

std::optional<size_t> RequestOf(const Story& story, const Move& move) {
    return move.phase ? story.phases[*move.phase].request : std::nullopt;
}

Chain ChainOf(const Story& story, size_t row, const Needs& needs) {
    const auto start = LastStart(story, row, story.end);
    return start ? Follow(story, *start, needs) : Chain();
}

Chain ChainOfBoot(const Story& story) {
    std::optional<size_t> last;
    for (size_t place = 0; place < story.moves.size(); ++place) {
        const Move& move = story.moves[place];
        if (move.what != OptionType::START || move.done == 0 || !move.phase) {
            continue;
        }
        const bool isLater =
            !last || (RequestOf(story, move) == RequestOf(story, story.moves[*last]) &&
                      move.done > story.moves[*last].done);
        last = isLater ? place : last;
    }
    return last ? Follow(story, *last, {}) : Chain();
}

int64_t BootBegin(const Story& story) {
    const Chain chain = ChainOfBoot(story);
    if (chain.empty()) {
        return story.begin;
    }
    const Move& move = story.moves[chain.front().move];
    const auto request = RequestOf(story, move);
    return request ? story.requests[*request].begin : story.phases[*move.phase].begin;
}

std::vector<std::string> NamesOf(const Story& story, const Chain& chain) {
    std::vector<std::string> names;
    for (auto link = chain.rbegin(); link != chain.rend(); ++link) {
        names.push_back(story.rows[story.moves[link->move].row].name);
    }
    return names;
}

int64_t LengthOf(const Story& story, const Move& move) {
    const int64_t end = move.done != 0 ? move.done : move.failed != 0 ? move.failed : story.end;
    return end - move.begin;
}

}  // namespace GrpCtl::Timeline
