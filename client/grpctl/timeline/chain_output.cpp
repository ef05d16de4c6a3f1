#include "client/grpctl/timeline/chain_output.h"

#include <algorithm>
#include <vector>

#include "client/grpctl/timeline/tooltips.h"
#include "client/grpctl/timeline/words.h"
#include "platform/linux/utf8.h"

namespace GrpCtl::Timeline {

namespace {

using GrpOwnerLinux::CountCharacters;
using GrpOwnerLinux::PrintableLine;

struct Line {
    std::string head;
    std::string took;  // "+618ms"
    std::string details;
    Style style = Style::kPlain;
};

// What lies too deep for a line stays at that depth.
std::string Branch(size_t depth, bool isUtf8) {
    constexpr size_t kDeepest = 16;
    return depth == 0
               ? ""
               : std::string(2 * (std::min(depth, kDeepest) - 1), ' ') + (isUtf8 ? "└─" : "`-");
}

std::string At(const Story& story, int64_t when) {
    return "@" + ShowTime(when - BootBegin(story));
}

std::string DetailsOf(const Link& link, const Move& move) {
    std::string text = SpentOn(move);
    if (!link.isCause) {
        text += (text.empty() ? "" : "; ") + std::string("ran already");
    }
    return text;
}

Line LineOf(const Story& story, const Link& link) {
    const Move& move = story.moves[link.move];
    Line line;
    line.head = PrintableLine(story.rows[move.row].name) + " ";
    if (move.failed != 0) {
        line.head += "failed " + At(story, move.failed) + " ";
    } else if (move.done == 0) {
        line.head += "not running yet ";
    } else {
        line.head += At(story, move.done) + " ";
    }
    line.took = "+" + ShowTime(LengthOf(story, move));
    line.details = DetailsOf(link, move);
    return line;
}

// What the first of them was waiting for: somebody's wish.
Line RequestLine(const Story& story, const Band& request) {
    Line line;
    line.head = PrintableLine(request.words) + " " + At(story, request.begin);
    line.details = request.asker.empty() ? "" : "asked for by " + PrintableLine(request.asker);
    line.style = Style::kFaint;
    return line;
}

const Band* RequestOf(const Story& story, const Chain& chain) {
    const Move& first = story.moves[chain.back().move];
    const auto request = RequestOf(story, first);
    return request ? &story.requests[*request] : nullptr;
}

std::vector<Line> LinesOf(const Story& story, const Chain& chain) {
    std::vector<Line> lines;
    int64_t longest = 0;
    for (const Link& link : chain) {
        longest = std::max(longest, LengthOf(story, story.moves[link.move]));
        lines.push_back(LineOf(story, link));
    }
    for (size_t i = 0; i < chain.size() && chain.size() > 1; ++i) {
        if (LengthOf(story, story.moves[chain[i].move]) == longest) {
            lines[i].style = Style::kBusy;  // the first to look at
        }
    }
    const Band* const request = RequestOf(story, chain);
    if (request != nullptr && request->begin > BootBegin(story)) {
        lines.push_back(RequestLine(story, *request));
    }
    return lines;
}

}  // namespace

std::string TextOf(const Story& story, const Chain& chain, const Screen& screen) {
    const std::vector<Line> lines = LinesOf(story, chain);
    std::vector<std::string> heads;
    size_t width = 0;
    for (const Line& line : lines) {
        heads.push_back(Branch(heads.size(), screen.isUtf8) + line.head);
        width = std::max<size_t>(width, CountCharacters(heads.back() + line.took));
    }
    std::string text;
    for (size_t i = 0; i < lines.size(); ++i) {
        const size_t used = CountCharacters(heads[i] + lines[i].took);
        const bool isFit = width + 3 + lines[i].details.size() <= screen.width;
        text += heads[i] + Paint(lines[i].took, lines[i].style, screen.isColored);
        if (!lines[i].details.empty() && isFit) {
            text += std::string(width - used + 3, ' ') +
                    Paint(lines[i].details, Style::kFaint, screen.isColored);
        }
        text += "\n";
    }
    return text;
}

Json JsonOf(const Story& story, const Chain& chain) {
    Json links = Json::array();
    for (const Link& link : chain) {
        const Move& move = story.moves[link.move];
        const int64_t begin = BootBegin(story);
        Json json = Json::object();
        json["application"] = story.rows[move.row].name;
        json["releasedMs"] = ToMilliseconds(move.begin - begin);
        const auto at = [&](const char* key, int64_t when) {
            json[key] = when == 0 ? Json() : Json(ToMilliseconds(when - begin));
        };
        at("processMs", move.reported);
        at("readyMs", move.said);
        at("runningMs", move.done);
        json["tookMs"] = ToMilliseconds(LengthOf(story, move));
        json["pid"] = move.pid > 0 ? Json(move.pid) : Json();
        json["failed"] = move.failed != 0;
        json["ranAlready"] = !link.isCause;
        links.push_back(std::move(json));
    }
    Json json = Json::object();
    json["application"] = story.rows[story.moves[chain.front().move].row].name;
    const Band* const request = RequestOf(story, chain);
    json["request"] = request == nullptr ? Json() : Json(request->words);
    json["chain"] = std::move(links);
    return json;
}

}  // namespace GrpCtl::Timeline
