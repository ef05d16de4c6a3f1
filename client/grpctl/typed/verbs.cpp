#include "client/grpctl/typed/verbs.h"

#include <algorithm>
#include <charconv>

#include "client/grpctl/text/duration.h"
#include "client/grpctl/text/failure.h"
#include "client/grpctl/typed/verb_runs.h"
#include "platform/linux/utf8.h"

namespace GrpCtl {

namespace {

using Text = const std::string&;

uint64_t ToNumber(const std::string& text, const std::string& name, uint64_t most) {
    uint64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    if (text.empty() || error != std::errc() || rest != end || number > most) {
        throw Failure{kWrongUsage, GrpOwnerLinux::Quote(text) + " is not a number for " + name, "",
                      "0 to " + std::to_string(most)};
    }
    return number;
}

void Append(std::vector<std::string>& names, const std::string& text) {
    for (std::string& name : Split(text, ',')) {
        names.push_back(std::move(name));
    }
}

std::chrono::milliseconds ToTime(Text text) {
    const auto time = ParseDuration(text);
    if (!time) {
        throw Failure{
            kWrongUsage, GrpOwnerLinux::Quote(text) + " is not a time", "",
            "write a number with its unit, at least 1ms and a day at most: 500ms, 3s, 2m"};
    }
    return *time;
}

void SetFormat(Options& options, Text word) {
    options.format = word == "wide"   ? Format::kWide
                     : word == "json" ? Format::kJson
                     : word == "name" ? Format::kName
                     : word == "pid"  ? Format::kPid
                                      : Format::kText;
}

void SetColor(Options& options, Text word) {
    options.color = word == "always"  ? Color::kAlways
                    : word == "never" ? Color::kNever
                                      : Color::kAuto;
}

void SetProgress(Options& options, Text word) {
    options.progress = word == "tty"     ? ProgressForm::kTerminal
                       : word == "plain" ? ProgressForm::kPlain
                       : word == "json"  ? ProgressForm::kJson
                       : word == "none"  ? ProgressForm::kNone
                                         : ProgressForm::kAuto;
}

void AddParameter(Options& options, Text text) {
    constexpr uint64_t kMostIndex = 2;
    const size_t equals = text.find('=');
    if (equals == std::string::npos) {
        throw Failure{kWrongUsage, GrpOwnerLinux::Quote(text) + " is not a parameter", "",
                      "write its index, 0 to 2, and its values: --param 0=a,b"};
    }
    const auto index =
        static_cast<int32_t>(ToNumber(text.substr(0, equals), "--param", kMostIndex));
    Append(options.parameters[index], text.substr(equals + 1));
}

void Define(Options& options, Text text) {
    const size_t equals = text.find('=');
    if (equals == 0 || equals == std::string::npos) {
        throw Failure{kWrongUsage, GrpOwnerLinux::Quote(text) + " is not NAME=VALUE", "",
                      "write what stands for ${NAME}: --define BIN=/opt/rover"};
    }
    options.defines[text.substr(0, equals)] = text.substr(equals + 1);
}

// clang-format off
const std::vector<Switch> kSwitches{
    {"-o,--output", "FORMAT", "text|wide|json|name|pid", "",
     "How to show results: text, wide, json, name or pid",
     [](Options& o, Text v) { SetFormat(o, v); }},
    {"--json", "", "", "", "The same as -o json; objects carry \"schema\": 1",
     [](Options& o, Text) { o.format = Format::kJson; }},
    {"-q,--quiet", "", "", "", "No messages but errors",
     [](Options& o, Text) { o.isQuiet = true; }},
    {"--color", "WHEN", "auto|always|never", "", "auto, always or never",
     [](Options& o, Text v) { SetColor(o, v); }},
    {"--socket", "PATH", "", "", "The owner's socket",
     [](Options& o, Text v) { o.socket = v; }},
    {"--owner", "NAME", "", "", "The owner's name, when the run directory has several",
     [](Options& o, Text v) { o.owner = v; }},
    {"--timeout", "TIME", "", "", "How long a change, a query or a wait may take, for example 500ms or 3s (default: 5s)",
     [](Options& o, Text v) { o.timeout = ToTime(v); }},

    {"--progress", "FORM", "auto|tty|plain|json|none", "start stop restart change stop-all",
     "How to show what happens meanwhile, on standard error: in place, by lines, by JSON lines or not at all",
     [](Options& o, Text v) { SetProgress(o, v); }},
    {"--dry-run", "", "", "start stop restart change", "Show what would be done and ask the owner whether it would accept it",
     [](Options& o, Text) { o.isDryRun = true; }},
    {"--no-deps", "", "", "start change", "Send exactly what is typed",
     [](Options& o, Text) { o.isWithoutDependencies = true; }},
    {"--with-dependents", "", "", "stop change", "Stop running applications that need a stopped one too",
     [](Options& o, Text) { o.isWithDependents = true; }},
    {"--force", "", "", "stop change", "Stop it although running applications need it",
     [](Options& o, Text) { o.isForced = true; }},
    {"--param", "INDEX=VALUE,...", "", "start restart", "Parameter of a template, index 0 to 2; may be repeated",
     [](Options& o, Text v) { AddParameter(o, v); }},
    {"--stop", "NAME,...", "", "change", "Stop these first",
     [](Options& o, Text v) { Append(o.stops, v); }},
    {"--start", "NAME,...", "", "change", "Then start these",
     [](Options& o, Text v) { Append(o.starts, v); }},
    {"--restart", "NAME,...", "", "change", "Then restart these",
     [](Options& o, Text v) { Append(o.restarts, v); }},
    {"-f,--file", "FILE", "", "change", "Take the change set from a file; - is standard input",
     [](Options& o, Text v) { o.changeFile = v; }},

    {"--define", "NAME=VALUE", "", "check graph", "Fill ${NAME} of the file in; may be repeated",
     [](Options& o, Text v) { Define(o, v); }},
    {"--if-falls", "NAME", "", "check", "Also show who needs this application",
     [](Options& o, Text v) { o.ifFalls = v; }},
    {"--format", "FORMAT", "tree|dot|mermaid|json", "graph", "tree (default), dot, mermaid or json",
     [](Options& o, Text v) { o.graphFormat = v; }},

    {"--trace-file", "FILE", "", "timeline critical-chain why", "Read what the owner has written with its own --trace-file",
     [](Options& o, Text v) { o.traceFile = v; }},
    {"--format", "FORMAT", "svg|chrome|trace", "timeline", "svg (default), chrome for trace viewers, or the trace itself",
     [](Options& o, Text v) { o.timelineFormat = v; }},
    {"--from", "TIME", "", "timeline", "Begin so long behind the first step",
     [](Options& o, Text v) { o.from = ToTime(v); }},
    {"--until", "TIME", "", "timeline", "End so long behind the first step",
     [](Options& o, Text v) { o.until = ToTime(v); }},
    {"--threshold", "TIME", "", "timeline", "In a diff: what is less is noise (default: 10ms, and 10% of what it was)",
     [](Options& o, Text v) { o.threshold = ToTime(v); }},

    {"--for", "STATE", "running|stopped", "wait", "running (default) or stopped",
     [](Options& o, Text v) { o.isForStopped = v == "stopped"; }},
    {"--count", "NUMBER", "", "events", "End after so many events",
     [](Options& o, Text v) { o.eventCount = ToNumber(v, "--count", UINT64_MAX); }},
    {"-f,--follow", "", "", "log", "Go on with what comes, until Ctrl-C",
     [](Options& o, Text) { o.isFollowing = true; }},
    {"-n,--lines", "NUMBER", "", "log", "How many past lines of each application (default: 10)",
     [](Options& o, Text v) { o.lineCount = ToNumber(v, "--lines", UINT32_MAX); }},
    {"--file", "FILE", "", "raw", "Send the bytes of a file; - is standard input",
     [](Options& o, Text v) { o.inputFile = v; }},
    {"--text", "TEXT", "", "raw", "Send this text",
     [](Options& o, Text v) { o.inputText = v; }},
    {"--record", "", "", "raw", "Put the bytes into a record of 4000, behind their size and the time-out",
     [](Options& o, Text) { o.isRecord = true; }},
    {"--size", "NUMBER", "", "raw", "The size that the record claims, whatever is true",
     [](Options& o, Text v) { o.claimedSize = ToNumber(v, "--size", UINT64_MAX); }},
    {"--hex", "", "", "decode", "The file holds hexadecimal digits",
     [](Options& o, Text) { o.isHex = true; }},
    {"--as", "PAYLOAD", "change|change-answer|set-state|set-state-answer|verify|list-answer|query|query-answer|flag-answer", "decode", "What a record of 4000 bytes carries",
     [](Options& o, Text v) { o.recordShape = v; }},
};

const std::vector<Verb> kVerbs{
    {"list", "", 0, 0, false, "Show all applications", "", RunList},
    {"status", "[NAME...]", 0, kAnyNumber, false, "Show the group, or some applications in detail",
     "Exit code 3 when one of the named applications does not run.", RunStatus},
    {"is-running", "NAME...", 1, kAnyNumber, false, "Tell whether applications run",
     "Exit code 0 when all of them run, else 3.", RunIsRunning},
    {"wait", "NAME...", 1, kAnyNumber, false, "Wait until applications run, or until none does",
     "Exit code 124 when that is not so within --timeout.", RunWait},
    {"start", "NAME... [-- ARGUMENT...]", 1, kAnyNumber, true, "Start applications and what they need",
     "What runs already is left alone. Arguments behind -- replace those of the configuration;\n"
     "they and --param go with one name only. With --dry-run: each wave waits for the one before,\n"
     "and the owner gives up by the time-out. -o wide cuts no list short.\n\n"
     "  grpctl start planner --dry-run\n"
     "  grpctl start recorder --param 0=left,right -- --quality 9", RunStart},
    {"stop", "NAME...", 1, kAnyNumber, false, "Stop applications",
     "Refuses while running applications need them.", RunStop},
    {"restart", "NAME... [-- ARGUMENT...]", 1, kAnyNumber, true, "Restart applications",
     "Arguments behind -- replace those of the configuration; they and --param go with one name only.",
     RunRestart},
    {"change", "", 0, 0, false, "Stop, start and restart applications in one change set",
     "The owner carries out all stops, then all starts, then all restarts; a failing step skips the\n"
     "later ones. A file looks like this:\n\n"
     "  stop: [planner]\n"
     "  start:\n"
     "    - camera\n"
     "    - {name: recorder, arguments: [--quality, \"9\"], parameters: {0: [left, right]}}\n"
     "  restart: [lidar]", RunChange},
    {"stop-all", "", 0, 0, false, "Stop all applications, driving ones first",
     "Checks afterwards and says what still runs.", RunStopAll},
    {"check", "FILE", 1, 1, false, "Tell what is wrong with a configuration, and what it amounts to",
     "Needs no owner. Exit code 1 when the file has errors; warnings do no harm. Beyond the errors:\n"
     "needs that another one includes, templates out of reach, the deepest chain, and whose fall takes\n"
     "most with it. -o wide cuts no list short.\n\n"
     "  grpctl check rover.yaml --define BIN=/opt/rover --if-falls clock", RunCheck},
    {"graph", "[FILE]", 0, 1, false, "Show who needs whom",
     "Without a file, of the running group and with its states. In a tree, below each application\n"
     "stands what it needs; what stands above already is not repeated.\n\n"
     "  grpctl graph rover.yaml --format dot | dot -Tsvg > rover.svg", RunGraph},
    {"set-state", "STATE", 1, 1, false, "Set the system state",
     "STATE is off, working, suspend, upgrade, calibration, delay_bind_core, or a number.\n"
     "What that means is the host's business: it may carry it out after it has accepted it.",
     RunSetState},
    {"verify", "NAME[=OPTION]...", 1, kAnyNumber, false, "Ask whether the owner would accept a change set",
     "OPTION is start (default), stop, restart, or any number. Nothing is changed.", RunVerify},
    {"reload", "", 0, 0, false, "Let the owner read its configuration again", "", RunReload},
    {"dump", "", 0, 0, false, "Let the owner write its state into its log", "", RunDump},
    {"critical-chain", "[NAME...]", 0, kAnyNumber, false, "Show what a start, or the boot, had to wait for",
     "Below each application stands the one whose start released it. Without a name: of the\n"
     "application that was ready last in the boot.\n\n"
     "  grpctl critical-chain planner\n"
     "  grpctl critical-chain --trace-file /var/log/rover.trace", RunCriticalChain},
    {"timeline", "[diff BEFORE [AFTER]]", 0, 3, false, "Draw what the group has done as a picture, or compare two boots",
     "Writes SVG: a row for each application, from the first step that was kept. A diff compares\n"
     "trace files, or one with the running owner: exit code 1 when a start, or the boot, is slower\n"
     "than before, has failed or is missing.\n\n"
     "  grpctl timeline > boot.svg\n"
     "  grpctl timeline --format trace > monday.trace\n"
     "  grpctl timeline diff monday.trace --threshold 50ms", RunTimeline},
    {"watch", "[NAME...]", 0, kAnyNumber, false, "Show what happens, as it happens",
     "First how things stand, then one line for each change, until Ctrl-C; with --json one object\n"
     "for each step of the owner. What was missed is told. Ends with 7 when the owner ends.",
     RunWatch},
    {"why", "NAME", 1, 1, false, "Tell why an application is in its state",
     "The chain of causes, the newest first: what ended or started it, and who had asked.", RunWhy},
    {"limits", "[NAME...]", 0, kAnyNumber, false, "Show how many restarts are left and what the next failure will do",
     "", RunLimits},
    {"events", "[QUEUE]", 0, 1, false, "Show system events as they happen",
     "One line for each, until Ctrl-C; with --json one object for each. With --timeout it ends when\n"
     "none comes for so long.", RunEvents},
    {"log", "NAME...", 1, kAnyNumber, false, "Show what applications print",
     "Their last lines, with the time, and when they were started, got a signal or ended. A line\n"
     "that ends in [...] goes on in the next one. With --json one object for each, as the process\n"
     "manager tells them.\n\n"
     "  grpctl log camera\n"
     "  grpctl log -f -n 100 camera lidar", RunLog},
    {"raw", "COMMAND [HEX...]", 1, kAnyNumber, false, "Send any bytes as any command and show the answer",
     "Nothing is checked here: for tries with hostile requests.\n\n"
     "  grpctl raw 6 --record\n"
     "  grpctl raw 0 --record --text '1#camera#0#0#0#'\n"
     "  grpctl raw 9 --record 01000000 06000000 63616d657261\n"
     "  grpctl raw 2 --record --size 4000 --text 1", RunRaw},
    {"decode", "[FILE]", 0, 1, false, "Show a record of either wire field by field",
     "Without a file, or with -, from standard input. Exit code 1 when something in it is wrong.\n"
     "A record of 3984 bytes says itself what it is. One of 4000 does not; it is change, change-answer,\n"
     "set-state, set-state-answer, verify, list-answer, query, query-answer or flag-answer (of verify,\n"
     "reload, dump and stop all).\n\n"
     "  grpctl decode record.bin\n"
     "  grpctl decode --as change --hex dump.txt", RunDecode},
};
// clang-format on

}  // namespace

const std::vector<Verb>& Verbs() {
    return kVerbs;
}

const std::vector<Switch>& Switches() {
    return kSwitches;
}

const Verb* FindVerb(std::string_view name) {
    const auto found = std::find_if(kVerbs.begin(), kVerbs.end(),
                                    [name](const Verb& verb) { return verb.name == name; });
    return found == kVerbs.end() ? nullptr : &*found;
}

bool Applies(const Switch& entry, std::string_view verb) {
    const std::vector<std::string> verbs = Split(entry.verbs, ' ');
    return entry.verbs.empty() || std::find(verbs.begin(), verbs.end(), verb) != verbs.end();
}

std::vector<std::string> Split(std::string_view text, char separator) {
    std::vector<std::string> pieces;
    while (true) {
        const size_t end = text.find(separator);
        pieces.emplace_back(text.substr(0, end));
        if (end == std::string_view::npos) {
            return pieces;
        }
        text.remove_prefix(end + 1);
    }
}

}  // namespace GrpCtl
