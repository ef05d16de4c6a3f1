// The handlers of the commands: decode, call back, encode. What cannot be decoded whole is carried
// out as far as it was decoded; only a state query is answered with nothing then.

#include <exception>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "grpowner/enumerations.h"
#include "src/common/logging.h"
#include "src/common/process_constants.h"
#include "src/common/process_utils.h"
#include "src/ss/ss_query_serialization.h"
#include "src/ss/ss_to_owner_server_impl.h"

namespace ProcMgr {

namespace {

/// A callback's answer; what it throws counts as false, or the platform's thread would end.
template <typename Callback, typename... Arguments>
bool Call(const char* operation, const Callback& callback, Arguments&&... arguments) {
    try {
        return callback(std::forward<Arguments>(arguments)...);
    } catch (const std::exception& error) {
        GRP_ERROR("%s callback failed: %s", operation, error.what());
    } catch (...) {
        GRP_ERROR("%s callback failed", operation);
    }
    return false;
}

struct ChangeLists {
    std::vector<AppInfoForServer> term;
    std::vector<AppInfoForServer> start;
    std::vector<AppInfoForServer> restart;
};

/// Sorts the applications of a request by their option; those with an unknown one are dropped.
ChangeLists SortByOption(std::vector<SS::AppInfo> apps) {
    const std::string stamp = BootStrace(kSsServerRole);
    ChangeLists lists;
    for (SS::AppInfo& app : apps) {
        GRP_EVENT("%s ChangeAppState receive app list name=%s optionType=%u(%s)", stamp.c_str(),
                  app.name.c_str(), app.optionType, GetOptionType(app.optionType).c_str());
        AppInfoForServer entry{std::move(app.name), std::move(app.argv), {}};
        switch (static_cast<OptionType>(app.optionType)) {
            case OptionType::TERM:
                lists.term.push_back(std::move(entry));
                break;
            case OptionType::START:
                entry.dynamicParas = std::move(app.dynamicParas);
                lists.start.push_back(std::move(entry));
                break;
            case OptionType::RESTART:
                entry.dynamicParas = std::move(app.dynamicParas);
                lists.restart.push_back(std::move(entry));
                break;
        }
    }
    return lists;
}

const char* NameOf(bool result) {
    return result ? "true" : "false";
}

}  // namespace

void SsToOwnerServerImpl::ChangeApp(const Request& request, Response& response) {
    std::vector<SS::AppInfo> apps;
    if (!SS::UnPackChangeAppInfoRequestMsg(request, apps)) {
        GRP_ERROR("UnPackChangeAppInfoRequestMsg failed, appChangeList size=%lu", apps.size());
    }
    const ChangeLists lists = SortByOption(std::move(apps));
    std::vector<AppChangeInfo> results;
    bool result = false;
    if (const auto withTimeout = Get(&Callbacks::changeAppTimeout)) {
        result = Call("ChangeAppState", withTimeout, lists.term, lists.start, lists.restart,
                      results, request.timeout);
        GRP_EVENT("ChangeAppState with timeout callback end. ret=%u(%s)", result, NameOf(result));
    } else if (const auto callback = Get(&Callbacks::changeApp)) {
        result = Call("ChangeAppState", callback, lists.term, lists.start, lists.restart, results);
        GRP_EVENT("ChangeAppState callback end. ret=%u(%s)", result, NameOf(result));
    } else {
        GRP_ERROR("ChangeAppState failed, callback is nullptr");
    }
    if (!SS::PackChangeAppInfoResponse(result, results, response)) {
        GRP_ERROR("PackChangeAppInfoResponse failed, ret=%u", result);
    }
    GRP_EVENT("%s ChangeApp finish", BootStrace(kSsServerRole).c_str());
}

void SsToOwnerServerImpl::SetSystemStateHandle(const Request& request, Response& response) {
    int state = -1;
    if (!SS::UnPackSetSystemStateRequest(request, state)) {
        GRP_ERROR("SetSystemStateHandle: UnPackSetSystemStateRequest fail, state=%d(%s)", state,
                  GetSysState(static_cast<uint64_t>(state)).c_str());
    }
    const bool result = CallSetSystemState(state, request.timeout);
    (void)SS::PackSetSystemStateResponse(result, response);  // logs for itself
}

bool SsToOwnerServerImpl::CallSetSystemState(int state, int timeout) {
    const std::string name = GetSysState(static_cast<uint64_t>(state));
    bool result = false;
    if (const auto withTimeout = Get(&Callbacks::setSystemStateTimeout)) {
        GRP_EVENT("SetSystemStateHandle with timeout callback begin. state=%d(%s)", state,
                  name.c_str());
        result = Call("SetSystemStateHandle", withTimeout, state, timeout);
        GRP_EVENT("SetSystemStateHandle with timeout callback end. ret=%u", result);
    } else if (const auto callback = Get(&Callbacks::setSystemState)) {
        GRP_EVENT("SetSystemStateHandle callback begin. state=%d(%s)", state, name.c_str());
        result = Call("SetSystemStateHandle", callback, state);
        GRP_EVENT("SetSystemStateHandle callback end. ret=%u", result);
    } else {
        GRP_ERROR("SetSystemStateHandle failed, callback is nullptr");
    }
    return result;
}

void SsToOwnerServerImpl::QueryAppState(const Request& request, Response& response) {
    GRP_EVENT("%s QueryAppState begin", BootStrace(kSsServerRole).c_str());
    bool result = false;
    std::vector<AppStatus> states;
    if (const auto callback = Get(&Callbacks::queryAppState)) {
        std::vector<std::string> names;
        if (!SS::DeserializeMessage(request, names)) {
            GRP_ERROR("QueryAppState DeserializeMessage failed");
            return;
        }
        result = Call("QueryAppState", callback, names, states, request.timeout);
        GRP_EVENT("QueryAppState callback end. ret=%u", result);
    } else {
        GRP_ERROR("QueryAppState failed, callback is nullptr");
    }
    (void)SS::SerializeMessage(result, states, response);  // logs for itself
    GRP_EVENT("%s QueryAppState finish", BootStrace(kSsServerRole).c_str());
}

void SsToOwnerServerImpl::VerifyApp(const Request& request, Response& response) {
    bool result = false;
    if (const auto callback = Get(&Callbacks::verifyApp)) {
        std::map<std::string, uint32_t> changes;
        if (!SS::UnPackVerifyRequest(request, changes)) {
            GRP_ERROR("VerifyApp UnPackVerifyRequest failed, change record size=%lu",
                      changes.size());
        }
        for (const auto& [name, option] : changes) {
            GRP_EVENT("VerifyApp receive changeRecord name=%s opt=%s", name.c_str(),
                      GetOptionType(option).c_str());
        }
        result = Call("VerifyApp", callback, changes);
        GRP_EVENT("VerifyApp callback end. ret=%u", result);
    } else {
        GRP_ERROR("VerifyApp failed, callback is nullptr");
    }
    if (const int error = SS::PutText(SS::ResultText(result), response); error != 0) {
        GRP_ERROR("VerifyApp memcpy_s failed, err=%d", error);
    }
}

void SsToOwnerServerImpl::ReloadCfg(Response& response) {
    bool result = false;
    if (const auto callback = Get(&Callbacks::reload)) {
        result = Call("Reload cfg", callback);
        GRP_EVENT("Reload cfg callback end. ret=%u", result);
    } else {
        GRP_ERROR("Reload cfg failed, callback is nullptr");
    }
    const std::string text = SS::ResultText(result);
    GRP_INFO("Reload respStr=%s respStrSize=%zu.", text.c_str(), text.size());
    if (const int error = SS::PutText(text, response); error != 0) {
        GRP_ERROR("Reload memcpy_s failed, err=%d", error);
    }
}

void SsToOwnerServerImpl::DumpHandle(Response& response) {
    bool result = false;
    if (const auto callback = Get(&Callbacks::dump)) {
        result = Call("DumpHandle", callback);
        GRP_EVENT("DumpHandle callback end. ret=%u", result);
    } else {
        GRP_ERROR("DumpHandle failed, callback is nullptr");
    }
    if (const int error = SS::PutText(SS::ResultText(result), response); error != 0) {
        GRP_ERROR("DumpHandle memcpy_s failed, err=%d", error);
    }
}

void SsToOwnerServerImpl::StopAllApp(Response& response) {
    bool result = false;
    if (const auto callback = Get(&Callbacks::stopAllApp)) {
        result = Call("StopAllApp", callback);
        GRP_EVENT("StopAllApp callback end. ret=%u", result);
    } else {
        GRP_ERROR("StopAllApp failed, callback is nullptr");
    }
    if (const int error = SS::PutText(SS::ResultText(result), response); error != 0) {
        GRP_ERROR("stopAllApp memcpy_s failed, err=%d", error);
    }
}

void SsToOwnerServerImpl::QueryAppList(Response& response) {
    bool result = false;
    std::vector<std::string> names;
    if (const auto callback = Get(&Callbacks::queryAppList)) {
        result = Call("QueryAppList", callback, names);
        GRP_EVENT("QueryAppList callback end. ret=%u", result);
    } else {
        GRP_ERROR("QueryAppList failed, callback is nullptr");
    }
    if (const int error = SS::PutText(SS::NameListText(result, names), response); error != 0) {
        GRP_ERROR("QueryAppList memcpy_s failed, err=%d", error);
    }
}

}  // namespace ProcMgr
