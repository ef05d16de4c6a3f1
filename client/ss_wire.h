#pragma once
// The records of the system-state manager's commands, as its side writes and reads them. Shares
// nothing with the owner's coder: each end checks the other.
//
// A record has 4000 bytes: u64 size at 0, i32 timeout (milliseconds) at 8, data at 12, of which
// `size` bytes count. Integers are in the host's order, unaligned. The owner leaves the time-out
// and all data beyond its answer as they were. Never change:
//
//   change     "<count>#" then each "<name>#<option>#<argc>#" "<arg>#"… "<groups>#"
//              and each group "<index>#<count>#" "<value>#"…
//     answer   "<results + 1>#<0|1>#" then each "<name>#<state>#"
//   set state  "<state>"                                      answer  "<0|1>#"
//   verify     "<count>#" then each "<name>#<option>#"        answer  "<0|1>"
//   list       ""                                             answer  "<0|1>#" "<name>#"…
//   query      u32 count, then each u32 length, name
//     answer   u8 0|1, u32 count, then each u32 length, name, u32 pid, u32 state
//   reload, dump, stop all  ""                                answer  "<0|1>"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "client/ss_client.h"

namespace GrpOwnerClient::SsWire {

constexpr size_t kRecordSize = 4000;
constexpr size_t kTimeoutOffset = 8;
constexpr size_t kDataOffset = 12;
constexpr size_t kDataSize = kRecordSize - kDataOffset;

/// Most applications of a request, arguments of an application, values of a group.
constexpr size_t kMaxEntries = 1024;
constexpr int32_t kMaxDynamicIndex = 2;

/// What a query's answer spends beside the entries, and on each entry beside its name. The request
/// spends less on both.
constexpr size_t kQueryAnswerHead = 5;
constexpr size_t kQueryAnswerEntry = 12;

/// A longer name fits no answer.
constexpr size_t kLongestName = kDataSize - kQueryAnswerHead - kQueryAnswerEntry;

using Record = std::vector<uint8_t>;

/// A record with this payload; kTooLarge when it does not fit.
/// @param entries how many applications it names, for the message
Result<Record> MakeRecord(const std::string& payload, int32_t timeoutMs, size_t entries);

/// The payload of an answer, checked against the operation's result.
Result<std::string> TakePayload(const IoctlAnswer& answer);

// Payloads of requests. kUsage when something cannot be sent, kTooLarge beyond a limit.
Result<std::string> PackChange(const std::vector<Change>& changes);
Result<std::string> PackVerify(const std::map<std::string, uint32_t>& changes);
std::string PackQuery(const std::vector<std::string>& names);

/// Checks the names of a query and splits them, in order, so that each part and its answer fit a
/// record.
Result<std::vector<std::vector<std::string>>> SplitQuery(const std::vector<std::string>& names);

// Payloads of answers. Whatever is not exactly in form is kMalformed.
Result<ChangeAnswer> UnpackChange(const std::string& payload);
Result<bool> UnpackSetState(const std::string& payload);
Result<bool> UnpackFlag(const std::string& payload);
Result<ListAnswer> UnpackList(const std::string& payload);

struct QueryAnswer {
    bool isOk = false;
    std::vector<Status> entries;  // in the owner's order
};
Result<QueryAnswer> UnpackQuery(const std::string& payload);

}  // namespace GrpOwnerClient::SsWire
