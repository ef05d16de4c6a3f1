#include "daemons/grpownerd/options.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <fstream>
#include <vector>

#include "platform/linux/identity_lookup.h"

namespace GrpOwnerDaemon {

namespace {

constexpr int kWrongUsage = 2;

constexpr char kFooter[] = R"(
Signals:
  TERM, INT  orderly end: all applications stop, dependants first. A second one: leave at once;
             the process manager stops what still runs
  HUP        read the start configuration again
  USR2       write the state of the group into the log

Examples:
  grpownerd rover.yaml
  grpownerd --name rover --define PREFIX=/opt/rover --progress rover.yaml
  grpownerd --name rover --group vehicle --states states.yaml --events rover rover.yaml)";

void Define(const std::string& text, const std::string& place, Options& options) {
    const size_t equals = text.find('=');
    if (equals == 0 || equals == std::string::npos) {
        throw CLI::ValidationError(place, "`" + text + "` is not NAME=VALUE");
    }
    options.defines[text.substr(0, equals)] = text.substr(equals + 1);
}

void DefineFromFile(const std::string& path, Options& options) {
    std::ifstream file(path);
    if (!file) {
        throw CLI::ValidationError("--define-file", "cannot read " + path);
    }
    std::string line;
    for (int number = 1; std::getline(file, line); ++number) {
        if (!line.empty() && line.front() != '#') {
            Define(line, path + ":" + std::to_string(number), options);
        }
    }
}

// The name becomes a part of file names.
std::string CheckName(const std::string& name) {
    constexpr size_t kLongest = 64;
    const bool isPlain = !name.empty() && name.size() <= kLongest && name.front() != '.' &&
                         name.find_first_not_of(
                             "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-") ==
                             std::string::npos;
    return isPlain ? std::string()
                   : "`" + name + "` is no name: use letters, digits, '.', '_', '-'";
}

std::optional<uint32_t> FindGroup(const std::string& name) {
    uint32_t number = 0;
    const char* const end = name.data() + name.size();
    const auto [rest, error] = std::from_chars(name.data(), end, number);
    if (error == std::errc() && rest == end) {
        return number;
    }
    return GrpOwnerLinux::IdentityLookup().Group(name);
}

// Requests of the system-state manager and what comes with them.
void AddRequestOptions(CLI::App& app, Options& options) {
    app.add_option("--ss-file", options.ssFile,
                   "Virtual file for requests: DIR/NAME.vfs (default: the owner's name)")
        ->type_name("NAME")
        ->check(CheckName);
    app.add_option_function<std::string>(
           "--group",
           [&options](const std::string& name) {
               options.changeGroup = FindGroup(name);
               if (!options.changeGroup) {
                   throw CLI::ValidationError("--group", "there is no group `" + name + "`");
               }
           },
           "Members of this group may give every command too; without it only root and this user")
        ->type_name("NAME");
    CLI::Option* const states =
        app.add_option("--states", options.statesFile,
                       "Which applications run in which system state (YAML)")
            ->type_name("FILE");
    CLI::Option* const events =
        app.add_option("--events", options.eventQueue,
                       "Offer system events at the queue DIR/NAME.queue; logging moves to syslog "
                       "and standard error")
            ->type_name("NAME")
            ->check(CheckName);
    // The order of the lines is what a replay follows, and syslog's are not seen.
    app.add_option("--record", options.recording,
                   "Keep all that comes in, for grpowner-replay; a file of that name becomes "
                   "FILE.old")
        ->type_name("FILE")
        ->excludes(events);
    app.add_flag_callback(
           "--no-ss", [&options] { options.enableSs = false; },
           "Serve no requests; HUP, USR2 and the ordered stop are without effect then")
        ->excludes(states);
}

void AddTraceOptions(CLI::App& app, Options& options) {
    constexpr uint32_t kMostSteps = 10000000;
    CLI::Option* const steps =
        app.add_option("--trace", options.traceSteps,
                       "How many of the last steps are kept for `grpctl watch`, `why` and "
                       "`timeline`, at DIR/NAME.trace (default: 8192; 0: none)")
            ->type_name("NUMBER")
            ->check(CLI::Range(uint32_t{0}, kMostSteps));
    app.add_option("--trace-file", options.traceFile, "Append every step to this file (JSON lines)")
        ->type_name("FILE")
        ->check([steps, &options](const std::string&) {
            return steps->count() > 0 && options.traceSteps == 0
                       ? std::string("nothing is traced with --trace 0")
                       : std::string();
        });
}

void AddOptions(CLI::App& app, Options& options) {
    app.add_option("CONFIG", options.configuration, "The group's start configuration (YAML)")
        ->required();
    app.add_option("--name", options.name, "Name of this group owner (default: grpowner)")
        ->type_name("NAME")
        ->check(CheckName);
    app.add_option_function<std::vector<std::string>>(
           "--define",
           [&options](const std::vector<std::string>& texts) {
               for (const std::string& text : texts) {
                   Define(text, "--define", options);
               }
           },
           "Fill ${NAME} of the configuration in; may be repeated")
        ->type_name("NAME=VALUE")
        ->allow_extra_args(false);
    app.add_option_function<std::string>(
           "--define-file", [&options](const std::string& path) { DefineFromFile(path, options); },
           "Definitions from a file, one a line; # begins a comment")
        ->type_name("FILE");
    app.add_option(
           "--run-dir", options.runDirectory,
           "Directory of sockets (default: $GRPOWNER_RUN_DIR, or /run/grpowner for root, or "
           "$XDG_RUNTIME_DIR/grpowner)")
        ->type_name("DIR");
    app.add_flag("--enable-events", options.enableEvents, "Accept events of applications");
    AddRequestOptions(app, options);
    app.add_flag("--progress", options.showProgress,
                 "Write a line to standard output for every change of an application");
    AddTraceOptions(app, options);
}

}  // namespace

std::optional<int> ReadOptions(int argc, char** argv, Options& options) {
    CLI::App app("Group owner: boots a group of applications in dependency order and keeps it.",
                 "grpownerd");
    app.footer(kFooter);
    app.set_version_flag("--version", GRPOWNER_VERSION);
    AddOptions(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : kWrongUsage;
    }
    if (options.ssFile.empty()) {
        options.ssFile = options.name;
    }
    return std::nullopt;
}

}  // namespace GrpOwnerDaemon
