#include "client/grpctl/timeline/scale.h"

#include <algorithm>
#include <cmath>

#include "client/grpctl/timeline/words.h"

namespace GrpCtl::Timeline {

namespace {

constexpr double kQuietWidth = 44;
constexpr size_t kMostQuiets = 8;
constexpr double kTickDistance = 84;

struct Stretch {
    int64_t begin = 0;
    int64_t end = 0;

    int64_t Length() const { return end - begin; }
};

// When something was under way, in order and apart from each other.
std::vector<Stretch> BusyStretches(const Story& story) {
    std::vector<Stretch> all{{story.begin, story.begin}, {story.end, story.end}};
    const auto add = [&](int64_t begin, int64_t end) {
        if (end >= story.begin && begin <= story.end) {
            all.push_back({std::max(begin, story.begin), std::min(end, story.end)});
        }
    };
    for (const Row& row : story.rows) {
        for (const Span& span : row.spans) {
            if (span.stage == Stage::kRunning) {
                add(span.begin, span.begin);
                add(span.end, span.end);
            } else {
                add(span.begin, span.end);
            }
        }
        for (const Mark& mark : row.marks) {
            add(mark.when, mark.when);
        }
    }
    std::sort(all.begin(), all.end(),
              [](const Stretch& one, const Stretch& other) { return one.begin < other.begin; });
    std::vector<Stretch> merged;
    for (const Stretch& stretch : all) {
        if (!merged.empty() && stretch.begin <= merged.back().end) {
            merged.back().end = std::max(merged.back().end, stretch.end);
        } else {
            merged.push_back(stretch);
        }
    }
    return merged;
}

// What is left between them, of the longest ones, in order. A gap is worth its cut when it would
// press the rest together.
std::vector<Stretch> QuietStretches(const Story& story) {
    const std::vector<Stretch> busy = BusyStretches(story);
    std::vector<Stretch> gaps;
    int64_t rest = story.end - story.begin;
    for (size_t i = 1; i < busy.size(); ++i) {
        const Stretch gap{busy[i - 1].end, busy[i].begin};
        gaps.push_back(gap);
        rest -= gap.Length();
    }
    std::sort(gaps.begin(), gaps.end(), [](const Stretch& one, const Stretch& other) {
        return one.Length() < other.Length();
    });
    std::vector<Stretch> cuts;
    for (const Stretch& gap : gaps) {
        if (gap.Length() > rest / 2 && rest > 0) {
            cuts.push_back(gap);
        } else {
            rest += gap.Length();
        }
    }
    // Room for what stands at its ends.
    const int64_t margin = rest / 50;
    for (Stretch& cut : cuts) {
        cut = {cut.begin + margin, cut.end - margin};
    }
    cuts.erase(cuts.begin(),
               cuts.end() - static_cast<ptrdiff_t>(std::min(cuts.size(), kMostQuiets)));
    std::sort(cuts.begin(), cuts.end(),
              [](const Stretch& one, const Stretch& other) { return one.begin < other.begin; });
    return cuts;
}

// 1, 2 or 5 of a power of ten; above a minute what clocks like.
int64_t NiceStep(double least) {
    constexpr int64_t kSecond = Milliseconds(1000);
    for (int64_t power = 1000; power < 10 * kSecond; power *= 10) {
        for (const int64_t factor : {1, 2, 5}) {
            if (static_cast<double>(power * factor) >= least) {
                return power * factor;
            }
        }
    }
    for (const int64_t seconds : {15, 30, 60, 120, 300, 600, 1800, 3600, 7200, 21600, 43200}) {
        if (static_cast<double>(seconds * kSecond) >= least) {
            return seconds * kSecond;
        }
    }
    constexpr int64_t kDay = 86400 * kSecond;
    return std::max<int64_t>(1, std::llround(std::ceil(least / static_cast<double>(kDay)))) * kDay;
}

std::string TickWords(int64_t time, int64_t step) {
    constexpr int64_t kSecond = Milliseconds(1000);
    if (time == 0) {
        return "0";
    }
    constexpr int64_t kMinute = 60 * kSecond;
    if (time >= 24 * 60 * kMinute || (time >= kMinute && step >= kSecond)) {
        return ShowTime(time);
    }
    // As many digits as the step has.
    const bool isShort = time < kSecond;
    const int64_t unit = isShort ? Milliseconds(1) : kSecond;
    int digits = 0;
    for (int64_t part = unit; part > 1 && step % part != 0; part /= 10) {
        ++digits;
    }
    // Before the seconds, whole minutes: "1h00m0.2s".
    const std::string minutes = time < kMinute ? "" : ShowTime(time / kMinute * kMinute);
    const int64_t rest = isShort ? time : time % kMinute;
    return minutes.substr(0, minutes.rfind('m') + (minutes.empty() ? 0 : 1)) +
           ShowFixed(static_cast<double>(rest) / static_cast<double>(unit), digits) +
           (isShort ? "ms" : "s");
}

}  // namespace

Scale::Scale(const Story& story, double left, double width) : zero_(story.origin) {
    const std::vector<Stretch> cuts = QuietStretches(story);
    int64_t shown = story.end - story.begin;
    for (const Stretch& cut : cuts) {
        shown -= cut.Length();
    }
    const double forTimes = width - kQuietWidth * static_cast<double>(cuts.size());
    perNanosecond_ = forTimes / static_cast<double>(std::max<int64_t>(shown, 1));
    double x = left;
    int64_t begin = story.begin;
    for (const Stretch& cut : cuts) {
        const double length = static_cast<double>(cut.begin - begin) * perNanosecond_;
        pieces_.push_back({begin, cut.begin, x, length});
        pieces_.push_back({cut.begin, cut.end, x + length, kQuietWidth});
        quiets_.push_back({cut.begin, cut.end, x + length, kQuietWidth});
        x += length + kQuietWidth;
        begin = cut.end;
    }
    pieces_.push_back({begin, std::max(story.end, begin + 1), x, left + width - x});
}

double Scale::X(int64_t when) const {
    const auto piece = std::find_if(pieces_.begin(), pieces_.end() - 1,
                                    [when](const Piece& one) { return when <= one.end; });
    const double share = static_cast<double>(when - piece->begin) /
                         static_cast<double>(std::max<int64_t>(piece->end - piece->begin, 1));
    return piece->x + std::clamp(share, 0.0, 1.0) * piece->width;
}

std::vector<Tick> Scale::Ticks() const {
    const int64_t step = NiceStep(kTickDistance / std::max(perNanosecond_, 1e-30));
    std::vector<Tick> ticks;
    for (size_t i = 0; i < pieces_.size(); i += 2) {
        TicksOf(pieces_[i], step, ticks);
    }
    return ticks;
}

// A piece that is too narrow for a tick of its own gets one where it begins.
void Scale::TicksOf(const Piece& piece, int64_t step, std::vector<Tick>& ticks) const {
    const int64_t begin = piece.begin - zero_;
    const int64_t end = piece.end - zero_;
    const size_t before = ticks.size();
    for (int64_t time = (begin + step - 1) / step * step; time <= end; time += step) {
        ticks.push_back({X(zero_ + time), TickWords(time, step)});
    }
    if (ticks.size() == before) {
        ticks.push_back({piece.x, ShowTime(begin)});
    }
}

}  // namespace GrpCtl::Timeline
