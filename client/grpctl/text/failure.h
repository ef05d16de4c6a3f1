#pragma once

#include <string>
#include <utility>

#include "client/grpctl/typed/exit_code.h"
#include "client/result.h"

namespace GrpCtl {

/// Why a command cannot go on. Thrown from wherever that is found out; main prints it and exits.
struct Failure {
    ExitCode code = kFailed;
    std::string what;
    std::string why;   // may be empty
    std::string help;  // may be empty
};

/// The form in which people read it.
std::string Render(const Failure& failure);

/// What an error of the client library means for a command.
Failure ToFailure(const GrpOwnerClient::Error& error);

/// The owner carries out one change set or reload at a time.
Failure InTransition();

/// The value of a call that the command cannot do without.
template <typename Value>
Value Need(GrpOwnerClient::Result<Value> result) {
    if (!result) {
        throw ToFailure(result.GetError());
    }
    return std::move(*result);
}

}  // namespace GrpCtl
