#include "daemons/procmgrd/launch_plan.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <map>

#include "platform/portable/manifest_fields.h"

namespace ProcMgrDaemon {

namespace {

constexpr uint32_t kMaxProcessor = 8191;

using Variables = std::map<std::string, std::string>;

Identity FindIdentity(uint32_t uid, uint32_t gid, const std::optional<Account>& user,
                      Accounts& accounts) {
    Identity identity;
    if (gid != kInheritedId) {
        identity.gid = gid;
    }
    // Whoever is not root can only stay who he is; then there is nothing to be changed.
    if (uid == kInheritedId || (uid == geteuid() && uid != 0)) {
        return identity;
    }
    identity.uid = uid;
    if (!identity.gid) {
        identity.gid = user ? user->gid : uid;
    }
    identity.groups = user ? accounts.GroupsOf(user->name, *identity.gid) : std::vector<gid_t>{};
    return identity;
}

void CopyOwnVariable(const std::string& name, Variables& variables) {
    if (const char* const value = getenv(name.c_str())) {
        variables[name] = value;
    }
}

void AddBase(const Surroundings& surroundings, const std::optional<Account>& user,
             Variables& variables) {
    variables["PATH"] = "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin";
    for (const char* const name : {"PATH", "LANG", "LC_ALL", "TZ"}) {
        CopyOwnVariable(name, variables);
    }
    for (const std::string& name : surroundings.passedVariables) {
        CopyOwnVariable(name, variables);
    }
    if (user) {
        variables["HOME"] = user->home;
        variables["USER"] = variables["LOGNAME"] = user->name;
        variables["SHELL"] = user->shell;
    }
}

void AddParameters(const Parameters& parameters, Variables& variables) {
    for (const auto& [index, texts] : parameters) {
        const std::string prefix = "GRPOWNER_PARA_" + std::to_string(index) + "_";
        variables[prefix + "COUNT"] = std::to_string(texts.size());
        for (size_t n = 0; n < texts.size(); ++n) {
            variables[prefix + std::to_string(n)] = texts[n];
        }
    }
}

void SetCommand(const ManifestFields& fields, const LaunchRequest& request, LaunchPlan& plan) {
    plan.path = fields.isSo ? *fields.processBindPath : fields.binPath;
    plan.arguments = {plan.path};
    if (fields.isSo) {
        plan.arguments.push_back(*fields.soPath);
        plan.arguments.push_back(*fields.soName);
    }
    const auto& arguments = request.arguments.empty() ? fields.arguments : request.arguments;
    plan.arguments.insert(plan.arguments.end(), arguments.begin(), arguments.end());
}

}  // namespace

int MakeLaunchPlan(const Surroundings& surroundings, Accounts& accounts, const std::string& owner,
                   const ApplicationManifest& manifest, const LaunchRequest& request,
                   LaunchPlan& plan) {
    const ManifestFields& fields = manifest.Fields();
    for (const auto& [index, texts] : request.parameters) {
        if (index < 0 || index > kMaxParameterIndex) {
            return EINVAL;
        }
    }
    for (const uint32_t processor : *fields.coreAffinity) {
        if (processor > kMaxProcessor) {
            return EINVAL;
        }
    }
    SetCommand(fields, request, plan);
    const uint32_t uid = fields.uid == kInheritedId ? surroundings.ownUid : fields.uid;
    const std::optional<Account> user = accounts.User(uid);
    plan.identity = FindIdentity(fields.uid, fields.gid, user, accounts);
    plan.processors = *fields.coreAffinity;
    plan.realTime = fields.isSetRtPrio;
    plan.controlGroup = *fields.resGroupName;

    Variables variables;
    AddBase(surroundings, user, variables);
    for (const auto& [name, value] : *fields.envArgv) {
        variables[name] = value;
    }
    variables["GRPOWNER_OWNER"] = owner;
    variables["GRPOWNER_APPLICATION"] = fields.appName;
    variables["NOTIFY_SOCKET"] = surroundings.runDirectory + "/" + owner + ".notify";
    if (fields.heartBeatSwitch && fields.heartBeatPeriodMs > 0) {
        variables["WATCHDOG_USEC"] = std::to_string(uint64_t{fields.heartBeatPeriodMs} * 1000);
    }
    AddParameters(request.parameters, variables);
    for (const auto& [name, value] : variables) {
        plan.environment.push_back(std::string(name).append("=").append(value));
    }
    return 0;
}

}  // namespace ProcMgrDaemon
