#include "client/grpctl/timeline/picture.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <ctime>
#include <map>
#include <set>
#include <vector>

#include "client/grpctl/text/duration.h"
#include "client/grpctl/timeline/picture_style.h"
#include "client/grpctl/timeline/scale.h"
#include "client/grpctl/timeline/svg.h"
#include "client/grpctl/timeline/tooltips.h"
#include "client/grpctl/timeline/words.h"

namespace GrpCtl::Timeline {

namespace {

constexpr double kWidth = 1000;
constexpr double kMargin = 20;
constexpr double kLineHeight = 16;
constexpr double kLaneHeight = 22;
constexpr double kSmallFont = 10.5;
constexpr int64_t kSecond = Milliseconds(1000);

/// What the number of rows leaves for one.
struct RowForm {
    size_t most;  // so many rows at most
    double height;
    double bar;
    double font;
};

constexpr RowForm kRowForms[] = {
    {60, 24, 14, 12.5},
    {150, 15, 9, 10.5},
    {400, 10, 6, 8.5},
    {static_cast<size_t>(-1), 5, 4, 8},
};

const RowForm& FormFor(size_t rows) {
    const RowForm* form = kRowForms;
    while (rows > form->most) {
        ++form;
    }
    return *form;
}

bool IsVisible(const Story& story, int64_t begin, int64_t end) {
    return end >= story.begin && begin <= story.end;
}

std::vector<size_t> VisibleRows(const Story& story) {
    std::vector<size_t> rows;
    for (size_t i = 0; i < story.rows.size(); ++i) {
        const Row& row = story.rows[i];
        const bool hasSpan = std::any_of(row.spans.begin(), row.spans.end(), [&](const Span& span) {
            return IsVisible(story, span.begin, span.end);
        });
        const bool hasMark = std::any_of(row.marks.begin(), row.marks.end(), [&](const Mark& mark) {
            return IsVisible(story, mark.when, mark.when);
        });
        if (hasSpan || hasMark) {
            rows.push_back(i);
        }
    }
    return rows;
}

double GutterOf(const Story& story, const std::vector<size_t>& rows, double font) {
    constexpr double kLeast = 60;
    constexpr double kMost = 210;
    double width = kLeast;
    for (const size_t row : rows) {
        width = std::max(width, WidthOf(story.rows[row].name, font) + 12);
    }
    return std::min(width, kMost);
}

std::string DateOf(const Story& story) {
    const auto seconds = static_cast<time_t>((story.begin + story.utcOffset.value_or(0)) / kSecond);
    tm parts{};
    char text[64];
    if (!story.utcOffset || gmtime_r(&seconds, &parts) == nullptr ||
        std::strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S UTC", &parts) == 0) {
        return {};
    }
    return text;
}

/// Paints from the back to the front.
class Painter {
public:
    Painter(const Story& story, const Chain& chain)
        : story_(story),
          chain_(chain),
          rows_(VisibleRows(story)),
          form_(FormFor(rows_.size())),
          left_(kMargin + GutterOf(story, rows_, form_.font)),
          right_(kWidth - kMargin),
          scale_(story, left_, right_ - left_ - kOpenEnd),
          places_(story.rows.size()) {
        for (const Link& link : chain) {
            mainRows_.insert(story.moves[link.move].row);
        }
    }

    std::string Paint() {
        PaintHead();
        PaintRequests();
        const double axis = y_ + kLineHeight;
        top_ = axis + 8;
        bottom_ = top_ + form_.height * static_cast<double>(rows_.size());
        for (size_t place = 0; place < rows_.size(); ++place) {
            places_[rows_[place]] = place;
        }
        PaintAxis(axis);
        PaintCauses();
        PaintNames();
        for (const size_t row : rows_) {
            PaintSpans(row);
        }
        PaintChain();
        for (const size_t row : rows_) {
            if (form_.height >= kRoomForLabels) {
                PaintLabels(row);
            }
            PaintMarks(row);
        }
        PaintQuiets(axis);
        y_ = bottom_ + 10;
        if (bottom_ - top_ > kTall) {
            PaintTicks(bottom_ + kLineHeight);
            y_ += kLineHeight + 4;
        }
        PaintLegend();
        return Whole();
    }

private:
    static constexpr double kOpenEnd = 14;  // behind the last step, for what goes on
    static constexpr double kTall = 500;    // higher pictures have their times below as well

