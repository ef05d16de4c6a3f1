#include "client/grpctl/progress/progress_frame.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <numeric>
#include <optional>
#include <string_view>
#include <utility>

#include "client/grpctl/progress/progress_words.h"
#include "client/grpctl/text/duration.h"
#include "platform/linux/utf8.h"

namespace GrpCtl {

namespace {

using std::chrono::milliseconds;

constexpr size_t kMostRemarks = 3;
constexpr size_t kWidest = 100;  // a time far from its name is hard to read

// Of a time that goes on, hundredths would only flicker.
std::string ShowGoing(milliseconds time) {
    constexpr milliseconds kMinute{60000};
    if (time >= kMinute) {
        return ShowAge(time);
    }
    char text[32];
    std::snprintf(text, sizeof(text), "%lld.%llds", static_cast<long long>(time.count() / 1000),
                  static_cast<long long>(time.count() % 1000 / 100));
    return text;
}

// What a small window shows first.
size_t RankOf(Stage stage) {
    switch (stage) {
        case Stage::kFailed:
        case Stage::kTimedOut:
        case Stage::kSkipped:
            return 0;
        case Stage::kGoing:
            return 1;
        case Stage::kWaiting:
            return 2;
        case Stage::kDone:
            break;
    }
    return 3;
}

/// Makes one frame.
class FrameMaker {
public:
    FrameMaker(const ProgressModel& model, const Headline& headline, const Moment& moment,
               const Screen& screen, WindowSize size)
        : model_(model),
          headline_(headline),
          moment_(moment),
          screen_(screen),
          rows_(std::max<size_t>(size.rows, 2) - 1),  // one is the cursor's
          width_(std::min(size.columns, kWidest) - 1),
          wordWidth_(WidthOfWords(model)),
          gap_(size.columns < 60 ? 1 : 3, ' ') {
        for (const TaskProgress& task : model.Tasks()) {
            nameWidth_ = std::max(nameWidth_, task.task.name.size());
        }
        for (const Remark& remark : model.Remarks()) {
            nameWidth_ = std::max(nameWidth_, remark.name.size());
        }
        nameWidth_ = std::min(nameWidth_, std::max<size_t>(width_ / 3, 8));
    }

    std::vector<std::string> Make() {
        const size_t remarks =
            std::min({model_.Remarks().size(), kMostRemarks, rows_ > 4 ? rows_ - 4 : 0});
        AddHead();
        AddTasks(rows_ - 1 - remarks);
        for (size_t index = model_.Remarks().size() - remarks; index < model_.Remarks().size();
             ++index) {
            AddRemark(model_.Remarks()[index]);
        }
        return std::move(lines_);
    }

private:
    void AddHead() {
        const bool isOver = model_.HasEnded();
        std::string text = std::string(model_.Failed() == 0 ? "[+] " : "[!] ") +
                           (isOver ? headline_.did : headline_.doing) + " " +
                           std::to_string(model_.Done()) + "/" +
                           std::to_string(model_.Tasks().size());
        if (model_.Failed() > 0) {
            text += ", " + std::to_string(model_.Failed()) + " failed";
        }
        if (headline_.isStopAll) {
            text += IsPausing() ? ", a second's pause" : ", driving applications first";
        }
        if (model_.Missed() > 0) {
            text += " (" + std::to_string(model_.Missed()) + " steps missed)";
        }
        const milliseconds time = Between(moment_.begun, moment_.now);
        Add(text, {}, isOver ? ShowDuration(time) : ShowGoing(time));
    }

    // Behind each pass of a stop of everything the owner rests.
    bool IsPausing() const {
        return model_.HasBegun() && !model_.HasEnded() &&
               std::none_of(model_.Tasks().begin(), model_.Tasks().end(),
                            [](const TaskProgress& task) { return task.stage == Stage::kGoing; });
    }

    void AddTasks(size_t room) {
        const std::vector<TaskProgress>& tasks = model_.Tasks();
        std::vector<size_t> order(tasks.size());
        std::iota(order.begin(), order.end(), 0);
        const bool isCut = order.size() > room;
        if (isCut && room > 0) {
            std::stable_sort(order.begin(), order.end(), [&tasks](size_t left, size_t right) {
                return RankOf(tasks[left].stage) < RankOf(tasks[right].stage);
            });
            const auto shownEnd = order.begin() + static_cast<ptrdiff_t>(room - 1);
            std::sort(order.begin(), shownEnd);
            AddEach({order.begin(), shownEnd});
            AddMore({shownEnd, order.end()});
        } else if (!isCut) {
            AddEach(order);
        }
    }

    void AddEach(const std::vector<size_t>& order) {
        for (const size_t index : order) {
            AddTask(model_.Tasks()[index]);
        }
    }

