#pragma once
// What the process manager tells of applications, and how it is shown.

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "client/grpctl/text/screen.h"
#include "client/grpctl/trace/json_stream.h"

namespace GrpCtl {

/// What is asked of the process manager.
struct LogRequest {
    std::string owner;
    std::vector<std::string> applications;
    uint64_t lines = 0;   // past ones of each application
    uint64_t events = 0;  // past ones of all of them
    bool isFollowing = false;
};

/// @param ownerSocket  the process manager's lies beside it
JsonStream OpenProcessLog(const std::string& ownerSocket, const LogRequest& request,
                          std::chrono::milliseconds timeout);

/// How a process has ended, or why there is none: "exit status 3", "SIGSEGV, core dumped", "could
/// not execute the program: No such file or directory". Empty: the object tells of no end.
std::string EndOf(const Json& object);

/// Text of an application, fit for a terminal: what would steer it is an escape.
std::string TerminalText(const std::string& text);

/// Puts objects into lines for people.
class LogLines {
public:
    /// @param hello says what the clocks say
    /// @param applications  their names are shown when they are several
    LogLines(const Json& hello, const std::vector<std::string>& applications, Screen screen);

    /// @return empty for what people do not need
    std::string Of(const Json& object) const;

private:
    std::string TimeOf(const Json& object) const;
    std::string NameOf(const Json& object) const;
    std::string Output(const Json& object) const;

    const int64_t toRealTime_;  // nanoseconds between the clocks
    const int64_t now_;
    size_t nameWidth_ = 0;  // 0: no names
    const Screen screen_;
};

}  // namespace GrpCtl
