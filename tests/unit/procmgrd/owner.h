#pragma once
// An owner as the process manager sees it, which can also say what no owner says.

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "daemons/procmgrd/pm_wire.h"
#include "platform/linux/pipe_frame.h"

namespace ProcMgrTest {

using GrpOwnerLinux::PipeFrameKind;
using ProcMgrDaemon::RecordType;
using ProcMgrDaemon::Report;
using Kind = ProcMgrDaemon::ReportKind;
using Names = std::vector<std::string>;

/// Joins fields as the text records have them.
std::string Fields(const Names& fields);

/// The payload of a start or restart of these names, without arguments.
std::string Launches(const Names& names);

std::string RecordBytes(RecordType type, const std::string& payload);

class Owner {
public:
    /// Connects and says hello.
    explicit Owner(const std::string& runDirectory, const std::string& name = "rover");

    /// Connects only.
    struct Silent {};
    Owner(const std::string& runDirectory, Silent);
    ~Owner() { HangUp(); }
    Owner(const Owner&) = delete;
    Owner& operator=(const Owner&) = delete;

    int32_t Welcome() const { return welcome_; }
    void HangUp();

    void Send(RecordType type, const std::string& payload);
    void SendFrame(PipeFrameKind kind, uint64_t sequence, const std::string& payload);
    void SendRaw(const std::string& packet);
    void Start(const Names& names) { Send(RecordType::kStart, Launches(names)); }
    void Restart(const std::string& name) { Send(RecordType::kRestart, Launches({name})); }
    void Terminate(const std::string& name) { Send(RecordType::kTerminate, Fields({"1", name})); }

    /// @return the text of the answer
    std::string Call(RecordType type, const std::string& payload);
    std::string Load(const std::string& path, RecordType type = RecordType::kLoad) {
        return Call(type, Fields({"1", path, "0"}));
    }

    /// The next report.
    Report Next();

    /// How many reports the record held that brought the last ones.
    size_t LastBatch() const { return lastBatch_; }

    /// 0 runs, 1 does not, 2 neither.
    uint32_t StateOf(const std::string& name);

    /// Whether no report is on its way: an answer never overtakes one.
    bool NothingMore();

    /// Waits until the process manager hangs up; what comes before is thrown away.
    void AwaitHangUp();

private:
    struct Frame {
        PipeFrameKind kind{};
        std::string payload;
    };

    bool Receive(Frame& frame);
    void TakeNext();

    int socket_ = -1;
    int32_t welcome_ = 1;
    size_t lastBatch_ = 0;
    std::deque<Report> told_;
    std::optional<std::string> answer_;
    std::optional<uint32_t> state_;
};

}  // namespace ProcMgrTest
