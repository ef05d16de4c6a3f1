#include "daemons/grpowner-replay/player.h"

#include <cerrno>
#include <utility>

#include "grpowner/trace.h"

namespace GrpOwnerReplay {

namespace {

namespace Seeded = ProcMgr::Seeded;
using GrpOwnerRecording::Escape;
using GrpOwnerRecording::FieldReader;
using ProcMgr::AppReportState;
using ProcMgr::ProcMgrGrpOwner;

constexpr std::string_view kStamp = "s][BOOT_TRACE]";

const char* NameOf(Kind kind) {
    constexpr const char* kNames[] = {"in", "out", "ask", "got", "log", "steps"};
    return kNames[static_cast<size_t>(kind)];
}

// "[12.345678s][BOOT_TRACE]" is another time on every machine.
std::string WithoutStamp(const std::string& text) {
    const size_t end = text.find(kStamp);
    const size_t begin = end == text.npos ? text.npos : text.rfind('[', end);
    return begin == text.npos ? text : text.substr(0, begin + 1) + text.substr(end);
}

std::string LevelName(const std::string& level) {
    constexpr std::pair<const char*, const char*> kNames[] = {
        {"0", "debug"}, {"1", "info"}, {"2", "warning"}, {"3", "error"}, {"16", "event"}};
    for (const auto& [number, name] : kNames) {
        if (level == number) {
            return name;
        }
    }
    return level;
}

std::string Join(const std::vector<std::string>& fields) {
    std::string text;
    for (const std::string& field : fields) {
        text.append(text.empty() ? "" : " ").append(Escape(field));
    }
    return text;
}

std::string Describe(const Entry& entry) {
    return entry.kind == Kind::kLog
               ? "line: " + Escape(WithoutStamp(entry.fields.front()), true)
               : std::string(NameOf(entry.kind)) + " " + entry.what + " " + Join(entry.fields);
}

std::string TimeText(std::chrono::nanoseconds time) {
    char text[32];
    std::snprintf(text, sizeof(text), "%10.6f",
                  std::chrono::duration_cast<std::chrono::duration<double>>(time).count());
    return text;
}

/// What the platform's functions are called in a recording, and whether what they are about is
/// bytes behind a handle.
struct Asked {
    std::string_view function;
    const char* what;
    enum class About { kNothing, kName, kBytes } about;
};
constexpr Asked kAsked[] = {
    {"EzcomOpen", "pipe-open", Asked::About::kNothing},
    {"EzcomSendRequest", "pipe-send", Asked::About::kBytes},
    {"EzcomRPCSync", "pipe-call", Asked::About::kBytes},
    {"EzcomClosePipe", "pipe-close", Asked::About::kNothing},
    {"RegisterSendHeartBeat", "beat-send", Asked::About::kNothing},
    {"UnregisterSendHeartBeat", "beat-stop", Asked::About::kNothing},
    {"RegisterCheckHeartBeat", "beat-check", Asked::About::kName},
    {"UnregisterCheckHeartBeat", "beat-uncheck", Asked::About::kName},
    {"DisableAllCheckHeartBeat", "beat-uncheck-all", Asked::About::kNothing},
    {"ParseToReplaceData", "replacements", Asked::About::kName},
    {"ParseYaml", "configuration", Asked::About::kName},
    {"IAMRegisterService", "serve-file", Asked::About::kName},
};

ProcMgrGrpOwner& Owner() {
    return ProcMgrGrpOwner::GetInstance();
}

int Configure(FieldReader& fields) {
    ProcMgr::GrpOwnerCfg cfg;
    cfg.startupEntry = fields.Text();
    cfg.spareName = fields.Text();
    cfg.ssResFileName = fields.Text();
    cfg.enableEvent = fields.Get<int>() != 0;
    cfg.enableSsServer = fields.Get<int>() != 0;
    cfg.logOutput = fields.Get<uint64_t>();
    return Owner().GrpOwnerConfig(cfg);
}

int OpenTrace(FieldReader& fields) {
    ProcMgr::OwnerTrace::Open(fields.Get<size_t>(), {});
    return 0;
}

int ReportState(FieldReader& fields) {
    const std::string name = fields.Text();
    const int pid = fields.Get<int>();
    return Owner().ReportAppStateFromApp(name, pid,
                                         static_cast<AppReportState>(fields.Get<uint32_t>()));
}

int ReportEvent(FieldReader& fields) {
    const std::string bytes = fields.Bytes();
    return Owner().ReportEventFromApp(reinterpret_cast<const unsigned char*>(bytes.data()),
                                      static_cast<unsigned>(bytes.size()));
}

int Change(FieldReader& fields) {
    const std::vector<std::string> term = fields.Texts();
    const std::vector<std::string> start = fields.Texts();
    std::map<std::string, bool> results;
    return Owner().ChangeAppState(term, start, fields.Texts(), results);
}

int QueryInfo(FieldReader& fields) {
    ProcMgr::ApplicationInfo info;
    return Owner().QueryAppInfo(fields.Text(), info);
}

bool Agrees(const Entry* got) {
    return got != nullptr && FieldReader(got->fields).Get<int>() != 0;
}

// The end of the run comes first.
[[noreturn]] void WaitForEver() {
    for (;;) {
        Seeded::AwaitTurn();
    }
}

}  // namespace

/// What the host has called, by its name in a recording.
struct Player::HostCall {
    std::string_view what;
    int (*make)(Player& player, FieldReader& fields);
};

// clang-format off
constexpr Player::HostCall Player::kHostCalls[] = {
    {"instance",         [](Player&, FieldReader&) { (void)Owner(); return 0; }},
    {"config",           [](Player&, FieldReader& fields) { return Configure(fields); }},
    {"subscribe-system", [](Player& player, FieldReader&) { return player.SubscribeSystemState(); }},
    {"subscribe-app",    [](Player& player, FieldReader&) { return player.SubscribeAppState(); }},
    {"enable",           [](Player&, FieldReader&) { return Owner().GrpOwnerEnable(); }},
    {"disable",          [](Player&, FieldReader&) { return Owner().GrpOwnerDisable(); }},
    {"start-base",       [](Player&, FieldReader&) { return Owner().StartAutoStartApp() ? 1 : 0; }},
    {"self-state",       [](Player&, FieldReader& fields) { return Owner().ReportSelfStateToPm(fields.Get<int>() != 0); }},
    {"trace",            [](Player&, FieldReader& fields) { return OpenTrace(fields); }},
    {"app-report",       [](Player&, FieldReader& fields) { return ReportState(fields); }},
    {"app-event",        [](Player&, FieldReader& fields) { return ReportEvent(fields); }},
    {"exists",           [](Player&, FieldReader& fields) { return Owner().CheckAppExisted(fields.Text()) ? 1 : 0; }},
    {"info",             [](Player&, FieldReader& fields) { return QueryInfo(fields); }},
    {"restart",          [](Player&, FieldReader& fields) { return Owner().GrpOwnerRestartApp(fields.Text()); }},
    {"change",           [](Player&, FieldReader& fields) { return Change(fields); }},
};
// clang-format on

Player::Player(const Recording& recording, std::function<void(const std::string& line)> tell)
    : tell_(std::move(tell)), script_(recording.entries) {
    GrpOwnerMemory::SetLogHook([this](const auto& line) { OnLine(line); });
    GrpOwnerMemory::SetCallHook([this](const auto& call) { return OnCall(call); });
    GrpOwnerMemory::SetAnswer([this](const auto& /*request*/) {
        return hasAnswer_ ? std::optional(answer_) : std::nullopt;
    });
}

Player::~Player() {
    GrpOwnerMemory::Reset();
}

Outcome Player::Play() {
    std::vector<Seeded::RunningThread> threads;
    for (const std::string& name : script_.Threads()) {
        threads.push_back(Seeded::Begin(name, [this, name] { PlayThread(name); }));
    }
    Seeded::AwaitTurn();  // the end of the recording
    if (script_.PassedOver() > 0 && outcome_.differences == 0) {
        Differ(nullptr, "an order of threads", "they hold each other up in that order");
    }
    // What was under way at the end of the recording is still: there is nobody to be waited for.
    (void)std::make_unique<decltype(threads)>(std::move(threads)).release();
    return outcome_;
}

void Player::PlayThread(const std::string& thread) {
    while (const Entry* entry = script_.Peek(thread)) {
        Seeded::AwaitTurn();
        script_.Make(thread);
        if (entry->kind != Kind::kIn) {
            Differ(entry, Describe(*entry), "nothing");
            continue;
        }
        ++outcome_.requests;
        const FieldWriter result = CarryOut(*entry);
        if (const Entry* out = Await(Kind::kOut, entry->what)) {
            Compare(*out, result, "result");
        }
    }
    WaitForEver();
}

Player::FieldWriter Player::CarryOut(const Entry& entry) {
    FieldReader fields(entry.fields);
    if (entry.what == "record") {
        (void)GrpOwnerMemory::Deliver(fields.Bytes());  // without a pipe nobody hears it
        return {};
    }
    if (entry.what == "heartbeat") {
        const std::string name = fields.Text();
        const auto pid = fields.Get<unsigned>();
        const int status = fields.Get<int>();
        if (const auto callback = GrpOwnerMemory::CheckCallback(name)) {
            heartBeat_ = callback;  // a notice may cross the end of its check
        }
        return FieldWriter()(
            heartBeat_ == nullptr ? 0 : heartBeat_(name.data(), name.size(), pid, status));
    }
    if (entry.what == "open-file" || entry.what == "command" || entry.what == "close-file") {
        return CallFile(entry);
    }
    return CallOwner(entry);
}

Player::FieldWriter Player::CallFile(const Entry& entry) {
    FieldReader fields(entry.fields);
    auto& file = files_[entry.thread];
    if (entry.what == "open-file") {
        file = std::make_unique<GrpOwnerMemory::VirtualFileClient>(fields.Text());
        return FieldWriter()(file->OpenResult());
    }
    if (entry.what == "close-file" || file == nullptr) {
        file.reset();
        return {};
    }
    const auto command = fields.Get<uint32_t>();
    std::string buffer = fields.Bytes();
    const int code = file->Ioctl(command, buffer.empty() ? nullptr : buffer.data(), buffer.size());
    return FieldWriter()(code).Bytes(buffer.data(), buffer.size());
}

Player::FieldWriter Player::CallOwner(const Entry& entry) {
    FieldReader fields(entry.fields);
    for (const HostCall& call : kHostCalls) {
        if (call.what == entry.what) {
            return FieldWriter()(call.make(*this, fields));
        }
    }
    Differ(&entry, Describe(entry), "nobody knows what that is");
    return {};
}

int Player::SubscribeSystemState() {
    return Owner().SubscribeSystemState([this](int state, int timeout) {
        return Agrees(Ask("system-state", FieldWriter()(state)(timeout)));
    });
}

int Player::SubscribeAppState() {
    return Owner().SubscribeAppState(
        [this](const std::string& name, int pid, AppReportState state) {
            return Agrees(Ask("app-state", FieldWriter()(name)(pid)(static_cast<uint32_t>(state))));
        });
}

void Player::OnLine(const GrpOwnerMemory::LogLine& line) {
    const std::string thread = Seeded::ThreadName();
    const std::string level = std::to_string(line.level);
    const Entry* entry = script_.Peek(thread);
    if (entry == nullptr && !thread.empty()) {
        WaitForEver();
    }
    const bool isLine = entry != nullptr && entry->kind == Kind::kLog;
    if (isLine) {
        Seeded::AwaitTurn();
        script_.Make(thread);
    }
    const std::string text = WithoutStamp(line.text);
    ++outcome_.lines;
    tell_(TimeText(script_.Time()) + " " + thread + " " + LevelName(level) + ": " +
          Escape(text, true));
    if (!isLine) {
        Differ(entry, entry == nullptr ? "nothing" : Describe(*entry), "line: " + text);
    } else if (entry->what != level || WithoutStamp(entry->fields.front()) != text) {
        Differ(entry, Describe(*entry), "line: " + Escape(text, true));
    }
}

std::optional<int> Player::OnCall(const GrpOwnerMemory::PlatformCall& call) {
    for (const Asked& asked : kAsked) {
        if (asked.function != call.function) {
            continue;
        }
        FieldWriter about;
        if (asked.about == Asked::About::kName) {
            about(call.what);
        } else if (asked.about == Asked::About::kBytes) {
            about.Bytes(call.what.data(), call.what.size());
        }
        const Entry* got = Ask(asked.what, about);
        if (got == nullptr) {
            return std::nullopt;  // not asked before: it succeeds
        }
        FieldReader fields(got->fields);
        const int result = TakeAnswer(asked.function, fields);
        // What succeeds has its effect in memory too, and the same handle.
        return result < 0 ? std::optional(result) : std::nullopt;
    }
    return std::nullopt;
}

int Player::TakeAnswer(std::string_view function, FieldReader& fields) {
    const int result = fields.Get<int>();
    if (function == "EzcomOpen") {
        errno = fields.Get<int>();
    } else if (function == "EzcomRPCSync") {
        hasAnswer_ = fields.Get<int>() != 0;
        answer_ = fields.Bytes();
    } else if (function == "ParseToReplaceData" && result == 0) {
        GrpOwnerMemory::SetMatchData(fields.Map());
    } else if (function == "ParseYaml" && result == 0) {
        std::vector<ManifestFields> manifests;
        for (auto left = fields.Get<size_t>(); left > 0 && fields.Good(); --left) {
            manifests.push_back(fields.Manifest());
        }
        GrpOwnerMemory::SetConfiguration(manifests);
    }
    return result;
}

const Entry* Player::Ask(const std::string& what, const FieldWriter& fields) {
    const Entry* asked = Await(Kind::kAsk, what);
    if (asked == nullptr) {
        return nullptr;
    }
    Compare(*asked, fields, "call");
    return Await(Kind::kGot, what);
}

const Entry* Player::Await(Kind kind, const std::string& what) {
    const std::string thread = Seeded::ThreadName();
    const Entry* entry = script_.Peek(thread);
    if (entry == nullptr) {
        WaitForEver();
    }
    if ((entry->kind != kind || entry->what != what) && !SkipTo(thread, kind, what)) {
        return nullptr;
    }
    entry = script_.Peek(thread);
    Seeded::AwaitTurn();
    script_.Make(thread);
    return entry;
}

// Leaves out what is recorded before it.
bool Player::SkipTo(const std::string& thread, Kind kind, const std::string& what) {
    const auto fits = [&](const Entry& entry) { return entry.kind == kind && entry.what == what; };
    const std::string replayed = std::string(NameOf(kind)) + " " + what;
    const Entry* const sought = script_.Find(thread, fits);
    for (const Entry* entry = script_.Peek(thread); entry != nullptr && entry != sought;
         entry = script_.Peek(thread)) {
        Differ(entry, Describe(*entry), replayed);
        if (sought == nullptr) {
            return false;
        }
        script_.Drop(thread);
    }
    return true;
}

void Player::Compare(const Entry& entry, const FieldWriter& fields, const char* of) {
    // Of a call only what it is about is known here: what is before that is a handle.
    const auto& recorded = entry.fields;
    const size_t offset = recorded.size() - std::min(recorded.size(), fields.fields.size());
    const std::vector<std::string> tail(recorded.begin() + static_cast<std::ptrdiff_t>(offset),
                                        recorded.end());
    if (tail != fields.fields && !(entry.kind == Kind::kAsk && fields.fields.empty())) {
        Differ(&entry, Describe(entry), std::string(of) + " " + Join(fields.fields));
    }
}

void Player::Differ(const Entry* entry, const std::string& recorded, const std::string& replayed) {
    if (outcome_.differences++ > 0) {
        return;
    }
    outcome_.first = entry == nullptr ? "behind the last entry\n"
                                      : "entry " + std::to_string(entry->number) + ", thread " +
                                            Escape(entry->thread) + "\n";
    outcome_.first += "  recorded: " + recorded + "\n  replayed: " + replayed + "\n";
}

}  // namespace GrpOwnerReplay