    void AddTask(const TaskProgress& task) {
        const std::string pids = PidsOf(task);
        const std::string note = NoteOf(model_, task);
        const std::string both = pids + (pids.empty() || note.empty() ? "" : gap_) + note;
        const std::optional<milliseconds> time = TimeOf(task, moment_.now);
        const std::string begin = " " + MarkOf(task) + " " + Padded(task.task.name, nameWidth_) +
                                  gap_ + PaintedPadded(WordOf(task), StyleOf(task), wordWidth_) +
                                  gap_;
        Add(begin, {both, note.empty() ? pids : note, Shortened(note)},
            !time                         ? ""
            : task.stage == Stage::kGoing ? ShowGoing(*time)
                                          : ShowDuration(*time));
    }

    static std::string Shortened(const std::string& note) {
        constexpr std::string_view kWaiting = "waiting ";
        return note.compare(0, kWaiting.size(), kWaiting) == 0 ? note.substr(kWaiting.size())
                                                               : note;
    }

    void AddRemark(const Remark& remark) {
        const std::string mark = screen_.isUtf8 ? "!" : "[ !]";
        Add(" " + Paint(mark, Style::kBusy, screen_.isColored) + " " +
                Padded(remark.name, nameWidth_) + gap_ +
                PaintedPadded(WordOf(remark), Style::kPlain, wordWidth_) + gap_,
            {remark.pid > 0 ? "pid " + std::to_string(remark.pid) + gap_ + kOutside : kOutside,
             kOutside},
            "");
    }

    void AddMore(const std::vector<size_t>& hidden) {
        std::array<size_t, 4> counts{};
        for (const size_t index : hidden) {
            ++counts[RankOf(model_.Tasks()[index].stage)];
        }
        constexpr std::array<const char*, 4> kWords{"failed", "on the way", "waiting", "done"};
        std::string text;
        for (size_t rank = 0; rank < counts.size(); ++rank) {
            if (counts[rank] > 0) {
                text += (text.empty() ? ": " : ", ") + std::to_string(counts[rank]) + " " +
                        kWords[rank];
            }
        }
        const std::string line = std::string(screen_.isUtf8 ? " … " : " ... ") +
                                 std::to_string(hidden.size()) + " more" + text;
        Add(Paint(CutVisible(line, width_, screen_.isUtf8), Style::kFaint, screen_.isColored), {},
            "");
    }

    // The first of the ends that fits, else the last one cut.
    void Add(const std::string& begin, const std::vector<std::string>& ends,
             const std::string& time) {
        const size_t room = width_ - std::min(width_, time.empty() ? 0 : time.size() + 2);
        std::string line = begin + (ends.empty() ? "" : ends.back());
        for (const std::string& end : ends) {
            if (CountVisible(begin + end) <= room) {
                line = begin + end;
                break;
            }
        }
        line = CutVisible(line, room, screen_.isUtf8);
        line.erase(line.find_last_not_of(' ') + 1);
        if (!time.empty() && time.size() < width_) {
            line.append(width_ - CountVisible(line) - time.size(), ' ');
            line += time;
        }
        lines_.push_back(std::move(line));
    }

    std::string MarkOf(const TaskProgress& task) const {
        if (task.stage == Stage::kDone) {
            return screen_.Mark(true);
        }
        if (task.stage == Stage::kGoing) {
            return Paint(Turning(), Style::kBusy, screen_.isColored);
        }
        return task.stage == Stage::kWaiting ? (screen_.isUtf8 ? "·" : "[..]")
                                             : screen_.Mark(false);
    }

    std::string Turning() const {
        constexpr std::array<const char*, 10> kDots{"⠋", "⠙", "⠹", "⠸", "⠼",
                                                    "⠴", "⠦", "⠧", "⠇", "⠏"};
        constexpr std::array<const char*, 4> kStrokes{"[- ]", "[\\ ]", "[| ]", "[/ ]"};
        return screen_.isUtf8 ? kDots[moment_.turn % kDots.size()]
                              : kStrokes[moment_.turn % kStrokes.size()];
    }

    // Names are of a few plain characters where they come from the configuration; those of the
    // owner's list may be anything.
    std::string Padded(const std::string& text, size_t width) const {
        std::string shown = CutVisible(GrpOwnerLinux::PrintableLine(text), width, screen_.isUtf8);
        shown.append(width - std::min(width, CountVisible(shown)), ' ');
        return shown;
    }

    std::string PaintedPadded(const std::string& text, Style style, size_t width) const {
        return Paint(text, style, screen_.isColored) +
               std::string(width - std::min(width, text.size()), ' ');
    }

    static constexpr char kOutside[] = "not of this change";

    const ProgressModel& model_;
    const Headline& headline_;
    const Moment& moment_;
    const Screen& screen_;
    const size_t rows_;
    const size_t width_;
    const size_t wordWidth_;
    const std::string gap_;
    size_t nameWidth_ = 0;
    std::vector<std::string> lines_;
};

}  // namespace

std::vector<std::string> FrameOf(const ProgressModel& model, const Headline& headline,
                                 const Moment& moment, const Screen& screen, WindowSize size) {
    return FrameMaker(model, headline, moment, screen, size).Make();
}

}  // namespace GrpCtl
