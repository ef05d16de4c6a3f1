#pragma once
// An owner as the process manager sees it, with an encoding of its own.

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

namespace ProcMgrTest {

enum Type : uint32_t { kStart, kRestart, kTerm, kBase, kReports, kExec, kLoad, kReload };
enum Kind : uint32_t { kStarted, kRestarted, kTermTimeOut, kNormalExit, kAbnormalExit };

struct Told {
    std::string name;
    uint32_t pid;
    uint32_t kind;
    uint32_t reason;
};

/// Joins fields as the text records have them.
std::string Fields(const std::vector<std::string>& fields);

/// The payload of a start or restart of these names, without arguments.
std::string Launches(const std::vector<std::string>& names);

std::string RecordBytes(uint32_t type, const std::string& payload);

class Owner {
public:
    /// Connects and says hello.
    explicit Owner(const std::string& runDirectory, const std::string& name = "rover");

    /// Connects only.
    struct Silent {};
    Owner(const std::string& runDirectory, Silent);
    ~Owner();
    Owner(const Owner&) = delete;
    Owner& operator=(const Owner&) = delete;

    int32_t Welcome() const { return welcome_; }
    void HangUp();

    void Send(uint32_t type, const std::string& payload);
    void SendFrame(uint32_t kind, uint64_t sequence, const std::string& payload);
    void SendRaw(const std::string& packet);
    void Start(const std::vector<std::string>& names) { Send(kStart, Launches(names)); }
    void Restart(const std::string& name) { Send(kRestart, Launches({name})); }
    void Terminate(const std::string& name) { Send(kTerm, Fields({"1", name})); }

    /// @return the text of the answer
    std::string Call(uint32_t type, const std::string& payload);
    std::string Load(const std::string& path, uint32_t type = kLoad) {
        return Call(type, Fields({"1", path, "0"}));
    }

    /// The next report; those of other names stay in line when a name is given.
    Told Next(const std::string& name = "");

    /// How many reports the record held that brought the last ones.
    size_t LastBatch() const { return lastBatch_; }

    std::map<std::string, uint32_t> Query(const std::vector<std::string>& names);

    /// Whether no report is on its way: an answer never overtakes one.
    bool NothingMore();

    /// Waits until the process manager hangs up; what comes before is thrown away.
    void AwaitHangUp();

private:
    struct Frame {
        uint32_t kind;
        std::string payload;
    };

    bool Receive(Frame& frame);
    void Take(const Frame& frame);

    int socket_ = -1;
    int32_t welcome_ = 1;
    size_t lastBatch_ = 0;
    std::deque<Told> told_;
    std::deque<std::string> answers_;
    std::deque<std::map<std::string, uint32_t>> states_;
};

/// What applications say to their owner.
class Ear {
public:
    explicit Ear(const std::string& runDirectory, const std::string& owner = "rover");
    ~Ear();
    Ear(const Ear&) = delete;
    Ear& operator=(const Ear&) = delete;

    std::string Hear() const;

    /// Hears until it hears this.
    void Await(const std::string& text) const;

private:
    int socket_;
};

}  // namespace ProcMgrTest
