// The virtual file's operations: from a client's buffer to a handler and back.

#include <cerrno>
#include <cstring>
#include <exception>

#include "platform/secure_memory.h"
#include "src/common/logging.h"
#include "src/ss/ss_to_owner_server_impl.h"

namespace ProcMgr {

namespace {

constexpr int kBadArgument = -15794176;  // 0xFF0F0000
constexpr int kCopyFailed = -15794179;   // 0xFF0EFFFD

constexpr size_t kDataOffset = offsetof(SS::SsToOwnerResponseMsg, data);

// The commands; 1, 7 and all others are answered with an empty answer.
enum Command : unsigned {
    kChangeApp = 0,
    kSetSystemState = 2,
    kReloadCfg = 3,
    kDump = 4,
    kStopAllApp = 5,
    kQueryAppList = 6,
    kVerifyApp = 8,
    kQueryAppState = 9,
};

/// Copies the size and that much data into the client's buffer; all else stays as it was.
int CopyBack(const SS::SsToOwnerResponseMsg& response, char* buffer, size_t length) {
    const auto size = static_cast<size_t>(response.size);
    if (memcpy_s(buffer, length, &response.size, sizeof(response.size)) != 0) {
        GRP_ERROR("SsToOwnerRequestMsg memcpy_s failed, errno=%d,(size=%zu,%zu)", errno, length,
                  size);
        return kCopyFailed;
    }
    const size_t capacity = length - kDataOffset;
    if (memcpy_s(buffer + kDataOffset, capacity, response.data, size) != 0) {
        GRP_ERROR("SsToOwnerRequestMsg memcpy_s failed! errno=%d,(size:%zu,%zu)", errno, capacity,
                  size);
        return kCopyFailed;
    }
    return static_cast<int>(size + sizeof(response.size));
}

}  // namespace

int SsToOwnerServerImpl::MyOpen(IAMMgrFile* file) {
    return file == nullptr ? -1 : 0;
}

int SsToOwnerServerImpl::MyClose(IAMMgrFile* file) {
    return file == nullptr ? -1 : 0;
}

int64_t SsToOwnerServerImpl::MyRead(IAMMgrFile* file, char* /*buffer*/, size_t /*length*/,
                                    int64_t /*offset*/) {
    return file == nullptr ? -1 : 0;
}

int SsToOwnerServerImpl::MyIoctl(IAMMgrFile* file, unsigned command, IAMIoctlArg* argument) {
    if (file == nullptr || argument == nullptr) {
        GRP_ERROR("MyIoctl failed. IAMMgrFile or IAMIoctlArg is NULL");
        return kBadArgument;
    }
    return GetThis().ServeRequest(command, argument->buffer, argument->length);
}

int SsToOwnerServerImpl::ServeRequest(unsigned command, void* buffer, size_t length) {
    if (length != sizeof(Request) || buffer == nullptr) {
        GRP_ERROR("SsToOwnerRequestMsg ioBuf invalid. (expectSize=%zubytes,realSize=%lubytes)",
                  sizeof(Request), length);
        return kBadArgument;
    }
    // The client may share its buffer and write while it is read, and it may lie anywhere: only
    // this copy is looked at.
    Request request;
    std::memcpy(&request, buffer, sizeof(request));
    Response response;
    try {
        HandleRequestFromClient(command, request, response);
    } catch (const std::exception& error) {
        GRP_ERROR("command %u failed: %s", command, error.what());
        response = {};
    }
    return CopyBack(response, static_cast<char*>(buffer), length);
}

void SsToOwnerServerImpl::HandleRequestFromClient(unsigned command, const Request& request,
                                                  Response& response) {
    switch (command) {
        case kChangeApp:
            return ChangeApp(request, response);
        case kSetSystemState:
            return SetSystemStateHandle(request, response);
        case kReloadCfg:
            return ReloadCfg(response);
        case kDump:
            return DumpHandle(response);
        case kStopAllApp:
            return StopAllApp(response);
        case kQueryAppList:
            return QueryAppList(response);
        case kVerifyApp:
            return VerifyApp(request, response);
        case kQueryAppState:
            return QueryAppState(request, response);
        default:
            return;
    }
}

}  // namespace ProcMgr
