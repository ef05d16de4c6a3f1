#pragma once
// The live progress of a change, while the request for it waits for its answer.

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "client/grpctl/progress/progress_model.h"
#include "client/grpctl/progress/progress_sink.h"
#include "client/grpctl/typed/options.h"
#include "client/line_stream.h"
#include "client/owned_descriptor.h"

namespace GrpCtl {

/// A change, as its progress needs it.
struct Subject {
    Headline headline;
    ProcMgr::TraceRequest request = ProcMgr::TraceRequest::CHANGE;
    std::vector<Task> tasks;
};

/// What was seen of one part of it.
struct Seen {
    std::chrono::milliseconds when{0};              // its result, after the change's begin
    std::optional<std::chrono::milliseconds> took;  // nothing: the owner did not come to it
    bool isTold = false;  // in a line of its own, where the report will stand
};
using SeenTasks = std::map<std::pair<std::string, ProcMgr::OptionType>, Seen>;

/// Follows the owner's trace on a thread of its own and shows what becomes of the applications. To
/// be made before the request is sent. An owner without a trace has no progress; that is no fault
/// of the command.
class Progress {
public:
    /// @param ownerSocket where the request goes; the trace lies beside it
    Progress(const Options& options, const std::string& ownerSocket, Subject subject);

    /// The request has no answer: what was shown so far stays.
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// The answer is there. Nothing is written to standard error any more from here on.
    SeenTasks End();

private:
    enum class Order { kFollow, kEnd, kAbandon };

    bool Connect(const std::string& ownerSocket);
    void Run() noexcept;
    void Follow();
    bool TakeAll(std::chrono::milliseconds timeout, int wakeFd);
    void DrainUntilEnd();
    void Give(Order order);

    const bool isReportBeside_;  // of the same lines, at the same place
    ProgressModel model_;        // the thread's, until it has ended
    std::unique_ptr<ProgressSink> sink_;
    bool isPlain_ = false;
    GrpOwnerClient::LineStream stream_;
    GrpOwnerClient::OwnedDescriptor wake_;
    std::atomic<Order> order_{Order::kFollow};
    std::thread thread_;
};

}  // namespace GrpCtl
