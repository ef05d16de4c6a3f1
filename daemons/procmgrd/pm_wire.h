#pragma once
// The process manager's own reading of the 3984-byte records. It shares nothing with the owner's
// side on purpose: each side checks the other.
//
// Text payloads are fields that each end in '#'; numbers are decimal. A payload begins with a count
// of pieces, then the pieces:
//   start, restart     name, count, arguments..., parameters
//     parameters       count, then for each: index, count, texts...
//   terminate          name
//   base state         number
//   execution          name, three numbers
//   (re)load           path, count, then for each: key, value
//   reports            name, pid, kind, reason, 0
// Query and answer are binary: a count, then for each: length, name (and a state in the answer).
// Integers are unsigned, 32 bits wide, in the host's order.

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ProcMgrDaemon {

// Never change a number below: they are on the wire.

enum class RecordType : uint32_t {
    kStart = 0,
    kRestart = 1,
    kTerminate = 2,
    kBaseState = 3,
    kReports = 4,
    kExecution = 5,
    kLoad = 6,
    kReload = 7,
    kQuery = 9,
    kQueryAnswer = 10,
};

enum class ReportKind : uint32_t {
    kStarted = 0,
    kRestarted = 1,
    kTermTimeOut = 2,
    kNormalExit = 3,
    kAbnormalExit = 4,
};

enum class QueriedState : uint32_t { kRunning = 0, kNotRunning = 1, kInBetween = 2 };

inline constexpr size_t kRecordBytes = 3984;
inline constexpr size_t kDataBytes = 3964;
inline constexpr size_t kMaxReports = 1999;  // an owner refuses a record of more
inline constexpr int kMaxParameterIndex = 2;

struct Record {
    uint32_t type;
    uint32_t padding;
    uint64_t length;  // meaningful bytes of data
    char data[kDataBytes];
    uint32_t trailingPadding;

    std::string_view Payload() const { return {data, static_cast<size_t>(length)}; }
};
static_assert(sizeof(Record) == kRecordBytes);
static_assert(offsetof(Record, length) == 8 && offsetof(Record, data) == 16);

/// Index to texts.
using Parameters = std::map<int, std::vector<std::string>>;

struct LaunchRequest {
    std::string name;
    std::vector<std::string> arguments;  // none: the manifest's own
    Parameters parameters;
};

struct ConfigurationRequest {
    std::string path;
    std::map<std::string, std::string> matchData;
};

struct ExecutionReport {
    std::string name;
    uint32_t numbers[3];
};

struct Report {
    std::string name;
    uint32_t pid = 0;
    ReportKind kind = ReportKind::kStarted;
    uint32_t reason = 0;  // of an abnormal exit, see exit_reason.h
};

/// Takes a record out of raw bytes; nothing when the size or the length in it is impossible.
std::optional<Record> ReadRecord(std::string_view bytes);

// Nothing when the payload is not exactly what its type promises; it is used whole or not at all.

std::optional<std::vector<LaunchRequest>> DecodeLaunches(std::string_view payload);
std::optional<std::vector<std::string>> DecodeTerminations(std::string_view payload);
std::optional<uint32_t> DecodeBaseState(std::string_view payload);
std::optional<ExecutionReport> DecodeExecution(std::string_view payload);
std::optional<ConfigurationRequest> DecodeConfiguration(std::string_view payload);
std::optional<std::vector<std::string>> DecodeQuery(std::string_view payload);

/// Fills a record with as many reports from the front as fit.
/// @return how many
size_t EncodeReports(const std::deque<Report>& reports, Record& record);

/// The answer to a query, in as many records as it takes.
std::vector<Record> EncodeStates(const std::vector<std::pair<std::string, QueriedState>>& states);

}  // namespace ProcMgrDaemon
