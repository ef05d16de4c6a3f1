#include "client/grpctl/change/outcome_words.h"

#include "grpowner/enumerations.h"

namespace GrpCtl {

std::string ReasonOf(uint32_t result) {
    switch (static_cast<AppChangeState>(result)) {
        case AppChangeState::TERM_FAILED:
            return "did not stop";
        case AppChangeState::START_FAILED:
            return "did not start";
        case AppChangeState::RESTART_FAILED:
            return "did not restart";
        case AppChangeState::START_FAILED_BY_EIO:
            return "its program cannot be started (input/output error)";
        case AppChangeState::INIT:
            return "the owner did not come to it";
        case AppChangeState::PROCESSING:
            return "not there in time";
        default:
            return "result " + std::to_string(result);
    }
}

}  // namespace GrpCtl
