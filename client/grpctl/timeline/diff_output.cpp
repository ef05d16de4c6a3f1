#include "client/grpctl/timeline/diff_output.h"

#include <cmath>
#include <cstdlib>
#include <vector>

#include "client/grpctl/text/table.h"
#include "client/grpctl/timeline/words.h"
#include "platform/linux/utf8.h"

namespace GrpCtl::Timeline {

namespace {

using GrpOwnerLinux::PrintableLine;
using TableRow = GrpCtl::Row;

std::string_view WordOf(Verdict verdict) {
    switch (verdict) {
        case Verdict::kFailed:
            return "failed";
        case Verdict::kMissing:
            return "missing";
        case Verdict::kSlower:
            return "slower";
        case Verdict::kFaster:
            return "faster";
        case Verdict::kMended:
            return "works again";
        case Verdict::kNew:
            return "new";
        case Verdict::kSame:
            break;
    }
    return "same";
}

Style StyleOf(Verdict verdict) {
    switch (verdict) {
        case Verdict::kFailed:
        case Verdict::kMissing:
        case Verdict::kSlower:
            return Style::kBad;
        case Verdict::kFaster:
        case Verdict::kMended:
            return Style::kGood;
        case Verdict::kNew:
        case Verdict::kSame:
            break;
    }
    return Style::kPlain;
}

std::string Length(const std::optional<int64_t>& length) {
    return length ? ShowTime(*length) : "-";
}

std::string Share(int64_t before, int64_t after) {
    if (before == after) {
        return "-";
    }
    const double share = 100.0 * static_cast<double>(after - before) /
                         static_cast<double>(std::max<int64_t>(before, 1));
    return (share < 0 ? "" : "+") + ShowFixed(share, 0) + "%";
}

TableRow RowOf(const std::string& name, const std::optional<int64_t>& before,
               const std::optional<int64_t>& after, Verdict verdict) {
    const bool isPair = before && after;
    return {PrintableLine(name),
            Length(before),
            Length(after),
            isPair ? ShowChange(*after - *before) : "-",
            isPair ? Share(*before, *after) : "-",
            {std::string(WordOf(verdict)), StyleOf(verdict)}};
}

std::string ChainLine(const std::string& title, const std::vector<std::string>& names,
                      const Screen& screen) {
    return title + JoinChain(names, screen.isUtf8, screen.width - title.size() - 1) + "\n";
}

std::string Foot(const Comparison& comparison, const Noise& noise) {
    if (comparison.same == 0) {
        return {};
    }
    std::string line =
        std::to_string(comparison.same) +
        (comparison.same == 1 ? " application is as before" : " applications are as before") +
        " (changes below " + ShowTime(noise.least);
    if (noise.share > 0) {
        line += " or " + ShowFixed(noise.share * 100, 0) + "% are noise";
    } else {
        line += " are noise";
    }
    return line + ")\n";
}

Json Milliseconds(const std::optional<int64_t>& length) {
    return length ? Json(ToMilliseconds(*length)) : Json();
}

}  // namespace

std::string TextOf(const Comparison& comparison, const Noise& noise, const Screen& screen) {
    std::vector<TableRow> rows{{{"NAME", Style::kHead},
                                {"BEFORE", Style::kHead},
                                {"AFTER", Style::kHead},
                                {"CHANGE", Style::kHead},
                                "",
                                ""}};
    rows.push_back(RowOf("(boot)", comparison.bootBefore, comparison.bootAfter, comparison.boot));
    bool isCriticalShown = false;
    for (const Change& change : comparison.changes) {
        rows.push_back(RowOf(change.name, change.before, change.after, change.verdict));
        if (change.isCritical) {
            rows.back().emplace_back("critical");
            isCriticalShown = true;
        }
    }
    std::string text = LayOut(rows, screen.isColored);
    const bool isMoved = comparison.chainBefore != comparison.chainAfter;
    if (isMoved || isCriticalShown) {
        text += "\n";
    }
    if (isMoved) {
        text += ChainLine("critical chain before: ", comparison.chainBefore, screen);
    }
    if (isMoved || isCriticalShown) {
        text += ChainLine(isMoved ? "critical chain after:  " : "critical chain: ",
                          comparison.chainAfter, screen);
    }
    const std::string foot = Foot(comparison, noise);
    return text + (foot.empty() ? "" : "\n" + foot);
}

Json JsonOf(const Comparison& comparison) {
    Json json = NewObject();
    json["worse"] = comparison.IsWorse();
    json["boot"] = {{"verdict", WordOf(comparison.boot)},
                    {"beforeMs", Milliseconds(comparison.bootBefore)},
                    {"afterMs", Milliseconds(comparison.bootAfter)},
                    {"chainBefore", comparison.chainBefore},
                    {"chainAfter", comparison.chainAfter}};
    json["applications"] = Json::array();
    for (const Change& change : comparison.changes) {
        json["applications"].push_back({{"application", change.name},
                                        {"verdict", WordOf(change.verdict)},
                                        {"beforeMs", Milliseconds(change.before)},
                                        {"afterMs", Milliseconds(change.after)},
                                        {"critical", change.isCritical}});
    }
    json["same"] = comparison.same;
    return json;
}

}  // namespace GrpCtl::Timeline
