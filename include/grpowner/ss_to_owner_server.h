#pragma once
// The group owner's end towards the system-state manager: the virtual file on which that one
// commands, and the queue of system events.
//
// A host needs it for EnableSyslog, InitSysEventServer and ReportSysEvent alone; the façade makes
// the registrations when the configuration says enableSsServer.

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "grpowner/app_records.h"
#include "grpowner/export.h"

namespace ProcMgr {

/// A system event.
struct SysEvent {
    uint32_t state = 0;  // what readers get, as decimal text
};

/// The lists are what to terminate, to start and to restart; the results are to be filled.
using ChangeAppCallback = std::function<bool(
    const std::vector<AppInfoForServer>& term, const std::vector<AppInfoForServer>& start,
    const std::vector<AppInfoForServer>& restart, std::vector<AppChangeInfo>& results)>;
/// The same with a time-out in milliseconds, as the request gives it.
using ChangeAppTimeoutCallback = std::function<bool(
    const std::vector<AppInfoForServer>& term, const std::vector<AppInfoForServer>& start,
    const std::vector<AppInfoForServer>& restart, std::vector<AppChangeInfo>& results,
    int timeout)>;
/// Name to option (OptionType, but any number may arrive).
using VerifyAppCallback = std::function<bool(const std::map<std::string, unsigned int>& changes)>;
/// Reload, dump and stop all.
using CommandCallback = std::function<bool()>;
using QueryAppListCallback = std::function<bool(std::vector<std::string>& names)>;
using SetSystemStateCallback = std::function<bool(int state)>;
using SetSystemStateTimeoutCallback = std::function<bool(int state, int timeout)>;
using QueryAppStateCallback = std::function<bool(const std::vector<std::string>& names,
                                                 std::vector<AppStatus>& states, int timeout)>;

class GRPOWNER_EXPORT SsToOwnerServer {
public:
    /// The one instance, built on first use.
    static SsToOwnerServer& GetInstance();
    virtual ~SsToOwnerServer() = default;

    /// Moves all logging to syslog, for good. Always 0.
    virtual int EnableSyslog() = 0;

    /// Moves all logging to syslog, for good, and offers the queue of system events. Call openlog
    /// first. Meant to be called once, from any thread.
    /// @return 0, or the platform's negative code
    virtual int InitSysEventServer(const std::string& serviceName) = 0;

    /// Hands an event to every reader that is connected; without any it is dropped. May be called
    /// on any thread; a reader that does not read costs the others nothing.
    /// @return 0 when every reader got it, otherwise the code of the last failure: 0x00F10001 no
    ///         file, 0x00F10003 write, 0x00F10209 no block, 0x00F1020B queue
    virtual int ReportSysEvent(const SysEvent& event) = 0;

    // Each replaces an earlier callback and registers the virtual file unless an earlier
    // registration has. Callbacks run on the platform's threads, several at a time.
    // Result: 0, or the platform's negative code; the callback is kept nevertheless.
    virtual int RegSsChangeAppCallBackImpl(const ChangeAppCallback& callback,
                                           const std::string& resFileName) = 0;
    virtual int RegSsChangeAppTimeoutCallBackImpl(const ChangeAppTimeoutCallback& callback,
                                                  const std::string& resFileName) = 0;
    virtual int RegReloadCallBackImpl(const CommandCallback& callback,
                                      const std::string& resFileName) = 0;
    virtual int RegDumpCallBackImpl(const CommandCallback& callback,
                                    const std::string& resFileName) = 0;
    virtual int RegQueryAppListCallBackImpl(const QueryAppListCallback& callback,
                                            const std::string& resFileName) = 0;
    virtual int RegStopAllAppCallBackImpl(const CommandCallback& callback,
                                          const std::string& resFileName) = 0;
    virtual int RegSetSystemStateCallBackImpl(const SetSystemStateCallback& callback,
                                              const std::string& resFileName) = 0;
    virtual int RegSetSystemStateTimeoutCallBackImpl(const SetSystemStateTimeoutCallback& callback,
                                                     const std::string& resFileName) = 0;
    virtual int RegSsVerifyAppCallBackImpl(const VerifyAppCallback& callback,
                                           const std::string& resFileName) = 0;
    virtual int RegSsQueryAppStateCallBackImpl(const QueryAppStateCallback& callback,
                                               const std::string& resFileName) = 0;
};

}  // namespace ProcMgr
