#pragma once
// How a test scripts and watches the platform in memory: a full second implementation of the log,
// pipe, heartbeat, manifest and messaging services inside one process.
//
// All functions may be called on any thread, hooks and answers included: the implementation never
// holds a lock of its own while it calls out. What has been recorded is handed out as copies.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/heartbeat_service.h"
#include "platform/manifest_service.h"
#include "platform/messaging_service.h"
#include "platform/pipe_service.h"
#include "platform/portable/manifest_fields.h"

namespace GrpOwnerMemory {

/// Forgets all that was recorded and scripted, ends the handling thread, closes pipes and
/// registrations. To be called between tests, while nothing else uses the platform.
void Reset();

/// Waits until the predicate holds. It is asked again after everything that is recorded and every
/// few milliseconds, without any lock held.
/// @return false when the deadline passes; generous, because a good run never reaches it
[[nodiscard]] bool WaitUntil(const std::function<bool()>& predicate,
                             std::chrono::milliseconds deadline = std::chrono::seconds(60));

// --- All services but the log --------------------------------------------------------------------

/// A call that the owner makes.
struct PlatformCall {
    std::string_view function;
    std::string_view what;  // the name, key, path or bytes that it is about; may be empty
};

/// Asked at the beginning of a call of pipe, heartbeat, manifests or virtual files, on its thread.
/// What it answers is the call's result, and the call has no effect; nothing: it goes its way.
void SetCallHook(std::function<std::optional<int>(const PlatformCall&)> hook);

// --- Log -----------------------------------------------------------------------------------------

/// The service's own levels.
enum LogLevel : int { kDebug = 0, kInfo = 1, kWarning = 2, kError = 3, kEvent = 16 };

struct LogLine {
    int module = 0;
    int level = 0;
    std::string text;  // without the "[file:line]" in front
    std::string file;  // empty when the line had no such prefix
    int line = 0;
};

std::vector<LogLine> LogLines();
/// How often a line of exactly this level and text was written.
size_t CountLog(int level, const std::string& text);
void ClearLog();

/// Called for every line on the thread that writes it, with no lock held.
void SetLogHook(std::function<void(const LogLine&)> hook);

/// Lines below this level are not wanted; at first all are.
void SetLogThreshold(int level);

// --- Pipe ----------------------------------------------------------------------------------------

enum class PipeCall { kOpen, kSend, kRespond, kCall, kTimedCall, kClose };

/// The next `times` calls fail with this result and have no effect. Scripts queue up behind one
/// another; when they are used up, calls succeed again.
void ScriptPipe(PipeCall call, int result, unsigned times = 1);
void ForgetPipeScripts();

/// While the pipes are cut, all calls but opening and closing fail with -EPIPE, as when the process
/// manager has died.
void CutPipe(bool isCut);

/// How often a function was called, failures included.
unsigned PipeCalls(PipeCall call);

/// What EzcomOpen was called with.
struct OpenCall {
    std::string ownName;
    std::string targetName;
    uint32_t gid = 0;
    int32_t timeoutMs = 0;
    int32_t flags = 0, version = 0, priority = 0, affinity = 0;
};
std::vector<OpenCall> OpenCalls();

/// A request that was accepted for sending.
struct SentRecord {
    PipeCall call = PipeCall::kSend;  // kSend, kCall or kTimedCall
    int fd = 0;
    int timeoutMs = 0;  // of a timed call
    std::string bytes;
};
std::vector<SentRecord> SentRecords();
void ForgetSentRecords();

/// Called for every accepted one-way request before EzcomSendRequest returns, on the sender's
/// thread. May deliver, at once or from another thread.
void SetSendHook(std::function<void(const SentRecord&)> hook);

/// The answer to a synchronous call: its data, or nothing for an answer without data. Asked on the
/// caller's thread. At first every call is answered "0".
void SetAnswer(std::function<std::optional<std::string>(const SentRecord&)> answer);

/// Hands bytes to the handler of the newest open pipe, on the calling thread.
/// @return false when no pipe is open
bool Deliver(const std::string& bytes);

/// The same on the handling thread, after all that was posted before: what the real service does.
void Post(const std::string& bytes);

/// Calls the newest open pipe's handler with a raw request, which may be null or lie.
bool DeliverRaw(const EzcomRequest* request);

/// The handle of the newest open pipe; 0 when there is none.
int OpenPipe();

// --- Heartbeat -----------------------------------------------------------------------------------

enum class HeartBeatCall { kSend, kStopSend, kCheck, kStopCheck, kStopAllChecks };

struct HeartBeatRecord {
    HeartBeatCall call = HeartBeatCall::kSend;
    std::string name;    // the own name of kSend, the checked one of kCheck and kStopCheck
    std::string target;  // of kSend
    uint32_t missedBeats = 0, periodSeconds = 0;  // of kSend
    uint32_t gid = 0;                             // of kCheck
};
std::vector<HeartBeatRecord> HeartBeatRecords();

/// The next `times` registrations (kSend or kCheck) fail with this result.
void ScriptHeartBeat(HeartBeatCall call, int result, unsigned times = 1);

bool IsChecked(const std::string& name);

/// What a checked application's changes are told to; null when it is not checked.
HeartBeatCheckCallback CheckCallback(const std::string& name);

/// Tells the callback of a checked application, on the calling thread: 1 lost, 0 back again.
/// @return the callback's result; nothing when the name is not checked
std::optional<int> NotifyHeartBeat(const std::string& name, unsigned pid, int status);

// --- Manifests -----------------------------------------------------------------------------------

/// What the next ParseYaml reads, in this order, and whose dependencies it makes the current ones.
void SetConfiguration(const std::vector<ManifestFields>& manifests);

/// The replacement pairs that ParseToReplaceData answers.
void SetMatchData(const ParseAndDepend::MatchData& matchData);

/// The functions of the service that can be scripted to fail. A graph function answers false,
/// whatever the number is.
enum class ManifestCall { kParseYaml, kReplaceData, kStartGraph, kTermGraph };
void ScriptManifest(ManifestCall call, int result, unsigned times = 1);

struct ParseCall {
    ManifestCall call = ManifestCall::kParseYaml;
    int type = 0;
    std::string what;                     // the path or the key
    ParseAndDepend::MatchData matchData;  // of ParseYaml
};
std::vector<ParseCall> ParseCalls();

/// Called at the beginning of every ParseYaml, on its thread: the place where a test lets things
/// happen in the middle of a reload.
void SetParseHook(std::function<void()> hook);

// --- Messaging -----------------------------------------------------------------------------------

enum class MessagingCall {
    kRegisterService,
    kRegisterQueue,
    kRegisterPool,
    kDestroyPool,
    kMalloc,
    kWrite,
    kFree,
    kEnqueue,
};

/// The next `times` calls fail with this result and have no effect.
void ScriptMessaging(MessagingCall call, int result, unsigned times = 1);

/// A virtual file or a queue that was offered, also one that was refused.
struct OfferedService {
    MessagingCall call = MessagingCall::kRegisterService;  // or kRegisterQueue
    std::string name;
    int32_t timeoutMs = 0;
    int result = 0;
};
std::vector<OfferedService> OfferedServices();

/// A client's connection to a virtual file, open while it lives if the owner lets it. The owner's
/// operations run on the calling thread; connections of several threads run side by side.
class VirtualFileClient {
public:
    explicit VirtualFileClient(const std::string& name);
    ~VirtualFileClient();
    VirtualFileClient(const VirtualFileClient&) = delete;
    VirtualFileClient& operator=(const VirtualFileClient&) = delete;