    double RowMiddle(size_t row) const {
        return top_ + form_.height * (static_cast<double>(places_[row]) + 0.5);
    }

    bool IsShown(const Move& move) const { return IsVisible(story_, move.begin, move.begin); }

    void PaintHead() {
        y_ = kMargin + 14;
        out_.Text("title", kMargin, y_, Cut(TitleOf(story_, chain_), 90));
        y_ += kLineHeight + 4;
        std::string line =
            std::to_string(rows_.size()) + (rows_.size() == 1 ? " application" : " applications");
        const std::string date = DateOf(story_);
        line += date.empty() ? "" : ", from " + date;
        if (story_.missed > 0) {
            line += ", " + std::to_string(story_.missed) + " steps are missing";
        }
        out_.Text("faint", kMargin, y_, line);
        if (chain_.size() > 1) {
            y_ += kLineHeight + 2;
            PaintChainLine();
        }
        y_ += 12;
    }

    void PaintChainLine() {
        constexpr size_t kMost = 125;
        const std::string names = JoinChain(NamesOf(story_, chain_), true, kMost);
        out_.Raw("<text x=\"" + Coordinate(kMargin) + "\" y=\"" + Coordinate(y_) +
                 "\" class=\"legend\"><tspan class=\"main\">Critical chain</tspan> " +
                 EscapeXml(names) + "</text>\n");
    }

    // Requests that overlap lie in lanes of their own, with their phases in them.
    void PaintRequests() {
        constexpr size_t kMostLanes = 4;
        std::array<double, kMostLanes> ends{};
        size_t lanes = 0;
        for (size_t i = 0; i < story_.requests.size(); ++i) {
            const Band& band = story_.requests[i];
            if (!IsVisible(story_, band.begin, band.end)) {
                continue;
            }
            const double x = scale_.X(band.begin);
            const double width = std::max(scale_.X(band.end) - x, 3.0);
            const double room = std::max(width, WidthOf(band.words, kSmallFont) + 10);
            size_t lane = 0;
            while (lane + 1 < kMostLanes && ends[lane] > x) {
                ++lane;
            }
            ends[lane] = x + room + 4;
            lanes = std::max(lanes, lane + 1);
            PaintRequest(i, x, width, y_ + kLaneHeight * static_cast<double>(lane));
        }
        y_ += kLaneHeight * static_cast<double>(lanes);
    }

    void PaintRequest(size_t index, double x, double width, double y) {
        const Band& band = story_.requests[index];
        const bool isFailed = band.isDone.has_value() && !*band.isDone;
        const std::string title = TitleOf(story_, band);
        const std::string words = band.words + (isFailed ? " failed" : "");
        out_.Rect(isFailed ? "failed" : "request", x, y, width, 18, title);
        for (const Band& phase : story_.phases) {
            if (phase.request == index && IsVisible(story_, phase.begin, phase.end)) {
                const double begin = scale_.X(phase.begin);
                out_.Rect(StyleOf(phase.stage), begin, y + 15,
                          std::max(scale_.X(phase.end) - begin, 2.0), 3, TitleOf(story_, phase));
            }
        }
        const double textWidth = WidthOf(words, kSmallFont);
        // At the right edge it stands before what it belongs to.
        const double at = x + textWidth + 8 > right_ ? x - textWidth - 2 : x + 5;
        out_.Text("small", at, y + 12, words, title);
    }

    void PaintAxis(double axis) {
        for (size_t place = 1; place < rows_.size() && form_.height > 8; place += 2) {
            out_.Rect("stripe", kMargin, top_ + form_.height * static_cast<double>(place),
                      right_ - kMargin, form_.height);
        }
        std::string lines;
        for (const Tick& tick : scale_.Ticks()) {
            lines += "M" + Coordinate(tick.x) + " " + Coordinate(top_) + "V" + Coordinate(bottom_);
        }
        out_.Path("grid", lines);
        PaintTicks(axis);
    }

