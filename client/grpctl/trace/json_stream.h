#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "client/grpctl/text/json_output.h"
#include "client/line_stream.h"

namespace GrpCtl {

/// What an observer socket tells, object by object. Failures say what, why and what to do.
class JsonStream {
public:
    /// Asks, and reads the hello.
    /// @param peer who listens there: "process manager"
    JsonStream(const std::string& path, std::string_view peer, std::string_view request,
               std::chrono::milliseconds timeout);

    const Json& Hello() const { return hello_; }

    /// @param interruptFd readable when the user gives up, which is a Failure of kInterrupted
    /// @return nothing when none has come in time
    std::optional<Json> Next(std::chrono::milliseconds timeout, int interruptFd);

    /// The line of the last object, as it has come.
    const std::string& Line() const { return line_; }

private:
    const std::string peer_;
    GrpOwnerClient::LineStream stream_;
    std::string line_;
    Json hello_;
};

/// A member of an object, where there is one of that type.
std::string TextIn(const Json& object, const char* key);
int64_t NumberIn(const Json& object, const char* key);

}  // namespace GrpCtl
