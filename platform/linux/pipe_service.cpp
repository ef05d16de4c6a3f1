// The pipe service over Unix-domain sockets.

#include "platform/linux/pipe_service.h"

#include <cerrno>
#include <map>
#include <memory>
#include <mutex>
#include <system_error>
#include <utility>

#include "platform/linux/pipe_connection.h"
#include "platform/linux/pipe_opener.h"
#include "platform/linux/recorder.h"
#include "platform/pipe_service.h"

namespace GrpOwnerLinux {

namespace {

using ConnectionPtr = std::shared_ptr<PipeConnection>;

/// The pipes of this process by handle. A handle is never used twice, so that a late user of a
/// closed one meets nobody else's pipe.
struct Pipes {
    std::mutex mutex;
    std::map<int, ConnectionPtr> byHandle;
    int lastHandle = 0;
    PipeHandlers handlers;
};

// Never destroyed: the threads of open pipes go on while the process exits.
Pipes& AllPipes() {
    static Pipes& pipes = *new Pipes;
    return pipes;
}

ConnectionPtr Find(int handle) {
    Pipes& pipes = AllPipes();
    std::lock_guard<std::mutex> lock(pipes.mutex);
    const auto entry = pipes.byHandle.find(handle);
    return entry == pipes.byHandle.end() ? nullptr : entry->second;
}

ConnectionPtr FindNewest(std::string_view target) {
    Pipes& pipes = AllPipes();
    std::lock_guard<std::mutex> lock(pipes.mutex);
    ConnectionPtr newest;
    for (const auto& [handle, connection] : pipes.byHandle) {
        if (connection->Target() == target) {
            newest = connection;
        }
    }
    return newest;
}

bool IsUsable(const EzcomRequest* request) {
    return request != nullptr && (request->data != nullptr || request->size == 0);
}

int CallUnseen(int handle, const EzcomRequest* request, EzcomResponse* response,
               const int* timeoutMs) {
    if (!IsUsable(request) || response == nullptr) {
        return -EINVAL;
    }
    const ConnectionPtr connection = Find(handle);
    if (connection == nullptr) {
        return -EBADF;
    }
    // Belongs to the service until the calling thread's next call.
    thread_local std::vector<char> answer;
    answer.clear();
    *response = {nullptr, 0};
    const int result = connection->Call(
        *request, timeoutMs == nullptr ? connection->TimeoutMs() : *timeoutMs, answer);
    if (result == 0 && !answer.empty()) {
        *response = {answer.data(), static_cast<uint32_t>(answer.size())};
    }
    return result;
}

void AddRequest(GrpOwnerRecording::FieldWriter& fields, int handle, const EzcomRequest* request) {
    const bool isUsable = IsUsable(request);
    fields(handle).Bytes(isUsable ? request->data : nullptr, isUsable ? request->size : 0);
}

int CallSync(int handle, const EzcomRequest* request, EzcomResponse* response,
             const int* timeoutMs) {
    const auto record =
        RecordAsk("pipe-call", [&](auto& fields) { AddRequest(fields, handle, request); });
    const int result = CallUnseen(handle, request, response, timeoutMs);
    record.End([&](auto& fields) {
        const bool hasData = result >= 0 && response->data != nullptr;
        fields(result)(hasData);
        fields.Bytes(hasData ? response->data : nullptr, hasData ? response->size : 0);
    });
    return result;
}

int OpenUnseen(const EzcomOpenParams* params) {
    if (params == nullptr || params->ownName == nullptr || params->targetName == nullptr ||
        params->handler == nullptr) {
        return -EINVAL;
    }
    const int socket = OpenPipeSocket(*params);
    if (socket < 0) {
        errno = -socket;
        return socket;
    }
    auto& pipes = AllPipes();
    std::lock_guard<std::mutex> lock(pipes.mutex);
    const int handle = ++pipes.lastHandle;
    auto connection = std::make_shared<PipeConnection>(
        handle, socket, params->targetName, params->handler, params->timeoutMs, pipes.handlers);
    try {
        connection->Start();
    } catch (const std::system_error&) {
        (void)connection->Close();  // ends what has started
        return -ENOMEM;
    }
    pipes.byHandle[handle] = std::move(connection);
    return handle;
}

}  // namespace

void SetPipeEndHandler(PipeEndHandler handler) {
    Pipes& pipes = AllPipes();
    std::lock_guard<std::mutex> lock(pipes.mutex);
    pipes.handlers.end = std::move(handler);
}

void SetProcessHandler(ProcessHandler handler) {
    Pipes& pipes = AllPipes();
    std::lock_guard<std::mutex> lock(pipes.mutex);
    pipes.handlers.process = std::move(handler);
}

int SendPipeHeartBeat(std::string_view target) {
    const ConnectionPtr pipe = FindNewest(target);
    return pipe == nullptr ? -ENOTCONN : pipe->Send(PipeFrameKind::kHeartBeat, 0, nullptr, 0);
}

std::string ApplicationOf(std::string_view processManager, int leader,
                          std::chrono::steady_clock::time_point when) {
    const ConnectionPtr pipe = FindNewest(processManager);
    return pipe == nullptr ? std::string() : pipe->Processes().ApplicationOf(leader, when);
}

}  // namespace GrpOwnerLinux

using GrpOwnerLinux::AllPipes;
using GrpOwnerLinux::Find;
using GrpOwnerLinux::PipeConnection;
using GrpOwnerLinux::PipeFrameKind;

int EzcomOpen(const EzcomOpenParams* params) {
    const auto record = GrpOwnerLinux::RecordAsk("pipe-open", [](auto& /*fields*/) {});
    const int result = GrpOwnerLinux::OpenUnseen(params);
    const int error = errno;
    record.End([&](auto& fields) { fields(result)(error); });
    errno = error;
    return result;
}

int EzcomSendRequest(int fd, const EzcomRequest* request) {
    const auto record = GrpOwnerLinux::RecordAsk(
        "pipe-send", [&](auto& fields) { GrpOwnerLinux::AddRequest(fields, fd, request); });
    if (!GrpOwnerLinux::IsUsable(request)) {
        return record.Result(-EINVAL);
    }
    const auto connection = Find(fd);
    return record.Result(connection == nullptr ? -EBADF
                                               : connection->Send(PipeFrameKind::kRequest, 0,
                                                                  request->data, request->size));
}

// The acceptor of our pipes sends no calls, so there is never one to answer.
int EzcomSendResponse(int fd, const EzcomResponse* /*response*/) {
    return Find(fd) == nullptr ? -EBADF : -EINVAL;
}

int EzcomRPCSync(int fd, EzcomRequest* request, EzcomResponse* response) {
    return GrpOwnerLinux::CallSync(fd, request, response, nullptr);
}

int EzcomTimedRPCSync(int fd, EzcomRequest* request, EzcomResponse* response, int timeoutMs) {
    return GrpOwnerLinux::CallSync(fd, request, response, &timeoutMs);
}

int EzcomClosePipe(int fd) {
    const auto record = GrpOwnerLinux::RecordAsk("pipe-close", [fd](auto& fields) { fields(fd); });
    const auto connection = Find(fd);
    if (connection == nullptr) {
        return record.Result(-EBADF);
    }
    const int result = connection->Close();
    if (result == 0) {
        auto& pipes = AllPipes();
        std::lock_guard<std::mutex> lock(pipes.mutex);
        pipes.byHandle.erase(fd);
    }
    return record.Result(result);
}
