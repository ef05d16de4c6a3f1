// Shows what applications print.

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <map>
#include <optional>
#include <vector>

#include "client/grpctl/group/group.h"
#include "client/grpctl/group/session.h"
#include "client/grpctl/trace/process_log.h"
#include "client/grpctl/typed/verb_runs.h"

namespace GrpCtl {

namespace {

using std::chrono::milliseconds;

/// One command. Lives for one call.
class LogShower {
public:
    explicit LogShower(const Options& options)
        : options_(options),
          session_(options),
          stream_(Open()),
          lines_(stream_.Hello(), options.operands, Screen::Of(STDOUT_FILENO, options.color)) {}

    int Run() {
        if (!stream_.Hello().value("keeps_output", true)) {
            throw Failure{kFailed, "the process manager keeps no output",
                          "it was started with --capture 0", ""};
        }
        if (options_.format == Format::kJson) {
            Put(stream_.Line() + "\n");
        }
        ShowPast();
        while (options_.isFollowing) {
            Show(Next(), stream_.Line());
            (void)std::fflush(stdout);  // main looks at the stream's state
        }
        return kDone;
    }

private:
    struct Told {
        Json object;
        std::string line;
    };

    JsonStream Open() {
        // A start, a signal and an end for each line are enough; what is older than the lines is
        // left out anyway.
        constexpr uint64_t kEventsOfLine = 4;
        constexpr uint64_t kMostEvents = 4096;
        Group::Learn(session_.Client()).Check(options_.operands);
        const uint64_t lines = LineCount();
        return OpenProcessLog(
            session_.Socket(),
            {session_.Facts().owner, options_.operands, lines,
             std::min(std::min(lines, kMostEvents) * kEventsOfLine * options_.operands.size(),
                      kMostEvents),
             options_.isFollowing},
            options_.Timeout());
    }

    uint64_t LineCount() const { return options_.lineCount.value_or(10); }

    Json Next() {
        constexpr milliseconds kLongest = std::chrono::hours(1);
        while (true) {
            // Only a follower waits without an end.
            const bool isPatient = isPastOver_ && !options_.timeout;
            if (auto object = stream_.Next(isPatient ? kLongest : options_.Timeout(),
                                           session_.InterruptDescriptor())) {
                return std::move(*object);
            }
            if (!isPatient) {
                throw Failure{kNoAnswer, "nothing has come in time", "",
                              "give it longer with --timeout"};
            }
        }
    }

    // What is past is known as a whole before it is shown: where older lines were not asked for,
    // events that are as old as these are left out as well.
    void ShowPast() {
        struct Lines {
            uint64_t count = 0;
            int64_t oldest = 0;
        };
        std::vector<Told> past;
        std::map<std::string, Lines> lines;
        while (!isPastOver_) {
            Json object = Next();
            const std::string kind = TextIn(object, "kind");
            isPastOver_ = kind == "live" || kind == "end";
            if (kind == "output") {
                Lines& known = lines[TextIn(object, "application")];
                known.oldest = known.count++ == 0 ? NumberIn(object, "seq") : known.oldest;
            }
            past.push_back({std::move(object), stream_.Line()});
        }
        for (const Told& told : past) {
            const Lines& known = lines[TextIn(told.object, "application")];
            if (known.count < LineCount() || NumberIn(told.object, "seq") >= known.oldest) {
                Show(told.object, told.line);
            }
        }
        (void)std::fflush(stdout);
    }

    void Show(const Json& object, const std::string& line) const {
        Put(options_.format == Format::kJson ? line + "\n" : lines_.Of(object));
    }

    const Options& options_;
    Session session_;
    JsonStream stream_;
    const LogLines lines_;
    bool isPastOver_ = false;
};

}  // namespace

int RunLog(const Options& options) {
    try {
        return LogShower(options).Run();
    } catch (const Failure& failure) {
        if (failure.code == kInterrupted && options.isFollowing) {
            return kInterrupted;  // the way to end it: nothing went wrong
        }
        throw;
    }
}

}  // namespace GrpCtl
