#pragma once

#include <string>

namespace GrpOwnerDaemon {

/// Offers the owner's trace at "<run directory>/<owner>.trace" to everybody, from now on and until
/// the process is gone.
/// @return why not; empty: it is offered
std::string OfferTrace(const std::string& runDirectory, const std::string& owner);

}  // namespace GrpOwnerDaemon
