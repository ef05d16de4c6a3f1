// The server's instance and its registrations.

#include "src/ss/ss_to_owner_server_impl.h"

#include <optional>
#include <utility>

#include "src/common/environment.h"
#include "src/common/logging.h"
#include "src/common/process_constants.h"

namespace ProcMgr {

namespace {

// Milliseconds.
constexpr int32_t kServiceTimeout = 5000;
constexpr int32_t kLongRunServiceTimeout = 30528;  // uneven, but what clients count on

constexpr IAMFileOperations kOperations{
    &SsToOwnerServerImpl::MyRead,  nullptr,
    &SsToOwnerServerImpl::MyIoctl, &SsToOwnerServerImpl::MyOpen,
    &SsToOwnerServerImpl::MyClose, nullptr,
};

}  // namespace

SsToOwnerServer& SsToOwnerServer::GetInstance() {
    return SsToOwnerServerImpl::GetThis();
}

SsToOwnerServerImpl& SsToOwnerServerImpl::GetThis() {
    static NeverDestroyed<SsToOwnerServerImpl> instance;
    return *instance;
}

int SsToOwnerServerImpl::EnableSyslog() {
    g_enableSyslog = true;
    return 0;
}

int SsToOwnerServerImpl::RegisterResService(const std::string& resFileName) {
    MutexLock lock(registrationMutex_);
    if (registered_) {
        return 0;
    }
    IAMServiceDescriptor descriptor{};
    descriptor.name = resFileName.c_str();
    descriptor.operations = &kOperations;
    descriptor.timeout = GetVfsServiceTimeout();
    GRP_EVENT("RegisterVfsService begin. serviceName=%s", resFileName.c_str());
    const int result = IAMRegisterService(&descriptor);
    if (result < 0) {
        GRP_ERROR("RegisterVfsService failed. ret=%d serviceName=%s", result, resFileName.c_str());
        return result;
    }
    registered_ = true;
    return 0;
}

int32_t SsToOwnerServerImpl::GetVfsServiceTimeout() const {
    const std::optional<std::string> mode = GetEnvironment(kRunModeEnv);
    if (!mode) {
        return kServiceTimeout;
    }
    GRP_INFO("DATAMASTER_RUN_MODE=%s", mode->c_str());
    return IsLongRunMode() ? kLongRunServiceTimeout : kServiceTimeout;
}

template <typename Callback>
int SsToOwnerServerImpl::Register(Callback Callbacks::*slot, Callback callback,
                                  const std::string& resFileName, const char* operation) {
    {
        MutexLock lock(callbackMutex_);
        std::swap(callbacks_.*slot, callback);  // the earlier one ends without the lock
    }
    const int result = RegisterResService(resFileName);
    if (result != 0) {
        GRP_ERROR("%s failed, resFileName=%s", operation, resFileName.c_str());
    }
    return result;
}

int SsToOwnerServerImpl::RegSsChangeAppCallBackImpl(const ChangeAppCallback& callback,
                                                    const std::string& resFileName) {
    return Register(&Callbacks::changeApp, callback, resFileName, "RegSsChangeAppCallBackImpl");
}

int SsToOwnerServerImpl::RegSsChangeAppTimeoutCallBackImpl(const ChangeAppTimeoutCallback& callback,
                                                           const std::string& resFileName) {
    return Register(&Callbacks::changeAppTimeout, callback, resFileName,
                    "RegSsChangeAppCallBackImpl(with timeout)");
}

int SsToOwnerServerImpl::RegReloadCallBackImpl(const CommandCallback& callback,
                                               const std::string& resFileName) {
    return Register(&Callbacks::reload, callback, resFileName, "RegReloadCallBackImpl");
}

int SsToOwnerServerImpl::RegDumpCallBackImpl(const CommandCallback& callback,
                                             const std::string& resFileName) {
    return Register(&Callbacks::dump, callback, resFileName, "RegDumpCallBackImpl");
}

int SsToOwnerServerImpl::RegQueryAppListCallBackImpl(const QueryAppListCallback& callback,
                                                     const std::string& resFileName) {
    return Register(&Callbacks::queryAppList, callback, resFileName, "RegQueryAppListCallBackImpl");
}

int SsToOwnerServerImpl::RegStopAllAppCallBackImpl(const CommandCallback& callback,
                                                   const std::string& resFileName) {
    return Register(&Callbacks::stopAllApp, callback, resFileName, "RegStopAllAppCallBackImpl");
}

int SsToOwnerServerImpl::RegSetSystemStateCallBackImpl(const SetSystemStateCallback& callback,
                                                       const std::string& resFileName) {
    return Register(&Callbacks::setSystemState, callback, resFileName,
                    "RegSetSystemStateCallBackImpl");
}

int SsToOwnerServerImpl::RegSetSystemStateTimeoutCallBackImpl(
    const SetSystemStateTimeoutCallback& callback, const std::string& resFileName) {
    return Register(&Callbacks::setSystemStateTimeout, callback, resFileName,
                    "RegSetSystemStateCallBackImpl(with timeout)");
}

int SsToOwnerServerImpl::RegSsVerifyAppCallBackImpl(const VerifyAppCallback& callback,
                                                    const std::string& resFileName) {
    return Register(&Callbacks::verifyApp, callback, resFileName, "RegSsVerifyAppCallBackImpl");
}

int SsToOwnerServerImpl::RegSsQueryAppStateCallBackImpl(const QueryAppStateCallback& callback,
                                                        const std::string& resFileName) {
    return Register(&Callbacks::queryAppState, callback, resFileName,
                    "RegSsQueryAppStateCallBackImpl");
}

}  // namespace ProcMgr