    void PaintTicks(double y) {
        double free = 0;
        for (const Tick& tick : scale_.Ticks()) {
            const double half = WidthOf(tick.words, 11) / 2;
            if (tick.x - half >= free && !IsInQuiet(tick.x, half)) {
                out_.Text("tick", tick.x, y, tick.words);
                free = tick.x + half + 6;
            }
        }
    }

    bool IsInQuiet(double x, double half) const {
        return std::any_of(scale_.Quiets().begin(), scale_.Quiets().end(), [&](const Quiet& quiet) {
            return x + half > quiet.x && x - half < quiet.x + quiet.width;
        });
    }

    // In thin rows only some names find room; those of the chain come first.
    void PaintNames() {
        const double distance = form_.font + 0.5;
        std::vector<bool> isTaken(rows_.size(), false);
        const auto reach = static_cast<size_t>(distance / form_.height);
        const auto most = static_cast<size_t>((left_ - kMargin - 8) / (form_.font * 0.6));
        for (const bool isMain : {true, false}) {
            for (size_t place = 0; place < rows_.size(); ++place) {
                const size_t row = rows_[place];
                if ((mainRows_.count(row) > 0) != isMain || isTaken[place]) {
                    continue;
                }
                const size_t first = place < reach ? 0 : place - reach;
                const size_t last = std::min(place + reach + 1, rows_.size());
                std::fill(isTaken.begin() + static_cast<ptrdiff_t>(first),
                          isTaken.begin() + static_cast<ptrdiff_t>(last), true);
                out_.Text(isMain ? "name main" : "name", left_ - 8,
                          RowMiddle(row) + form_.font * 0.35, Cut(story_.rows[row].name, most),
                          TitleOf(story_, row));
            }
        }
    }

    // Behind the bars, for all; what is critical is painted once more in front.
    void PaintCauses() {
        constexpr size_t kMost = 150;  // more of them hide more than they show
        if (rows_.size() > kMost) {
            return;
        }
        std::string lines;
        for (const Move& move : story_.moves) {
            if (move.waitedFor && IsShown(move) && IsShown(story_.moves[*move.waitedFor])) {
                lines += WayOf(move);
            }
        }
        if (!lines.empty()) {
            out_.Path("cause", lines);
        }
    }

    std::string WayOf(const Move& move) const {
        const Move& before = story_.moves[*move.waitedFor];
        const double from = scale_.X(before.done > 0 ? before.done : move.begin);
        return "M" + Coordinate(from) + " " + Coordinate(RowMiddle(before.row)) + "V" +
               Coordinate(RowMiddle(move.row)) + "H" + Coordinate(scale_.X(move.begin));
    }

    void PaintSpans(size_t row) {
        double painted = -1;  // narrower ones would lie on one another
        for (const Span& span : story_.rows[row].spans) {
            if (!IsVisible(story_, span.begin, span.end)) {
                continue;
            }
            const double x = scale_.X(std::max(span.begin, story_.begin));
            const double end = span.isOpen ? right_ : scale_.X(std::min(span.end, story_.end));
            const double least = span.stage == Stage::kWaiting ? 2.0 : 0.3;
            if (end - std::max(x, painted) > least ||
                (x >= painted && span.stage != Stage::kWaiting)) {
                PaintSpan(row, span, x, end);
                painted = std::max(end, x + 0.3);
            }
        }
    }

    void PaintSpan(size_t row, const Span& span, double x, double end) {
        const double middle = RowMiddle(row);
        const std::string title = TitleOf(story_, row, span);
        if (span.stage == Stage::kWaiting) {
            out_.Path("waiting",
                      "M" + Coordinate(x) + " " + Coordinate(middle) + "H" + Coordinate(end),
                      title);
            return;
        }
        const double height = span.stage == Stage::kRunning ? form_.bar * 0.72 : form_.bar;
        const double least = span.stage == Stage::kRunning ? 0.0 : 1.5;
        out_.Rect(StyleOf(span.stage), x, middle - height / 2, std::max(end - x, least), height,
                  title);
    }

