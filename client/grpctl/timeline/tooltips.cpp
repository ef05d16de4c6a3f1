#include "client/grpctl/timeline/tooltips.h"

#include <algorithm>

#include "client/grpctl/timeline/picture_style.h"
#include "client/grpctl/timeline/words.h"

namespace GrpCtl::Timeline {

namespace {

std::string At(const Story& story, int64_t when) {
    return "@" + ShowTime(when - story.origin);
}

std::string PidWords(int32_t pid) {
    return pid > 0 ? "\npid " + std::to_string(pid) : "";
}

// Who or what was in the way of it.
std::string ReleasedBy(const Story& story, const Move& move) {
    if (move.waitedFor) {
        return "\nreleased by " + story.rows[story.moves[*move.waitedFor].row].name;
    }
    const auto request = RequestOf(story, move);
    return request ? "\nreleased by the " + story.requests[*request].words : "";
}

}  // namespace

std::string TitleOf(const Story& story, const Chain& chain) {
    if (chain.empty()) {
        return story.owner + ": " + ShowTime(story.begin - story.origin) + " to " +
               ShowTime(story.end - story.origin);
    }
    const Move& last = story.moves[chain.front().move];
    const auto request = RequestOf(story, last);
    const std::string what = request ? story.requests[*request].words : "start";
    if (request && story.requests[*request].isDone != true) {
        const Band& band = story.requests[*request];
        return story.owner + ": " + what + (band.isDone ? " failed after " : " goes on for ") +
               ShowTime(band.end - band.begin);
    }
    return story.owner + ": " + what + " in " + ShowTime(last.done - BootBegin(story));
}

std::string TitleOf(const Story& story, const Band& band) {
    std::string text =
        band.words + ", " + At(story, band.begin) + " +" + ShowTime(band.end - band.begin);
    if (band.timeOut) {
        text += "\nits time was over " + At(story, *band.timeOut);
    }
    return text +
           (!band.isDone   ? "\nstill going on"
            : *band.isDone ? ""
                           : "\nfailed") +
           (band.asker.empty() ? "" : "\nasked for by " + band.asker);
}

std::string TitleOf(const Story& story, size_t row) {
    std::string text = story.rows[row].name;
    size_t crashes = 0;
    for (const Mark& mark : story.rows[row].marks) {
        crashes += mark.kind == MarkKind::kCrash ? 1 : 0;
    }
    if (crashes > 0) {
        text += "\n" + std::to_string(crashes) + (crashes == 1 ? " crash" : " crashes");
    }
    return text;
}

std::string TitleOf(const Story& story, size_t row, const Span& span) {
    std::string text = story.rows[row].name + " " + std::string(StyleOf(span.stage)) + " " +
                       ShowTime(span.end - span.begin) + (span.isOpen ? " so far" : "") + "\n" +
                       At(story, span.begin) + (span.isOpen ? "" : " to " + At(story, span.end)) +
                       PidWords(span.pid);
    if (span.move && span.stage != Stage::kRunning) {
        const Move& move = story.moves[*span.move];
        text += ReleasedBy(story, move);
        const std::string spent = span.stage == Stage::kWaiting ? "" : SpentOn(move);
        text += spent.empty() ? "" : "\n" + spent;
    }
    return text;
}

std::string TitleOf(const Story& story, size_t row, const Mark& mark) {
    return story.rows[row].name + " " + mark.words + " " + At(story, mark.when) +
           (mark.pid > 0 ? ", pid " + std::to_string(mark.pid) : "");
}

std::string SpentOn(const Move& move) {
    if (!move.IsStart() || move.reported == 0) {
        return {};
    }
    std::string text;
    const bool isReadyLater = move.said >= move.reported;
    if (move.spawned != 0 && move.executed >= move.spawned) {
        text = "spawn " + ShowTime(move.spawned - move.begin) + ", exec " +
               ShowTime(move.executed - move.spawned);
    } else if (isReadyLater) {
        text = "process " + ShowTime(move.reported - move.begin);
    }
    if (isReadyLater) {
        const int64_t before = move.executed == 0 ? move.reported : move.executed;
        text += ", READY=1 " + ShowTime(std::max<int64_t>(move.said - before, 0));
    }
    return text;
}

}  // namespace GrpCtl::Timeline
