#include "client/grpctl/text/failure.h"

#include "platform/linux/utf8.h"

namespace GrpCtl {

using GrpOwnerClient::Error;
using GrpOwnerClient::ErrorKind;

std::string Render(const Failure& failure) {
    std::string text = "error: " + GrpOwnerLinux::PrintableLine(failure.what) + "\n";
    if (!failure.why.empty()) {
        text += "  why: " + GrpOwnerLinux::PrintableLine(failure.why) + "\n";
    }
    if (!failure.help.empty()) {
        text += " help: " + GrpOwnerLinux::PrintableLine(failure.help) + "\n";
    }
    return text;
}

Failure InTransition() {
    return {kInTransition, "refused: another change set or a reload is in progress", "",
            "try again when it has ended"};
}

Failure ToFailure(const Error& error) {
    switch (error.kind) {
        case ErrorKind::kUnreachable:
            return {kUnreachable, "cannot reach the group owner", error.message,
                    "start the demo with `./dev demo`, or name the socket with --socket PATH"};
        case ErrorKind::kNotAllowed:
            return {kNotAllowed, "not allowed", error.message, ""};
        case ErrorKind::kTimeout:
            return {kNoAnswer, error.message, "", "give it longer with --timeout"};
        case ErrorKind::kInterrupted:
            return {kInterrupted, "interrupted", "", ""};
        case ErrorKind::kRefused:
            // Without a code it is the owner that got no answer.
            return {error.code == 0 ? kNoAnswer : kFailed, error.message, "", ""};
        case ErrorKind::kTooLarge:
            return {kWrongUsage, error.message, "", "divide it"};
        case ErrorKind::kUsage:
            return {kWrongUsage, error.message, "", ""};
        case ErrorKind::kMalformed:
            break;
    }
    return {kFailed, error.message, "", ""};
}

}  // namespace GrpCtl