    // How long a start took, in the bar behind it.
    void PaintLabels(size_t row) {
        const std::vector<Span>& spans = story_.rows[row].spans;
        for (size_t i = 0; i + 1 < spans.size(); ++i) {
            const bool isUp =
                spans[i].stage == Stage::kStarting || spans[i].stage == Stage::kRestarting;
            const Span& next = spans[i + 1];
            if (!isUp || next.stage != Stage::kRunning || next.begin < story_.begin ||
                next.begin > story_.end) {
                continue;
            }
            const std::string words = ShowTime(spans[i].end - spans[i].begin);
            const double x = scale_.X(next.begin) + 6;
            const double end = next.isOpen ? right_ : scale_.X(std::min(next.end, story_.end));
            const double width = WidthOf(words, kSmallFont);
            if (x + width + 4 <= end && !IsInQuiet(x + width / 2, width / 2)) {
                out_.Text("took", x, RowMiddle(row) + kSmallFont * 0.35, words);
            }
        }
    }

    // Marks that would lie on one another become one of each kind, with a number.
    void PaintMarks(size_t row) {
        constexpr double kRoom = 7;
        const std::vector<Mark>& marks = story_.rows[row].marks;
        for (size_t i = 0; i < marks.size();) {
            size_t next = i + 1;
            const double x = scale_.X(marks[i].when);
            while (next < marks.size() && scale_.X(marks[next].when) - x < kRoom) {
                ++next;
            }
            if (IsVisible(story_, marks[i].when, marks[i].when)) {
                PaintMarksAt(row, x, i, next);
            }
            i = next;
        }
    }

    void PaintMarksAt(size_t row, double x, size_t first, size_t end) {
        constexpr size_t kMostLines = 8;
        constexpr double kDistance = 12;
        std::map<MarkKind, size_t> counts;
        std::string title;
        for (size_t i = first; i < end; ++i) {
            const Mark& mark = story_.rows[row].marks[i];
            ++counts[mark.kind];
            if (i - first < kMostLines) {
                title += (title.empty() ? "" : "\n") + TitleOf(story_, row, mark);
            }
        }
        for (const auto& [kind, count] : counts) {
            shapes_.insert(kind);
            out_.Use(ShapeOf(kind), x, RowMiddle(row), title);
            x += kDistance;
            if (count > 1 && form_.height >= kRoomForLabels) {
                out_.Text("took", x - kDistance / 2, RowMiddle(row) - 3, std::to_string(count));
            }
        }
    }

    void PaintChain() {
        for (const Link& link : chain_) {
            const Move& move = story_.moves[link.move];
            if (!IsShown(move)) {
                continue;
            }
            const double x = scale_.X(move.begin);
            const double y = RowMiddle(move.row);
            const double end = scale_.X(move.done > 0 ? move.done : story_.end);
            out_.Path("edge", "M" + Coordinate(x) + " " + Coordinate(y - form_.bar / 2) + "H" +
                                  Coordinate(std::max(end, x + 1.5)) + "v" + Coordinate(form_.bar) +
                                  "H" + Coordinate(x) + "z");
            if (!move.waitedFor || !IsShown(story_.moves[*move.waitedFor])) {
                continue;
            }
            out_.Path("chain", WayOf(move));
            const bool isDown = RowMiddle(story_.moves[*move.waitedFor].row) < y;
            const double tip = y + (isDown ? -form_.bar / 2 : form_.bar / 2);
            const double from = scale_.X(story_.moves[*move.waitedFor].done);
            const double length = std::min(5.0, form_.bar / 2) * (isDown ? -1 : 1);
            out_.Path("head", "M" + Coordinate(from) + " " + Coordinate(tip) + "l-3.5 " +
                                  Coordinate(length) + "h7z");
        }
    }

