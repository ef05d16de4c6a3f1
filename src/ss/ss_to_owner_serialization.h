#pragma once
// The records of the system-state manager's commands and the text in them.
//
// Every field is followed by '#'; numbers are decimal, texts raw, so a name must not contain '#'.
// What is read of a field that is missing or no number: see FieldReader.
//
//   change     = count { name option list groups }
//   list       = count { text }
//   groups     = count { index list }
//     answer   = pieces result { name state }    pieces: the results plus one
//   set state  = state                           the '#' may be missing
//     answer   = result
//   verify     = count { name option }
//     answer   = result                          without its '#', as of reload, dump and stop all
//   names      = result { name }                 the answer of a list; names only after a 1
//
// A result is 1 or 0. Pure functions but for their log lines. Decoders are lenient: what they
// refuse they leave partly decoded, and the caller goes on with that.

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "grpowner/app_records.h"
#include "src/common/field_reader.h"

namespace ProcMgr::SS {

inline constexpr size_t kDataSize = 3988;

inline constexpr uint64_t kMostApps = 1024;       // of a change or verify request
inline constexpr uint64_t kMostArguments = 1024;  // of one application
inline constexpr uint64_t kMostGroups = 3;        // of dynamic parameters
inline constexpr int32_t kHighestGroupIndex = 2;  // there is no lowest
inline constexpr uint64_t kMostValues = 1024;     // of one group
inline constexpr size_t kTooLargePiece = 3988;    // of a change answer, bytes

/// What a client hands over and gets back, always 4000 bytes. Integers in the host's byte order.
struct SsToOwnerRequestMsg {
    uint64_t size;    // meaningful bytes in data; from outside, check it before use
    int32_t timeout;  // milliseconds
    char data[kDataSize];
};
static_assert(sizeof(SsToOwnerRequestMsg) == 4000);
static_assert(offsetof(SsToOwnerRequestMsg, timeout) == 8);
static_assert(offsetof(SsToOwnerRequestMsg, data) == 12);

/// Of an answer only the size and that many bytes of data travel. As long as nothing is written it
/// is an empty answer.
struct SsToOwnerResponseMsg {
    uint64_t size = 0;
    int32_t timeout = 5000;  // not used
    char data[kDataSize] = {};
};
static_assert(sizeof(SsToOwnerResponseMsg) == sizeof(SsToOwnerRequestMsg));
static_assert(offsetof(SsToOwnerResponseMsg, timeout) == 8);
static_assert(offsetof(SsToOwnerResponseMsg, data) == 12);

/// One application of a change request as it arrives.
struct AppInfo {
    std::string name;
    uint32_t optionType = 0;  // OptionType, but any number may arrive
    std::vector<std::string> argv;
    DynamicParas dynamicParas;
};

// --- Requests: false, after an error line, when a limit is passed --------------------------------

/// @param state keeps its value when the record is refused; 0 when there is no number
[[nodiscard]] bool UnPackSetSystemStateRequest(const SsToOwnerRequestMsg& request, int& state);

/// @param apps becomes as long as announced. An application with too many arguments loses them and
///        its parameters, and the next one is read from there on
[[nodiscard]] bool UnPackChangeAppInfoRequestMsg(const SsToOwnerRequestMsg& request,
                                                 std::vector<AppInfo>& apps);

/// Reads the groups of one application. A repeated index appends, an empty group makes no entry.
[[nodiscard]] bool UnPackDynamicPara(FieldReader& fields, AppInfo& app);

/// Of a name that repeats the last option counts.
[[nodiscard]] bool UnPackVerifyRequest(const SsToOwnerRequestMsg& request,
                                       std::map<std::string, uint32_t>& changes);

// --- Answers -------------------------------------------------------------------------------------

/// Copies a text into an answer. What is too long leaves the area zeroed, but the size as if it had
/// been copied, from which the ioctl fails.
/// @return 0 or the error number of the copy
[[nodiscard]] int PutText(const std::string& text, SsToOwnerResponseMsg& response);

/// False, after an error line and with size 0, when the copy fails.
[[nodiscard]] bool PackSetSystemStateResponse(bool result, SsToOwnerResponseMsg& response);

/// False, after an error line, when one entry is too long (nothing is written then) or all of it is
/// (see PutText).
[[nodiscard]] bool PackChangeAppInfoResponse(bool result, const std::vector<AppChangeInfo>& results,
                                             SsToOwnerResponseMsg& response);

/// The answer of a command that only tells its result.
std::string ResultText(bool result);

std::string NameListText(bool result, const std::vector<std::string>& names);

}  // namespace ProcMgr::SS
