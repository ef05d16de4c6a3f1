#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "daemons/grpowner-replay/recording.h"
#include "daemons/grpowner-replay/script.h"
#include "grpowner/procmgr_grp_owner.h"
#include "platform/memory/memory_platform.h"
#include "platform/portable/recording_fields.h"

namespace GrpOwnerReplay {

/// A run is told here line by line and compared with the recorded one. Lines are equal but for the
/// stamps of the boot trace, which the library reads from the machine itself.
struct Outcome {
    size_t lines = 0;
    size_t requests = 0;  // all that came in
    size_t differences = 0;
    std::string first;  // the first difference, in words
};

/// Plays a recording: does on threads of the recorded names what came in on them, answers what the
/// library asks as it was answered, and compares what it says. One for a process; used by the
/// thread that runs.
class Player {
public:
    /// @param recording must outlive the player
    /// @param tell called with each line of the library
    Player(const Recording& recording, std::function<void(const std::string& line)> tell);
    ~Player();
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    Script& Guide() { return script_; }
    Outcome Play();

private:
    using FieldReader = GrpOwnerRecording::FieldReader;
    using FieldWriter = GrpOwnerRecording::FieldWriter;

    struct HostCall;
    static const HostCall kHostCalls[15];

    void PlayThread(const std::string& thread);
    FieldWriter CarryOut(const Entry& entry);
    FieldWriter CallOwner(const Entry& entry);
    FieldWriter CallFile(const Entry& entry);
    int SubscribeSystemState();
    int SubscribeAppState();

    void OnLine(const GrpOwnerMemory::LogLine& line);
    std::optional<int> OnCall(const GrpOwnerMemory::PlatformCall& call);
    int TakeAnswer(std::string_view function, FieldReader& fields);

    /// What was answered; null when this was not asked.
    const Entry* Ask(const std::string& what, const FieldWriter& fields);
    const Entry* Await(Kind kind, const std::string& what);
    bool SkipTo(const std::string& thread, Kind kind, const std::string& what);
    void Compare(const Entry& entry, const FieldWriter& fields, const char* of);
    void Differ(const Entry* entry, const std::string& recorded, const std::string& replayed);

    const std::function<void(const std::string& line)> tell_;
    Script script_;
    Outcome outcome_;
    std::string answer_;  // to the call that is being answered
    bool hasAnswer_ = false;
    std::map<std::string, std::unique_ptr<GrpOwnerMemory::VirtualFileClient>> files_;
    HeartBeatCheckCallback heartBeat_ = nullptr;  // all applications share it
};

}  // namespace GrpOwnerReplay
