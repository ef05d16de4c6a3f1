#include "client/grpctl/trace/last_words.h"

#include "client/grpctl/text/failure.h"
#include "client/grpctl/trace/process_log.h"

namespace GrpCtl {

namespace {

using std::chrono::milliseconds;

constexpr size_t kLines = 5;

/// Of one application: its present process, and the one before it that has ended unasked.
struct Runs {
    LastWords present, ended;
    bool isStopped = false;  // the present one was told to end
};

void Take(const Json& object, Runs& runs) {
    if (TextIn(object, "kind") == "spawned") {
        runs.present = {};
        runs.isStopped = false;
    } else if (TextIn(object, "kind") == "signal") {
        runs.isStopped = true;
    } else if (TextIn(object, "kind") == "output") {
        runs.present.lines.push_back(TextIn(object, "text"));
    } else if (const std::string end = EndOf(object); !end.empty()) {
        runs.present.end = end;
        if (!runs.isStopped) {
            runs.ended = std::move(runs.present);
        }
        runs.present = {};
    }
}

// What a new process says while the failed one is being asked for is not what is meant.
LastWords Choose(Runs& runs) {
    LastWords& words = runs.ended.end.empty() ? runs.present : runs.ended;
    if (words.lines.size() > kLines) {
        words.lines.erase(words.lines.begin(),
                          words.lines.end() - static_cast<std::ptrdiff_t>(kLines));
    }
    return std::move(words);
}

}  // namespace

AllLastWords AskForLastWords(const std::string& ownerSocket, const std::string& owner,
                             const std::vector<std::string>& names,
                             std::chrono::steady_clock::time_point since) {
    constexpr milliseconds kPatience{500};
    constexpr size_t kEvents = 16;  // of each: some restarts, with their signals
    AllLastWords all;
    try {
        std::map<std::string, Runs> runs;
        JsonStream stream = OpenProcessLog(
            ownerSocket, {owner, names, 4 * kLines, kEvents * names.size(), false}, kPatience);
        auto object = stream.Next(kPatience, -1);
        while (object && TextIn(*object, "kind") != "end") {
            const std::chrono::nanoseconds time(NumberIn(*object, "time"));
            if (time >= since.time_since_epoch()) {
                Take(*object, runs[TextIn(*object, "application")]);
            }
            object = stream.Next(kPatience, -1);
        }
        for (auto& [name, its] : runs) {
            LastWords words = Choose(its);
            if (!words.end.empty() || !words.lines.empty()) {
                all[name] = std::move(words);
            }
        }
    } catch (const Failure&) {
        all.clear();
    }
    return all;
}

std::string TextOf(const AllLastWords& all, const Screen& screen) {
    std::string text;
    for (const auto& [name, words] : all) {
        text += "\n" + Paint(TerminalText(name), Style::kHead, screen.isColored);
        text += words.end.empty() ? "" : ": " + TerminalText(words.end);
        text += words.lines.empty() ? "\n" : ", its last words:\n";
        for (const std::string& line : words.lines) {
            text += "  " + TerminalText(line) + "\n";
        }
    }
    return text;
}

}  // namespace GrpCtl
