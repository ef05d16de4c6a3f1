#include "client/ss_client.h"

#include <algorithm>
#include <limits>
#include <set>
#include <utility>

#include "client/ss_wire.h"

namespace GrpOwnerClient {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kConnectLimit{5000};

// The owner waits this long when it is asked for less than a tenth of a second.
constexpr milliseconds kShortestWait{100};
constexpr milliseconds kDefaultWait{4500};

// What the owner waits at most in one phase.
milliseconds PhaseLimit(milliseconds timeout) {
    return timeout < kShortestWait ? kDefaultWait : timeout;
}

Result<int32_t> WireTimeout(milliseconds timeout) {
    if (timeout.count() < 1 || timeout.count() > std::numeric_limits<int32_t>::max()) {
        return Error{ErrorKind::kUsage,
                     "a time-out of " + std::to_string(timeout.count()) +
                         " ms: it must be 1 ms or more and fit 32 bits",
                     0};
    }
    return static_cast<int32_t>(timeout.count());
}

Result<std::string> Payload(Result<IoctlAnswer> answer) {
    if (!answer) {
        return answer.GetError();
    }
    return SsWire::TakePayload(*answer);
}

// Terminations, starts and restarts each have a deadline of their own.
milliseconds ChangeLimit(const std::vector<Change>& changes, milliseconds timeout) {
    std::set<ProcMgr::OptionType> phases;
    for (const Change& change : changes) {
        phases.insert(change.option);
    }
    return PhaseLimit(timeout) * static_cast<int>(phases.size());
}

// Brings the owner's entries, unknown names first, into the order of the question.
Result<bool> Append(const std::vector<std::string>& names, const SsWire::QueryAnswer& answer,
                    std::vector<Status>& statuses) {
    std::map<std::string, const Status*> byName;
    for (const Status& entry : answer.entries) {
        byName[entry.name] = &entry;
    }
    for (const std::string& name : names) {
        const auto found = byName.find(name);
        if (answer.entries.size() != names.size() || found == byName.end()) {
            return Error{ErrorKind::kMalformed,
                         "the owner's answer does not match the query: " +
                             std::to_string(answer.entries.size()) + " entries for " +
                             std::to_string(names.size()) + " names",
                         0};
        }
        statuses.push_back(*found->second);
    }
    return true;
}

}  // namespace

Result<SsClient> SsClient::Connect(const std::string& path) {
    Result<VirtualFile> file = VirtualFile::Open(path, kConnectLimit);
    if (!file) {
        return file.GetError();
    }
    SsClient client;
    client.file_ = std::move(*file);
    return client;
}

Result<std::string> SsClient::Call(Command command, const std::vector<uint8_t>& record,
                                   milliseconds limit) {
    return Payload(Raw(static_cast<uint32_t>(command), record, limit + kMargin));
}

// Of a command that carries nothing; its time-out is not read, but 0 would look like a mistake.
Result<std::string> SsClient::CallPlain(Command command, milliseconds limit) {
    const Result<SsWire::Record> record =
        SsWire::MakeRecord("", static_cast<int32_t>(limit.count()), 0);
    return Call(command, *record, limit);
}

milliseconds SsClient::PlainLimit() const {
    return std::max(kPlainLimit, GetFacts().serviceTimeout);
}

Result<bool> SsClient::CallForFlag(Command command, milliseconds limit) {
    const Result<std::string> payload = CallPlain(command, limit);
    return payload ? SsWire::UnpackFlag(*payload) : payload.GetError();
}

