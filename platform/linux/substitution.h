#pragma once

#include <string>
#include <vector>

#include "platform/manifest_service.h"

namespace GrpOwnerLinux {

/// What is wrong with one replacement; the place in bytes of the text.
struct SubstitutionFault {
    size_t begin = 0;
    size_t length = 0;
    std::string message;
    std::string help;
};

/// Replaces ${NAME} and ${NAME:-default} (for a NAME that is not defined, or empty) and makes $$ a
/// dollar sign. What is filled in is not looked at again.
std::string Substitute(const std::string& text, const ParseAndDepend::MatchData& matchData,
                       std::vector<SubstitutionFault>& faults);

}  // namespace GrpOwnerLinux
