#pragma once
// What exactly is executed for an application, and as whom.
//
// Command   `command` with the arguments of the request, or the manifest's own when it has none. A
//           shared object is run by its host: <host> <path> <name> <arguments...>.
// Place     working directory "/", umask 022, stdin /dev/null, own process group.
// Environment, later ones win:
//   PATH, LANG, LC_ALL, TZ   the process manager's (PATH has a default)
//   variables of --pass-env  the process manager's
//   HOME, USER, LOGNAME, SHELL  of the application's user
//   the manifest's `environment`
//   GRPOWNER_OWNER, GRPOWNER_APPLICATION  the names of owner and application
//   NOTIFY_SOCKET            <run directory>/<owner>.notify, served by the owner
//   WATCHDOG_USEC            period of the heartbeat in microseconds, where there is one
//   dynamic parameters: GRPOWNER_PARA_<index>_COUNT says how many texts the parameter 0, 1 or 2
//     has, and GRPOWNER_PARA_<index>_<n> is the text n, from 0. A parameter that was not given has
//     no variables. Any text is possible: nothing is joined, so nothing needs to be escaped.

#include <unistd.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "daemons/procmgrd/accounts.h"
#include "daemons/procmgrd/pm_wire.h"
#include "platform/manifest_service.h"

namespace ProcMgrDaemon {

/// What is the same for all applications of an owner.
struct Surroundings {
    std::string runDirectory;
    std::vector<std::string> passedVariables;  // names
    uint32_t ownUid = geteuid();
};

/// Whom the process is to run as; what is not set stays as the process manager's.
struct Identity {
    std::optional<uint32_t> uid;
    std::optional<uint32_t> gid;
    std::optional<std::vector<gid_t>> groups;
};

struct LaunchPlan {
    std::string path;
    std::vector<std::string> arguments;  // argv, its first included
    std::vector<std::string> environment;
    Identity identity;
    std::vector<uint32_t> processors;  // empty: no affinity
    bool realTime = false;
    std::string controlGroup;  // empty: none
};

/// @return 0, or the errno of what makes a start impossible
int MakeLaunchPlan(const Surroundings& surroundings, Accounts& accounts, const std::string& owner,
                   const ApplicationManifest& manifest, const LaunchRequest& request,
                   LaunchPlan& plan);

}  // namespace ProcMgrDaemon
