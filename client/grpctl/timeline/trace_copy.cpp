#include "client/grpctl/timeline/trace_copy.h"

#include <chrono>
#include <filesystem>
#include <string>
#include <variant>

#include "client/grpctl/group/session.h"
#include "client/grpctl/text/failure.h"
#include "client/grpctl/text/interrupt.h"
#include "client/grpctl/text/screen.h"
#include "client/grpctl/trace/trace_line.h"
#include "client/line_stream.h"
#include "platform/linux/host.h"

namespace GrpCtl::Timeline {

namespace {

using GrpOwnerClient::LineStream;

// Up to its end, which a file does not have.
TraceHello Copy(LineStream stream, const Options& options) {
    const Interrupt interrupt;
    TraceHello hello;
    while (true) {
        const std::string line = Need(stream.Next(options.Timeout(), interrupt.Descriptor()));
        const TraceItem item = Need(ReadTraceLine(line));
        if (std::holds_alternative<TraceEnd>(item)) {
            return hello;
        }
        if (const auto* const greeting = std::get_if<TraceHello>(&item)) {
            hello = *greeting;
        }
        Put(line + "\n");
    }
}

}  // namespace

void CopyTrace(const Options& options) {
    const std::filesystem::path socket = FindOwnerSocket(options);
    const std::string trace = std::filesystem::path(socket).replace_extension(".trace");
    const TraceHello hello =
        Copy(Need(LineStream::Open(trace, "group owner", "from=0", options.Timeout())), options);
    auto processes = LineStream::Open(socket.parent_path() / "PROCMGR.observe", "process manager",
                                      "owner=" + hello.owner + " events=4096", options.Timeout());
    if (processes) {
        (void)Copy(std::move(*processes), options);
    } else {
        Say(options,
            "warning: without the process manager's side: " + processes.GetError().message);
    }
}

}  // namespace GrpCtl::Timeline
