#include "daemons/procmgrd/options.h"

#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <climits>
#include <cstdlib>

namespace ProcMgrDaemon {

namespace {

constexpr int kWrongUsage = 2;

constexpr char kFooter[] = R"(
Signals:
  TERM, INT  end all groups, dependants first, then exit; a second one: leave at once
  HUP        open the log files anew
  USR2       write to stderr what runs, with the last lines of output

Examples:
  procmgrd
  procmgrd --run-dir /tmp/rover --log-dir /var/log/rover
  procmgrd --group vehicle --owner-grace 10000)";

std::string FindGroup(const std::string& name, Options& options) {
    const group* const found = getgrnam(name.c_str());
    if (found == nullptr) {
        return "there is no group `" + name + "`";
    }
    options.group = found->gr_gid;
    return {};
}

// Children do not share our working directory, and neither does who reads the log.
std::string MakeAbsolute(std::string& path) {
    char absolute[PATH_MAX];
    if (mkdir(path.c_str(), 0755) != 0 && errno != EEXIST) {
        return "cannot make the directory " + path;
    }
    if (realpath(path.c_str(), absolute) == nullptr) {
        return "cannot find the directory " + path;
    }
    path = absolute;
    return {};
}

void AddOptions(CLI::App& app, Options& options) {
    app.add_option("--run-dir", options.runDirectory,
                   "Directory of sockets and locks (default: $GRPOWNER_RUN_DIR, or /run/grpowner "
                   "for root, or $XDG_RUNTIME_DIR/grpowner)")
        ->type_name("DIR");
    app.add_option_function<std::string>(
           "--group",
           [&options](const std::string& name) {
               const std::string error = FindGroup(name, options);
               if (!error.empty()) {
                   throw CLI::ValidationError("--group", error);
               }
           },
           "Members of this group may own applications too")
        ->type_name("NAME");
    app.add_option_function<int>(
           "--owner-grace",
           [&options](int ms) { options.ownerGrace = std::chrono::milliseconds(ms); },
           "How long a lost owner may take to come back before its group is ended (default: 2000)")
        ->type_name("MS")
        ->check(CLI::Range(0, 3'600'000));
    app.add_option("--log-dir", options.capture.logDirectory,
                   "Append what an application prints to DIR/<name>.log")
        ->type_name("DIR");
    app.add_option("--capture", options.capture.ringBytes,
                   "How much of an application's newest output is kept in memory; 0 without "
                   "--log-dir: it prints to where the process manager does (default: 65536, least: "
                   "8192)")
        ->type_name("BYTES")
        ->check(CLI::Range(0, 16 * 1024 * 1024));
    app.add_option("--capture-total", options.capture.totalBytes,
                   "How much of it is kept of all applications together, besides 8192 of each "
                   "(default: 8388608)")
        ->type_name("BYTES")
        ->check(CLI::Range(0, 1024 * 1024 * 1024));
    app.add_option("--pass-env", options.passedVariables,
                   "Variable that applications get from the process manager; may be repeated")
        ->type_name("NAME")
        ->allow_extra_args(false);
    app.add_flag("-q,--quiet", options.quiet, "Print warnings and errors only");
    app.add_option_function<std::vector<std::string>>(
           "--fault",
           [&options](const std::vector<std::string>& faults) {
               for (const std::string& fault : faults) {
                   if (!options.faults.Parse(fault)) {
                       throw CLI::ValidationError("--fault", "there is no fault `" + fault + "`");
                   }
               }
           },
           "A fault to inject")
        ->group("");  // for tests: not in the help
}

}  // namespace

std::optional<int> ReadOptions(int argc, char** argv, Options& options) {
    CLI::App app("Process manager: starts, watches and stops the applications of its owners.",
                 "procmgrd");
    app.footer(kFooter);
    app.set_version_flag("--version", GRPOWNER_VERSION);
    AddOptions(app, options);
    try {
        app.parse(argc, argv);
        if (!options.capture.logDirectory.empty()) {
            const std::string error = MakeAbsolute(options.capture.logDirectory);
            if (!error.empty()) {
                throw CLI::ValidationError("--log-dir", error);
            }
        }
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : kWrongUsage;
    }
    return std::nullopt;
}

}  // namespace ProcMgrDaemon
