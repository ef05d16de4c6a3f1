#pragma once
// The binary records of a state query and its answer. Integers of 32 bits, unsigned, in the host's
// byte order, without alignment:
//
//   query  = count { length name }
//   answer = count { length name state }    from the process manager; no length is 0

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "src/agent/messages.h"

namespace ProcMgr::Serialization {

/// Fills in the query of these names.
/// @return false when they do not fit the record
bool SerializeMessage(const std::vector<std::string>& names, Message::RequestMsg& record);

/// Decodes an answer; of a name that repeats the later state counts.
/// @return false when a length is 0 or a field passes the record's end
bool DeserializeMessage(const Message::RequestMsg& record, std::map<std::string, uint32_t>& states);

}  // namespace ProcMgr::Serialization