    /// What opening told; -ENOENT when nobody offers such a file.
    int OpenResult() const { return openResult_; }

    /// @return the operation's result; -EBADF when the file is not open or takes no commands
    int Ioctl(unsigned command, void* buffer, size_t length);

private:
    const std::string name_;
    IAMMgrFile file_{};
    const IAMFileOperations* operations_ = nullptr;
    int openResult_ = 0;
};

/// A reader of a queue, connected while it lives if the owner lets it. The readers of an array are
/// in the order of their addresses, which is the owner's.
class QueueReader {
public:
    QueueReader(const std::string& queueName, const std::string& readerName);
    ~QueueReader() { Close(); }
    QueueReader(const QueueReader&) = delete;
    QueueReader& operator=(const QueueReader&) = delete;

    /// What opening told; -ENOENT when nobody offers such a queue.
    int OpenResult() const { return openResult_; }

    /// Takes all that was put on the queue so far and gives the blocks back.
    std::vector<std::string> Take();

    void Close();

    IamQfsMgrFile* File() { return &file_; }

private:
    const std::string name_;
    IamQfsMgrFile file_{};
    const IAMQueueOperations* operations_ = nullptr;
    int openResult_ = 0;
};

/// Pools that are registered, by name, with what they were registered with and the blocks in use:
/// those that the owner holds and those that wait on a queue.
struct PoolRecord {
    std::string name;
    uint32_t blockSize = 0;
    uint32_t blockCount = 0;
    size_t held = 0;
    size_t enqueued = 0;
};
std::vector<PoolRecord> Pools();

}  // namespace GrpOwnerMemory
