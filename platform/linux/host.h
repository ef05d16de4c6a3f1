#pragma once
// What our Linux implementation of the platform offers to daemons beyond the seam: the end of a
// pipe, what virtual files tell and allow, the heartbeats that arrive at the host and their
// periods, the match data, and the configuration checker. The core never includes this.

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/export.h"
#include "platform/manifest_service.h"

namespace GrpOwnerLinux {

// --- Places --------------------------------------------------------------------------------------

/// The directory of sockets and locks, made when it is missing: $GRPOWNER_RUN_DIR when set, else
/// /run/grpowner for root, else $XDG_RUNTIME_DIR/grpowner, else a private directory (mode 0700)
/// under the system's temporary one.
/// @param error filled in with the reason when the result is empty
GRPOWNER_PLATFORM_EXPORT std::string RunDirectory(std::string& error);

/// The socket on which the process of this name accepts pipes: "<run directory>/<name>.pipe".
GRPOWNER_PLATFORM_EXPORT std::string PipePath(std::string_view runDirectory,
                                              std::string_view processName);

// --- Pipes ---------------------------------------------------------------------------------------

/// Called once, on the service's handling thread, when a pipe ends without having been closed here.
/// @param reason in words
using PipeEndHandler = std::function<void(int fd, const std::string& reason)>;

/// To be set before the pipe is opened.
GRPOWNER_PLATFORM_EXPORT void SetPipeEndHandler(PipeEndHandler handler);

/// Called, on a thread of the pipe, when the process manager has told of a new process. Nothing is
/// read from the pipe meanwhile.
using ProcessHandler = std::function<void()>;

/// To be set before the pipe is opened.
GRPOWNER_PLATFORM_EXPORT void SetProcessHandler(ProcessHandler handler);

/// The application whose process this was at that time and still is, as the process manager has
/// told over the newest pipe to it. Empty: none of this owner's, none any more, or not told yet.
/// @param leader the process, and the process group that it leads
GRPOWNER_PLATFORM_EXPORT std::string ApplicationOf(std::string_view processManager, int leader,
                                                   std::chrono::steady_clock::time_point when);

// --- Virtual files and queues --------------------------------------------------------------------

/// Sockets: "<run directory>/<name>.vfs" and "<run directory>/<name>.queue".
GRPOWNER_PLATFORM_EXPORT std::string VirtualFilePath(std::string_view runDirectory,
                                                     std::string_view name);
GRPOWNER_PLATFORM_EXPORT std::string QueuePath(std::string_view runDirectory,
                                               std::string_view name);

/// What connections to virtual files are told and may do. Root, the process's own user and the
/// members of `changeGroup` may give every command, others only those of `openCommands`.
struct VirtualFileOptions {
    std::string owner;          // name of this process
    std::string configuration;  // absolute path of the start configuration
    ParseAndDepend::MatchData matchData;
    std::set<uint32_t> openCommands;
    std::optional<uint32_t> changeGroup;  // a group's number
};

/// To be set before the virtual file is registered.
GRPOWNER_PLATFORM_EXPORT void SetVirtualFileOptions(VirtualFileOptions options);

/// Who gave the command that the calling thread carries out for a virtual file.
struct Requester {
    uint32_t user = 0;
    int32_t process = 0;  // 0: this thread carries out none
};
GRPOWNER_PLATFORM_EXPORT Requester CurrentRequester();

// --- Observers -----------------------------------------------------------------------------------

/// Offers a stream socket of that path to everybody. Each connection is served on a thread of its
/// own, by the function, which need not close it; when there are too many of them, one line says
/// so instead.
/// @param reason in words, when the result is negative
/// @return 0 or negative errno
GRPOWNER_PLATFORM_EXPORT int OfferStream(const std::string& path,
                                         std::function<void(int socket)> serve,
                                         std::string& reason);

// --- Heartbeats ----------------------------------------------------------------------------------

/// Sets the period of a checked application; three missed beats count as lost. The period stays
/// known over registrations. 0 forgets it: the application is then never lost.
GRPOWNER_PLATFORM_EXPORT void SetHeartBeatPeriod(const std::string& name, uint32_t periodMs);

/// An application's heartbeat has arrived. Also said at readiness, from where beats are counted.
GRPOWNER_PLATFORM_EXPORT void HeartBeatArrived(const std::string& name, uint32_t pid);

// --- Configuration -------------------------------------------------------------------------------

/// The replacement pairs that ParseToReplaceData answers.
GRPOWNER_PLATFORM_EXPORT void SetMatchData(const ParseAndDepend::MatchData& matchData);

/// One finding in a configuration file. Lines and columns count from 1, columns in characters.
struct Diagnostic {
    enum class Severity { kWarning, kError };
    Severity severity = Severity::kError;
    std::string file;
    uint32_t line = 0;
    uint32_t column = 0;
    uint32_t length = 1;  // characters that the caret underlines
    std::string message;
    std::string help;  // may be empty
    std::string text;  // the source line; may be empty
};

struct Configuration {
    std::vector<ApplicationManifest> manifests;  // in the order of the file
    std::vector<Diagnostic> diagnostics;         // sorted by place
    GRPOWNER_PLATFORM_EXPORT bool Ok() const;    // no error among them
};

/// Reads a start configuration and all that is wrong with it. No manifests when there are errors.
GRPOWNER_PLATFORM_EXPORT Configuration
LoadConfiguration(const std::string& path, const ParseAndDepend::MatchData& matchData);

/// What has been read from that path with the match data just set: the service's first reading
/// takes it instead of reading once more, and shares the manifests with who else has them.
GRPOWNER_PLATFORM_EXPORT void PrepareConfiguration(const std::string& path,
                                                   Configuration configuration);

/// The findings as people read them: place, text, caret and help.
GRPOWNER_PLATFORM_EXPORT std::string RenderDiagnostics(const std::vector<Diagnostic>& diagnostics);

// --- Recording -----------------------------------------------------------------------------------
// See docs/recording.md. The services record what they see themselves; the host adds its own calls
// of the owner, what the owner calls of it, and the steps of the library's threads.

/// Who calls whom: something comes in from outside and ends, the library asks something and gets
/// its answer.
enum class RecordedKind { kIn, kOut, kAsk, kGot };

/// The steps of a thread, see grpowner/schedule_observer.h; as they stand in the file.
inline constexpr char kStepLocked = 'l';
inline constexpr char kStepWoken = 'w';
inline constexpr char kStepTimedOut = 'o';
inline constexpr char kStepSlept = 's';
inline constexpr char kStepTimeRead = 't';

/// Records into the file from now on. A file that is there is kept as "<path>.old". A write that
/// fails is told on standard error and ends the recording.
/// @param error filled in with the reason when the result is false
GRPOWNER_PLATFORM_EXPORT bool StartRecording(const std::string& path, std::string& error);
GRPOWNER_PLATFORM_EXPORT void EndRecording();

/// Each without effect while nobody records.
GRPOWNER_PLATFORM_EXPORT void RecordEntry(RecordedKind kind, const std::string& what,
                                          const std::vector<std::string>& fields);
/// @return the time that the entry tells
GRPOWNER_PLATFORM_EXPORT std::chrono::steady_clock::time_point RecordStep(char step);

/// What the calling thread is called in a recording.
GRPOWNER_PLATFORM_EXPORT void SetThreadRole(const std::string& role);

}  // namespace GrpOwnerLinux
