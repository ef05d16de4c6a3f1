#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

#include "grpowner/ss_to_owner_server.h"
#include "platform/messaging_service.h"
#include "src/common/never_destroyed.h"
#include "src/common/sync.h"
#include "src/ss/ss_to_owner_serialization.h"

namespace ProcMgr {

/// The system-state manager's end: serves its virtual file and feeds the queue of system events.
///
/// Registrations come from the host's threads. Commands arrive on the platform's threads, several
/// at a time, and reach the one instance through GetThis; it lives until the process is gone.
/// callbackMutex_ guards the callbacks and is a leaf: they are copied out and called without it.
/// registrationMutex_ is held while the platform registers the virtual file. poolMutex_ guards the
/// readers of the queue and is held while the platform's shared memory and queues are at work.
class SsToOwnerServerImpl : public SsToOwnerServer {
public:
    using QueueReaders = std::map<IamQfsMgrFile*, IAMShmPool>;

    static SsToOwnerServerImpl& GetThis();

    SsToOwnerServerImpl() = default;
    SsToOwnerServerImpl(const SsToOwnerServerImpl&) = delete;
    SsToOwnerServerImpl& operator=(const SsToOwnerServerImpl&) = delete;

    int EnableSyslog() override;
    int InitSysEventServer(const std::string& serviceName) override;
    int ReportSysEvent(const SysEvent& event) override EXCLUDES(poolMutex_);
    int RegSsChangeAppCallBackImpl(const ChangeAppCallback& callback,
                                   const std::string& resFileName) override;
    int RegSsChangeAppTimeoutCallBackImpl(const ChangeAppTimeoutCallback& callback,
                                          const std::string& resFileName) override;
    int RegReloadCallBackImpl(const CommandCallback& callback,
                              const std::string& resFileName) override;
    int RegDumpCallBackImpl(const CommandCallback& callback,
                            const std::string& resFileName) override;
    int RegQueryAppListCallBackImpl(const QueryAppListCallback& callback,
                                    const std::string& resFileName) override;
    int RegStopAllAppCallBackImpl(const CommandCallback& callback,
                                  const std::string& resFileName) override;
    int RegSetSystemStateCallBackImpl(const SetSystemStateCallback& callback,
                                      const std::string& resFileName) override;
    int RegSetSystemStateTimeoutCallBackImpl(const SetSystemStateTimeoutCallback& callback,
                                             const std::string& resFileName) override;
    int RegSsVerifyAppCallBackImpl(const VerifyAppCallback& callback,
                                   const std::string& resFileName) override;
    int RegSsQueryAppStateCallBackImpl(const QueryAppStateCallback& callback,
                                       const std::string& resFileName) override;

    /// Offers the virtual file unless it is offered already, under whatever name.
    /// @return 0, or the platform's negative code; the next call tries again then
    int RegisterResService(const std::string& resFileName) EXCLUDES(registrationMutex_);

    /// Milliseconds that a command may take; more when the run mode is for debugging.
    int32_t GetVfsServiceTimeout() const;

    // Operations of the virtual file; no exception leaves them.
    static int MyOpen(IAMMgrFile* file);
    static int MyClose(IAMMgrFile* file);
    static int64_t MyRead(IAMMgrFile* file, char* buffer, size_t length, int64_t offset);

    /// Carries a command out and writes its answer into the caller's buffer.
    /// @return the length of the answer plus 8; -15794176 for a bad file, argument or buffer;
    ///         -15794179 when the answer does not fit
    static int MyIoctl(IAMMgrFile* file, unsigned command, IAMIoctlArg* argument);

    // Operations of the queue: a reader comes and goes.
    static int SsToOwnerServerOpen(IamQfsMgrFile* file) EXCLUDES(poolMutex_);
    static int SsToOwnerServerClose(IamQfsMgrFile* file) EXCLUDES(poolMutex_);

protected:
    // By file, in order of address.
    static NeverDestroyed<QueueReaders> procQfsFileMap_ GUARDED_BY(poolMutex_);
    static Mutex poolMutex_;

private:
    using Request = SS::SsToOwnerRequestMsg;
    using Response = SS::SsToOwnerResponseMsg;

    struct Callbacks {
        ChangeAppCallback changeApp;
        ChangeAppTimeoutCallback changeAppTimeout;
        CommandCallback reload;
        CommandCallback dump;
        QueryAppListCallback queryAppList;
        CommandCallback stopAllApp;
        SetSystemStateCallback setSystemState;
        SetSystemStateTimeoutCallback setSystemStateTimeout;
        VerifyAppCallback verifyApp;
        QueryAppStateCallback queryAppState;
    };

    template <typename Callback>
    int Register(Callback Callbacks::*slot, Callback callback, const std::string& resFileName,
                 const char* operation) EXCLUDES(callbackMutex_);

    template <typename Callback>
    Callback Get(Callback Callbacks::*slot) EXCLUDES(callbackMutex_) {
        MutexLock lock(callbackMutex_);
        return callbacks_.*slot;
    }

    int ServeRequest(unsigned command, void* buffer, size_t length);
    void HandleRequestFromClient(unsigned command, const Request& request, Response& response);

    // One for each command.
    void ChangeApp(const Request& request, Response& response);
    void SetSystemStateHandle(const Request& request, Response& response);
    void QueryAppState(const Request& request, Response& response);
    void VerifyApp(const Request& request, Response& response);
    void ReloadCfg(Response& response);
    void DumpHandle(Response& response);
    void StopAllApp(Response& response);
    void QueryAppList(Response& response);

    bool CallSetSystemState(int state, int timeout);

    static int ReportSysEventTo(const IamQfsMgrFile& file, IAMShmPool& pool, const SysEvent& event)
        REQUIRES(poolMutex_);

    Mutex callbackMutex_;
    Callbacks callbacks_ GUARDED_BY(callbackMutex_);
    Mutex registrationMutex_;
    bool registered_ GUARDED_BY(registrationMutex_) = false;
};

}  // namespace ProcMgr
