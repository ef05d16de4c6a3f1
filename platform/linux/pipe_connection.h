#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/linux/host.h"
#include "platform/linux/pipe_frame.h"
#include "platform/linux/process_table.h"
#include "platform/pipe_service.h"

namespace GrpOwnerLinux {

/// Who is told what beside the requests; may be empty.
struct PipeHandlers {
    PipeEndHandler end;      // the pipe has ended without Close
    ProcessHandler process;  // the table of processes has a new one
};

/// One pipe and its two threads. One of them reads a frame at a time and calls the request handler
/// itself: a report costs no second wake-up. While it is in the handler and somebody waits for an
/// answer, the other one reads, and queues the requests that come before the answer. So an answer
/// never waits behind a handler, a handler may send and call, and requests keep their order.
///
/// The queue is not bounded: nothing that the peer said is lost while a handler is busy, and the
/// peer says no more than its processes do.
///
/// Senders are any threads; a packet goes whole or not at all, so they need no lock. The mutex
/// guards the calls that wait, the queue and the ends; no function of others is called under it.
/// What is told of processes goes into a table at once, whatever waits in the queue.
/// Both threads keep the connection alive until they end.
class PipeConnection : public std::enable_shared_from_this<PipeConnection> {
public:
    /// Takes the socket over.
    PipeConnection(int handle, int socket, std::string target, EzcomRequestHandler handler,
                   int timeoutMs, PipeHandlers handlers);
    ~PipeConnection();
    PipeConnection(const PipeConnection&) = delete;
    PipeConnection& operator=(const PipeConnection&) = delete;

    void Start();

    /// 0 or negative errno, as the pipe service answers.
    int Send(PipeFrameKind kind, uint64_t sequence, const void* data, uint32_t size);
    int Call(const EzcomRequest& request, int timeoutMs, std::vector<char>& answer);

    /// -EBUSY while the handler runs on another thread. From within the handler the pipe closes and
    /// the thread of the handler ends when that has returned.
    int Close();

    const std::string& Target() const { return target_; }
    int TimeoutMs() const { return timeoutMs_; }
    const ProcessTable& Processes() const { return processes_; }

private:
    struct WaitingCall {
        bool isDone = false;
        std::vector<char> answer;
    };

    void Serve();
    void ReadOne(std::unique_lock<std::mutex>& lock, std::vector<char>& buffer);
    void HandleOne(std::unique_lock<std::mutex>& lock);
    void TellEnd(std::unique_lock<std::mutex>& lock);
    bool ReadFrame(std::vector<char>& buffer, std::string& reason);
    bool Accept(const PipeFrameHeader& header, const char* payload, std::string& reason);
    void Complete(uint64_t sequence, const char* payload, uint32_t size);
    void End(const std::string& reason);
    void LeaveLocked();

    // Constant after construction.
    const int handle_;
    const int socket_;
    const std::string target_;
    const EzcomRequestHandler handler_;
    const int timeoutMs_;
    const PipeHandlers handlers_;

    ProcessTable processes_;
    std::atomic<bool> isDead_{false};  // nothing goes out any more
    std::mutex mutex_;
    std::condition_variable answered_;  // a call is done, or the pipe has ended
    std::condition_variable wanted_;    // the idle thread may have something to do
    std::map<uint64_t, WaitingCall*> calls_;
    uint64_t lastSequence_ = 0;
    std::deque<std::vector<char>> requests_;
    bool hasEnded_ = false;   // by the peer
    bool isClosed_ = false;   // by us
    bool isEndTold_ = false;  // all is said and done
    bool isReading_ = false;
    bool isHandling_ = false;     // the handler of requests or of the end runs
    std::thread::id handlingBy_;  // where it runs
    std::string endReason_;
    bool isReset_ = false;  // belongs to whoever reads
    std::array<std::thread, 2> threads_;
};

}  // namespace GrpOwnerLinux
