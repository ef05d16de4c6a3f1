#pragma once
// The text of requests to the process manager and of its state reports.
//
// Every field is followed by '#'; numbers are decimal, texts raw, so a name must not contain '#'.
//
//   record     = count pieces              pieces follow each other without a separator
//   start      = name list parameters      of restarts too
//   term       = name
//   base state = number
//   execution  = name number number number
//   load       = path count { key value }  of reloads too
//   list       = count { text }
//   parameters = count { key list }
//   report     = count { name pid type reason spare }    from the process manager
//
// Pure functions but for their log lines. The limits differ on purpose: a packer lets a piece pass
// that is four bytes too long to be sent, and CalculateWindows drops it then.

#include <cstdint>
#include <map>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "src/agent/messages.h"

namespace ProcMgr::Serialization {

/// The text of one application, or of a single report, and its length in bytes.
using Piece = std::pair<uint32_t, std::string>;

inline constexpr size_t kLargestPiece = 3959;   // bytes that a packer accepts
inline constexpr uint32_t kLargestSum = 3955;   // bytes of pieces in one record
inline constexpr uint32_t kTooManyApps = 2000;  // a report that announces as many is refused

// Packers append a piece for each entry. False, after an error line, when a piece is too long; the
// pieces before it stay.

void PackDynamicPara(std::ostream& stream, const std::map<int, std::vector<std::string>>& paras);
bool ProcMgrPackStartRequest(const std::vector<Message::StartAppInfo>& apps,
                             std::vector<Piece>& pieces);
bool ProcMgrPackRestartRequest(const std::vector<Message::RestartAppInfo>& apps,
                               std::vector<Piece>& pieces);
bool ProcMgrPackTermRequest(const std::vector<Message::TermAppInfo>& apps,
                            std::vector<Piece>& pieces);
bool ProcMgrPackBaseServiceStateRequest(Message::BaseServiceStateInfo info,
                                        std::vector<Piece>& pieces);
bool ProcMgrPackAppExecInfoRequest(const Message::AppExecInfo& info, std::vector<Piece>& pieces);
bool ProcMgrPackMatchDataAndPathRequest(const Message::StartupCfgInfo& info,
                                        std::vector<Piece>& pieces);

/// Sorts the pieces by length, then text, and appends as few records as their order allows.
/// @return false when there is no piece; true also when pieces were too long to be sent
bool ProcMgrCombinePiecesMsg(Message::RequestType type, std::vector<Piece>& pieces,
                             std::vector<Message::RequestMsg>& records);

/// How many consecutive pieces go into each record. Ends, with a warning, at a piece that is too
/// long for any record.
void CalculateWindows(const std::vector<Piece>& pieces, std::vector<uint32_t>& windows);

/// Appends one record of `count` pieces; nothing, after an error line, when it would not fit.
void ProcMgrCombineMsg(Message::RequestType type, uint32_t count, const std::string& joined,
                       std::vector<Message::RequestMsg>& records);

/// Decodes a state report. Missing fields are not detected: entries keep their defaults then.
/// @param apps becomes as long as announced
/// @return false when too many are announced; `apps` is unchanged then
bool ProcMgrUnpackedAppStateRequest(const Message::RequestMsg* record,
                                    std::vector<Message::AppStateInfo>& apps);

}  // namespace ProcMgr::Serialization