    void PaintQuiets(double axis) {
        for (const Quiet& quiet : scale_.Quiets()) {
            const int64_t length = quiet.end - quiet.begin;
            const std::string words =
                length < kSecond ? ShowTime(length)
                : length < 10 * kSecond
                    ? ShowFixed(static_cast<double>(length) / kSecond, 2) + "s"
                    : ShowAge(std::chrono::milliseconds(length / Milliseconds(1)));
            const std::string title =
                ShowTime(length) + " in which nothing changed, not shown at its length";
            out_.Rect("quiet", quiet.x, top_ - 4, quiet.width, bottom_ - top_ + 8, title);
            std::string lines;
            for (const double x : {quiet.x, quiet.x + quiet.width}) {
                lines += "M" + Coordinate(x) + " " + Coordinate(top_ - 4) + "V" +
                         Coordinate(bottom_ + 4);
            }
            out_.Path("cut", lines);
            out_.Text("faint tick quiet-time", quiet.x + quiet.width / 2, axis, words, title);
        }
    }

    void LegendShape(std::string_view shape, std::string_view words) {
        NextLegend(words);
        out_.Use(shape, x_ + 7, y_);
        LegendWords(words);
    }

    // A line more when this one is full.
    void NextLegend(std::string_view words) {
        if (x_ + WidthOf(words, 12) + 40 > right_) {
            x_ = kMargin;
            y_ += kLineHeight + 4;
        }
    }

    void LegendWords(std::string_view words) {
        out_.Text("legend", x_ + 20, y_ + 4, words);
        x_ += WidthOf(words, 12) + 38;
    }

    void PaintLegend() {
        y_ += 14;
        x_ = kMargin;
        std::set<Stage> stages;
        for (const size_t row : rows_) {
            for (const Span& span : story_.rows[row].spans) {
                if (IsVisible(story_, span.begin, span.end)) {
                    stages.insert(span.stage);
                }
            }
        }
        for (const Stage stage : stages) {
            NextLegend(StyleOf(stage));
            if (stage == Stage::kWaiting) {
                out_.Path("waiting", "M" + Coordinate(x_) + " " + Coordinate(y_) + "h14");
            } else {
                const double height = stage == Stage::kRunning ? 9 : 12;
                out_.Rect(StyleOf(stage), x_, y_ - height / 2, 14, height);
            }
            LegendWords(StyleOf(stage));
        }
        for (const MarkKind kind : shapes_) {
            LegendShape(ShapeOf(kind), WordOf(kind));
        }
        if (!chain_.empty()) {
            NextLegend("critical chain");
            out_.Path("edge", "M" + Coordinate(x_) + " " + Coordinate(y_ - 5) + "h14v10h-14z");
            LegendWords("critical chain");
        }
        y_ += 14;
    }

    std::string Whole() const {
        const std::string width = Coordinate(kWidth);
        const std::string height = Coordinate(y_ + 6);
        Svg page;
        page.Raw("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + width + "\" height=\"" +
                 height + "\" viewBox=\"0 0 " + width + " " + height + "\">\n<title>" +
                 EscapeXml(TitleOf(story_, chain_)) + "</title>\n" + StyleOfPicture(form_.font));
        page.Rect("page", 0, 0, kWidth, y_ + 6);
        return page.Get() + out_.Get() + "</svg>\n";
    }

    static constexpr double kRoomForLabels = 14;

    const Story& story_;
    const Chain& chain_;
    const std::vector<size_t> rows_;  // that are shown
    const RowForm& form_;
    const double left_;
    const double right_;
    const Scale scale_;
    std::vector<size_t> places_;  // of rows, from the top
    std::set<size_t> mainRows_;
    std::set<MarkKind> shapes_;
    Svg out_;
    double x_ = 0;
    double y_ = 0;
    double top_ = 0;
    double bottom_ = 0;
};

}  // namespace

std::string Draw(const Story& story, const Chain& chain) {
    return Painter(story, chain).Paint();
}

}  // namespace GrpCtl::Timeline