Result<ChangeAnswer> SsClient::ChangeApps(const std::vector<Change>& changes,
                                          milliseconds timeout) {
    const Result<int32_t> wireTimeout = WireTimeout(timeout);
    if (!wireTimeout) {
        return wireTimeout.GetError();
    }
    const Result<std::string> request = SsWire::PackChange(changes);
    if (!request) {
        return request.GetError();
    }
    const Result<SsWire::Record> record =
        SsWire::MakeRecord(*request, *wireTimeout, changes.size());
    if (!record) {
        return record.GetError();
    }
    const Result<std::string> payload =
        Call(Command::kChange, *record, ChangeLimit(changes, timeout));
    if (!payload) {
        return payload.GetError();
    }
    return SsWire::UnpackChange(*payload);
}

Result<bool> SsClient::SetSystemState(int state, milliseconds timeout) {
    const Result<int32_t> wireTimeout = WireTimeout(timeout);
    if (!wireTimeout) {
        return wireTimeout.GetError();
    }
    const Result<SsWire::Record> record =
        SsWire::MakeRecord(std::to_string(state), *wireTimeout, 0);
    const Result<std::string> payload =
        Call(Command::kSetSystemState, *record, PhaseLimit(timeout));
    return payload ? SsWire::UnpackSetState(*payload) : payload.GetError();
}

Result<bool> SsClient::Reload() {
    return CallForFlag(Command::kReload, PlainLimit());
}

Result<bool> SsClient::Dump() {
    return CallForFlag(Command::kDump, PlainLimit());
}

Result<bool> SsClient::StopAll() {
    return CallForFlag(Command::kStopAll, kStopAllLimit);
}

Result<ListAnswer> SsClient::List() {
    const Result<std::string> payload = CallPlain(Command::kList, PlainLimit());
    if (!payload) {
        return payload.GetError();
    }
    return SsWire::UnpackList(*payload);
}

Result<bool> SsClient::Verify(const std::map<std::string, uint32_t>& changes) {
    const Result<std::string> request = SsWire::PackVerify(changes);
    if (!request) {
        return request.GetError();
    }
    const milliseconds limit = PlainLimit();
    const Result<SsWire::Record> record =
        SsWire::MakeRecord(*request, static_cast<int32_t>(limit.count()), changes.size());
    if (!record) {
        return record.GetError();
    }
    const Result<std::string> payload = Call(Command::kVerify, *record, limit);
    return payload ? SsWire::UnpackFlag(*payload) : payload.GetError();
}

Result<std::vector<Status>> SsClient::Query(const std::vector<std::string>& names,
                                            milliseconds timeout) {
    const Result<int32_t> wireTimeout = WireTimeout(timeout);
    if (!wireTimeout) {
        return wireTimeout.GetError();
    }
    const auto parts = SsWire::SplitQuery(names);
    if (!parts) {
        return parts.GetError();
    }
    std::vector<Status> statuses;
    for (const std::vector<std::string>& part : *parts) {
        const Result<bool> done = QueryPart(part, *wireTimeout, statuses);
        if (!done) {
            return done.GetError();
        }
    }
    return statuses;
}

Result<bool> SsClient::QueryPart(const std::vector<std::string>& names, int32_t timeout,
                                 std::vector<Status>& statuses) {
    const Result<SsWire::Record> record =
        SsWire::MakeRecord(SsWire::PackQuery(names), timeout, names.size());
    if (!record) {
        return record.GetError();
    }
    const Result<std::string> payload =
        Call(Command::kQuery, *record, PhaseLimit(milliseconds(timeout)));
    if (!payload) {
        return payload.GetError();
    }
    const Result<SsWire::QueryAnswer> answer = SsWire::UnpackQuery(*payload);
    if (!answer) {
        return answer.GetError();
    }
    if (!answer->isOk) {
        return Error{ErrorKind::kRefused,
                     "the owner has no states: the process manager did not answer it in time", 0};
    }
    return Append(names, *answer, statuses);
}

Result<IoctlAnswer> SsClient::Raw(uint32_t command, const std::vector<uint8_t>& buffer,
                                  milliseconds timeout) {
    return file_.Ioctl(command, buffer, timeout, interruptFd_);
}

}  // namespace GrpOwnerClient
