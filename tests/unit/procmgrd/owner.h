#pragma once
// An owner as the process manager sees it, which can also say what no owner says.

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "client/connection.h"
#include "tests/support/frames.h"

namespace ProcMgrTest {

using GrpOwnerTest::PipeFrameKind;
using ProcMgrDaemon::RecordType;
using ProcMgrDaemon::Report;
using Kind = ProcMgrDaemon::ReportKind;
using Names = std::vector<std::string>;

/// The payload of a start or restart of these names, without arguments.
std::string Launches(const Names& names);

class Owner {
public:
    /// Connects and says hello.
    explicit Owner(const std::string& runDirectory, const std::string& name = "rover");

    /// Connects only.
    struct Silent {};
    Owner(const std::string& runDirectory, Silent);

    int32_t Welcome() const { return welcome_; }
    void HangUp() { connection_.Close(); }

    /// Sends one packet as it is.
    void Say(const std::string& packet);
    void Send(RecordType type, const std::string& payload);
    void Start(const Names& names) { Send(RecordType::kStart, Launches(names)); }
    void Restart(const std::string& name) { Send(RecordType::kRestart, Launches({name})); }
    void Terminate(const std::string& name) { Send(RecordType::kTerminate, "1#" + name + "#"); }

    /// @return the text of the answer
    std::string Call(RecordType type, const std::string& payload);
    std::string Load(const std::string& path, RecordType type = RecordType::kLoad) {
        return Call(type, "1#" + path + "#0#");
    }

    /// The next report.
    Report Next();

    /// How many reports the record held that brought the last ones.
    size_t LastBatch() const { return lastBatch_; }

    /// Whose processes have been told of; those that have ended are nobody's.
    const std::map<pid_t, std::string>& Processes() const { return processes_; }

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

    std::optional<Frame> Receive();
    void TakeNext();

    GrpOwnerClient::Connection connection_;
    int32_t welcome_ = 1;
    size_t lastBatch_ = 0;
    std::deque<Report> told_;
    std::map<pid_t, std::string> processes_;
    std::optional<std::string> answer_;
    std::optional<uint32_t> state_;
};

}  // namespace ProcMgrTest
