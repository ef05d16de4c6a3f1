#include "client/grpctl/timeline/chrome.h"

#include <string>
#include <utility>

#include "client/grpctl/timeline/picture_style.h"
#include "client/grpctl/timeline/words.h"

namespace GrpCtl::Timeline {

namespace {

// Viewers show the second one first when it has the lower number.
constexpr int kRequests = 1;
constexpr int kApplications = 2;

class Writer {
public:
    explicit Writer(const Story& story) : story_(story) {}

    Json Write() {
        Name(kRequests, story_.owner + ": requests");
        Name(kApplications, story_.owner + ": applications");
        Bands(story_.requests, 1, "requests");
        Bands(story_.phases, 2, "phases");
        for (size_t row = 0; row < story_.rows.size(); ++row) {
            WriteRow(row);
        }
        for (size_t place = 0; place < story_.moves.size(); ++place) {
            Flow(place);
        }
        Json json = Json::object();
        json["displayTimeUnit"] = "ms";
        json["traceEvents"] = std::move(events_);
        return json;
    }

private:
    double Microseconds(int64_t when) const {
        return static_cast<double>(when - story_.origin) / 1000;
    }

    static size_t ThreadOf(size_t row) { return row + 1; }

    Json& Add(const char* phase, int process, size_t thread, const std::string& name) {
        events_.push_back({{"ph", phase}, {"pid", process}, {"tid", thread}, {"name", name}});
        return events_.back();
    }

    void Name(int process, const std::string& name) {
        Add("M", process, 0, "process_name")["args"]["name"] = name;
        Add("M", process, 0, "process_sort_index")["args"]["sort_index"] = process;
    }

    void Name(int process, size_t thread, const std::string& name) {
        Add("M", process, thread, "thread_name")["args"]["name"] = name;
        Add("M", process, thread, "thread_sort_index")["args"]["sort_index"] = thread;
    }

    Json& Slice(int process, size_t thread, const std::string& name, int64_t begin, int64_t end) {
        Json& event = Add("X", process, thread, name);
        event["ts"] = Microseconds(begin);
        event["dur"] = static_cast<double>(end - begin) / 1000;
        return event;
    }

    // Overlapping ones are no nesting, so they are asynchronous.
    void Bands(const std::vector<Band>& bands, size_t thread, const std::string& name) {
        Name(kRequests, thread, name);
        for (const Band& band : bands) {
            const std::string id = std::to_string(++id_);
            for (const bool isBegin : {true, false}) {
                Json& event = Add(isBegin ? "b" : "e", kRequests, thread, band.words);
                event["cat"] = name;
                event["id"] = id;
                event["ts"] = Microseconds(isBegin ? band.begin : band.end);
                if (isBegin && !band.asker.empty()) {
                    event["args"]["asked for by"] = band.asker;
                } else if (!isBegin && band.isDone) {
                    event["args"]["success"] = *band.isDone;
                }
            }
        }
    }

    void WriteRow(size_t index) {
        const Row& row = story_.rows[index];
        Name(kApplications, ThreadOf(index), row.name);
        for (const Span& span : row.spans) {
            Json& event = Slice(kApplications, ThreadOf(index), std::string(StyleOf(span.stage)),
                                span.begin, span.end);
            event["cat"] = "state";
            if (span.pid > 0) {
                event["args"]["pid"] = span.pid;
            }
        }
        for (const Mark& mark : row.marks) {
            Json& event = Add("i", kApplications, ThreadOf(index), mark.words);
            event["cat"] = "mark";
            event["ts"] = Microseconds(mark.when);
            event["s"] = "t";
        }
    }

    // From the end of what was waited for to the start of what waited.
    void Flow(size_t place) {
        const Move& move = story_.moves[place];
        if (!move.waitedFor || story_.moves[*move.waitedFor].done == 0) {
            return;
        }
        const Move& before = story_.moves[*move.waitedFor];
        const std::string id = std::to_string(++id_);
        for (const bool isBegin : {true, false}) {
            Json& event = Add(isBegin ? "s" : "f", kApplications,
                              ThreadOf(isBegin ? before.row : move.row), "releases");
            event["cat"] = "cause";
            event["id"] = id;
            event["ts"] = Microseconds(isBegin ? before.done - 1 : move.begin);
            if (!isBegin) {
                event["bp"] = "e";
            }
        }
    }

    const Story& story_;
    Json events_ = Json::array();
    size_t id_ = 0;
};

}  // namespace

Json ToChrome(const Story& story) {
    return Writer(story).Write();
}

}  // namespace GrpCtl::Timeline
