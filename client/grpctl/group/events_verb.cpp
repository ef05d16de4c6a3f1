// Shows what the owner's event queue brings.

#include <ctime>

#include <charconv>
#include <cstdio>
#include <optional>

#include "client/event_numbers.h"
#include "client/event_reader.h"
#include "client/grpctl/group/group.h"
#include "client/grpctl/group/session.h"
#include "client/grpctl/text/json_output.h"
#include "client/grpctl/typed/verb_runs.h"
#include "grpowner/enumerations.h"
#include "platform/linux/utf8.h"

namespace GrpCtl {

namespace {

using GrpOwnerClient::EventReader;
using GrpOwnerClient::Result;
using std::chrono::milliseconds;

using GrpOwnerClient::EventKind;
using GrpOwnerClient::kEventKindStep;
using GrpOwnerClient::kEventOther;

struct Kind {
    EventKind number;
    const char* name;
    const char* words;
    bool isOfApplication;
};

constexpr Kind kKinds[] = {
    {EventKind::kStateAccepted, "STATE_ACCEPTED", "accepted", false},
    {EventKind::kStateReached, "STATE_REACHED", "reached", false},
    {EventKind::kStateFailed, "STATE_FAILED", "not reached", false},
    {EventKind::kCrashed, "CRASHED", "crashed", true},
    {EventKind::kHeartBeatLost, "HEART_BEAT_LOST", "heartbeat lost", true},
    {EventKind::kHeartBeatBack, "HEART_BEAT_BACK", "heartbeat back", true},
};

const Kind* FindKind(uint32_t event) {
    for (const Kind& kind : kKinds) {
        if (static_cast<uint32_t>(kind.number) == event / kEventKindStep) {
            return &kind;
        }
    }
    return nullptr;
}

std::string TimeOfDay() {
    timespec now{};
    tm parts{};
    (void)clock_gettime(CLOCK_REALTIME, &now);  // cannot fail for this clock
    char text[32];
    const size_t length = localtime_r(&now.tv_sec, &parts) == nullptr
                              ? 0
                              : std::strftime(text, sizeof(text), "%H:%M:%S", &parts);
    std::snprintf(text + length, sizeof(text) - length, ".%03ld", now.tv_nsec / 1000000);
    return text;
}

/// Knows what the numbers mean. Without the owner's configuration they stay numbers.
class Reading {
public:
    explicit Reading(const Options& options) {
        try {
            Session session(options);
            const Group group = Group::Learn(session.Client());
            for (const ApplicationManifest& manifest : group.Manifests()) {
                names_.push_back(manifest.GetAppName());
            }
        } catch (const Failure& failure) {
            Say(options, "the applications' names are not known: " + failure.what);
        }
    }

    Json ToJson(const std::string& block) const {
        Json json = NewObject();
        const std::optional<uint32_t> event = ToNumber(block);
        if (!event) {
            json["bytes"] = block;
            return json;
        }
        json["event"] = *event;
        if (const Kind* kind = FindKind(*event)) {
            json["kind"] = kind->name;
            json[kind->isOfApplication ? "application" : "systemState"] =
                Subject(*kind, *event % kEventKindStep);
        }
        return json;
    }

    std::string ToText(const std::string& block) const {
        const std::optional<uint32_t> event = ToNumber(block);
        const Kind* const kind = event ? FindKind(*event) : nullptr;
        std::string text = TimeOfDay() + "  " + GrpOwnerLinux::PrintableLine(block);
        if (kind != nullptr) {
            text += (kind->isOfApplication ? "  " : "  system state ") +
                    Subject(*kind, *event % kEventKindStep) + " " + kind->words;
        }
        return text + "\n";
    }

private:
    static std::optional<uint32_t> ToNumber(const std::string& block) {
        uint32_t number = 0;
        const char* const end = block.data() + block.size();
        const auto [rest, error] = std::from_chars(block.data(), end, number);
        return error == std::errc() && rest == end ? std::optional(number) : std::nullopt;
    }

    std::string Subject(const Kind& kind, uint32_t number) const {
        if (number == kEventOther) {
            return "other";
        }
        if (kind.isOfApplication) {
            return number < names_.size() ? names_[number] : std::to_string(number);
        }
        const std::string state = ProcMgr::GetSysState(number);
        return state.empty() ? std::to_string(number) : state;
    }

    std::vector<std::string> names_;
};

}  // namespace

int RunEvents(const Options& options) {
    constexpr milliseconds kConnectLimit{5000};
    constexpr milliseconds kLongest = std::chrono::hours(1);
    const std::string name = options.operands.empty() ? "" : options.operands.front();
    EventReader reader = Need(EventReader::Open(FindQueueSocket(options, name), kConnectLimit));
    const Reading reading(options);
    const Interrupt interrupt;
    for (uint64_t count = 0; !options.eventCount || count < *options.eventCount;) {
        const Result<std::string> event =
            reader.Next(options.timeout.value_or(kLongest), interrupt.Descriptor());
        if (event) {
            if (options.format == Format::kJson) {
                PutJsonLine(reading.ToJson(*event));
            } else {
                Put(reading.ToText(*event));
            }
            (void)std::fflush(stdout);  // main looks at the stream's state
            ++count;
        } else if (options.timeout ||
                   event.GetError().kind != GrpOwnerClient::ErrorKind::kTimeout) {
            throw ToFailure(event.GetError());
        }
    }
    return kDone;
}

}  // namespace GrpCtl
