#pragma once

#include <condition_variable>
#include <cstdint>
#include <future>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "platform/pipe_service.h"
#include "tests/support/frames.h"

namespace BackendTest {

using GrpOwnerTest::PipeFrame;
using GrpOwnerTest::PipeFrameKind;

struct Frame {
    PipeFrameKind kind{};
    uint64_t sequence = 0;
    std::string payload;
};

std::string Welcome(int32_t result);

/// A private run directory, named in the environment while it lives.
class PrivateDirectory {
public:
    PrivateDirectory();
    ~PrivateDirectory();
    const std::string& Path() const { return path_; }

private:
    std::string path_;
};

/// The other end of a pipe: serves the socket of the process "PM" and does only what it is told.
class PipeServer {
public:
    explicit PipeServer(int backlog = 8);
    ~PipeServer();

    /// Accepts one connection, waits for its hello and answers these bytes (none: says nothing).
    Frame Accept(std::string_view welcome);
    Frame Receive();  // what comes next; kind 0 when the pipe is over
    void SendBytes(std::string_view bytes);
    void Send(PipeFrameKind kind, uint64_t sequence, std::string_view payload) {
        SendBytes(GrpOwnerTest::PipeFrame(kind, sequence, payload));
    }
    void HangUp();

private:
    PrivateDirectory directory_;
    int listener_ = -1;
    int connection_ = -1;
};

/// What the service has told, and the gate at which handlers may be made to wait. The service knows
/// plain functions only, so there is one of it.
class Told {
public:
    static Told& Instance();

    void Reset();
    void Add(const std::string& what);
    /// Waits until there are that many; a minute without is a failure.
    std::vector<std::string> WaitFor(size_t count);

    void CloseGate();
    void OpenGate();
    void PassGate();

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> told_;
    bool isGateOpen_ = true;
};

EzcomOpenParams OpenParams(EzcomRequestHandler handler, int timeoutMs = 60'000);

/// Opens a pipe to the server and greets it.
int OpenPipe(PipeServer& server, EzcomRequestHandler handler);

}  // namespace BackendTest
