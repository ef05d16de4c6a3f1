#pragma once
// The binary records of the system-state manager's state query and its answer. Integers unsigned,
// in the host's byte order, without alignment, 32 bits but for the result's 8:
//
//   query  = count { length name }                   what follows is ignored
//   answer = result count { length name pid state }  an unknown pid is 0xFFFFFFFF

#include <string>
#include <vector>

#include "grpowner/app_records.h"
#include "src/ss/ss_to_owner_serialization.h"

namespace ProcMgr::SS {

/// @return false when the query is empty or a field passes its end
[[nodiscard]] bool DeserializeMessage(const SsToOwnerRequestMsg& request,
                                      std::vector<std::string>& names);

/// @return false, after an error line and with size 0, when the answer does not fit
[[nodiscard]] bool SerializeMessage(bool result, const std::vector<AppStatus>& states,
                                    SsToOwnerResponseMsg& response);

}  // namespace ProcMgr::SS
