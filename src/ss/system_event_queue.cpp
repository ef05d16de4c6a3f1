// The queue of system events: every reader has a pool of shared memory, every event goes into a
// block of each.

#include <charconv>

#include "src/common/logging.h"
#include "src/ss/ss_to_owner_server_impl.h"

namespace ProcMgr {

namespace {

constexpr uint32_t kLargestBlock = 160;  // bytes
constexpr uint32_t kBlocks = 1000;       // of one reader
constexpr int32_t kQueueTimeout = 5000;  // milliseconds

// What ReportSysEvent tells; the last failure wins.
constexpr int kNoFile = 0x00F10001;
constexpr int kWriteFailed = 0x00F10003;
constexpr int kNoBlock = 0x00F10209;
constexpr int kQueueFailed = 0x00F1020B;

constexpr IAMQueueOperations kOperations{nullptr, nullptr,
                                         &SsToOwnerServerImpl::SsToOwnerServerOpen,
                                         &SsToOwnerServerImpl::SsToOwnerServerClose, nullptr};

void Free(const IamQfsMgrFile& file, IAMShmPool& pool, IAMShmBlock& block) {
    const int result = IAMShmFree(&pool, &block);
    if (result != 0) {
        GRP_ERROR("ReportSysEvent: IAMShmFree failed, err=%d, file=%s", result, file.name);
    }
}

}  // namespace

NeverDestroyed<SsToOwnerServerImpl::QueueReaders> SsToOwnerServerImpl::procQfsFileMap_;
Mutex SsToOwnerServerImpl::poolMutex_;

int SsToOwnerServerImpl::InitSysEventServer(const std::string& serviceName) {
    (void)EnableSyslog();  // always succeeds
    IAMQueueDescriptor descriptor{};
    descriptor.name = serviceName.c_str();
    descriptor.operations = &kOperations;
    descriptor.timeout = kQueueTimeout;
    descriptor.flags = 0;
    GRP_EVENT("InitSysEventServer IAMRegisterQueueService begin. serviceName=%s",
              serviceName.c_str());
    const int result = IAMRegisterQueueService(&descriptor);
    if (result < 0) {
        GRP_ERROR("InitSysEventServer IAMRegisterQueueService failed err=%d,file=%s", result,
                  serviceName.c_str());
        return result;
    }
    GRP_INFO("InitSysEventServer IAMRegisterQueueService success, serviceName=%s",
             serviceName.c_str());
    return 0;
}

int SsToOwnerServerImpl::SsToOwnerServerOpen(IamQfsMgrFile* file) {
    if (file == nullptr) {
        return -1;
    }
    MutexLock lock(poolMutex_);
    GRP_INFO("SsToOwnerServerOpen is called file=%s", file->name);
    IAMShmPool& pool = (*procQfsFileMap_)[file];
    pool = {};
    const IAMShmPoolConfig config{file->name, kLargestBlock, kBlocks};
    const int result = IAMShmRegisterPoolWithConfig(&config, &pool);
    if (result < 0) {
        procQfsFileMap_->erase(file);
        GRP_ERROR("SsToOwnerServerOpen: Register ShmPool failed, fileName=%s, err=%d", file->name,
                  result);
        return result;
    }
    GRP_INFO("SsToOwnerServerOpen: Register ShmPool success, fileName=%s", file->name);
    return 0;
}

int SsToOwnerServerImpl::SsToOwnerServerClose(IamQfsMgrFile* file) {
    if (file == nullptr) {
        return -1;
    }
    MutexLock lock(poolMutex_);
    GRP_INFO("SsToOwnerServerClose is called file=%s", file->name);
    const auto found = procQfsFileMap_->find(file);
    if (found == procQfsFileMap_->end()) {
        return 0;  // was refused when it opened
    }
    const int result = IAMShmDestroyPool(&found->second);
    if (result != 0) {
        GRP_ERROR("SsToOwnerServerClose: Free poolHandle failed, err=%d file=%s", result,
                  file->name);
    }
    procQfsFileMap_->erase(found);
    return 0;
}

int SsToOwnerServerImpl::ReportSysEvent(const SysEvent& event) {
    MutexLock lock(poolMutex_);
    int status = 0;
    for (auto& [file, pool] : *procQfsFileMap_) {
        if (file == nullptr) {
            GRP_ERROR("ReportSysEvent: Please wait to open the resfile");
            status = kNoFile;
            continue;
        }
        const int failure = ReportSysEventTo(*file, pool, event);
        status = failure == 0 ? status : failure;
    }
    return status;
}

int SsToOwnerServerImpl::ReportSysEventTo(const IamQfsMgrFile& file, IAMShmPool& pool,
                                          const SysEvent& event) {
    GRP_INFO("ReportSysEvent. (state=%u,file=%s)", event.state, file.name);
    char text[16];  // enough for the largest number
    const auto length =
        static_cast<size_t>(std::to_chars(text, text + sizeof(text), event.state).ptr - text);
    IAMShmBlock block{};
    int result = IAMShmHandleMalloc(&pool, length, &block);
    if (result != 0) {
        GRP_ERROR("ReportSysEvent, Malloc block failed. (err=%d,resfile=%s)", result, file.name);
        return kNoBlock;
    }
    result = IAMShmWrite(&block, text, length, 0);
    if (result != 0) {
        Free(file, pool, block);
        GRP_ERROR("ReportSysEvent: IAMShmWrite failed, err=%d, file=%s", result, file.name);
        return kWriteFailed;
    }
    result = IAMDataEnqueue(file.queue, &pool, &block);
    if (result < 0) {
        Free(file, pool, block);
        GRP_ERROR("ReportSysEvent: IAMDataEnqueue failed, err=%d, file=%s", result, file.name);
        return kQueueFailed;
    }
    return 0;
}

}  // namespace ProcMgr
