#pragma once

#include <string>

#include "client/grpctl/typed/verbs.h"

namespace GrpCtl {

std::string OverallHelp();
std::string HelpOf(const Verb& verb);

}  // namespace GrpCtl
