#pragma once
// The system-state manager's side of the group owner: one call for each of its commands.

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "client/virtual_file.h"
#include "grpowner/enumerations.h"

namespace GrpOwnerClient {

/// The commands by number.
enum class Command : uint32_t {
    kChange = 0,
    kSetSystemState = 2,
    kReload = 3,
    kDump = 4,
    kStopAll = 5,
    kList = 6,
    kVerify = 8,
    kQuery = 9,
};

/// One application of a change set.
struct Change {
    std::string name;
    ProcMgr::OptionType option = ProcMgr::OptionType::START;
    std::vector<std::string> arguments;                             // none: the manifest's own
    std::map<int32_t, std::vector<std::string>> dynamicParameters;  // index 0 to 2
};

struct ChangeResult {
    std::string name;
    uint32_t state = 0;  // AppChangeState, but any number may arrive
};

struct ChangeAnswer {
    bool isOk = false;
    /// Starts, then terminations, then restarts, each in name order. Empty when refused because
    /// another change set or a reload is in progress.
    std::vector<ChangeResult> results;
};

struct Status {
    std::string name;
    int32_t pid = -1;    // -1: unknown
    uint32_t state = 1;  // 0: runs, 1: does not, 2: on its way up or down, 3: not known
};

struct ListAnswer {
    bool isOk = false;
    std::vector<std::string> names;
};

/// Talks to one owner. Its calls belong to one thread.
class SsClient {
public:
    /// How long an owner may take: beyond the time-out that it was given, for a command that has
    /// none, and for stopping everything. A change may take its time-out three times.
    static constexpr std::chrono::milliseconds kMargin{2000};
    static constexpr std::chrono::milliseconds kPlainLimit{5000};
    static constexpr std::chrono::milliseconds kStopAllLimit{38000};

    static Result<SsClient> Connect(const std::string& path);

    const Facts& GetFacts() const { return file_.GetFacts(); }

    /// Calls end with kInterrupted once this descriptor is readable; -1: never.
    void SetInterrupt(int fd) { interruptFd_ = fd; }

    /// Time-outs are 1 ms or more: 0 would inherit the last client's.
    Result<ChangeAnswer> ChangeApps(const std::vector<Change>& changes,
                                    std::chrono::milliseconds timeout);
    Result<bool> SetSystemState(int state, std::chrono::milliseconds timeout);
    Result<bool> Reload();
    Result<bool> Dump();
    Result<bool> StopAll();
    /// kRefused with code -15794179 when the list does not fit a record.
    Result<ListAnswer> List();
    /// Name to option; true when the owner would accept them.
    Result<bool> Verify(const std::map<std::string, uint32_t>& changes);
    /// In the order of the names, over as many records as it takes. kRefused with code 0 when the
    /// owner could not find out.
    Result<std::vector<Status>> Query(const std::vector<std::string>& names,
                                      std::chrono::milliseconds timeout);

    /// Any bytes as any command.
    Result<IoctlAnswer> Raw(uint32_t command, const std::vector<uint8_t>& buffer,
                            std::chrono::milliseconds timeout);

private:
    Result<std::string> Call(Command command, const std::vector<uint8_t>& record,
                             std::chrono::milliseconds limit);
    Result<std::string> CallPlain(Command command, std::chrono::milliseconds limit);
    Result<bool> CallForFlag(Command command, std::chrono::milliseconds limit);
    Result<bool> QueryPart(const std::vector<std::string>& names, int32_t timeout,
                           std::vector<Status>& statuses);
    std::chrono::milliseconds PlainLimit() const;

    VirtualFile file_;
    int interruptFd_ = -1;
};

}  // namespace GrpOwnerClient
