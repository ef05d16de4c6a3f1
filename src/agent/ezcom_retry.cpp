#include "src/agent/ezcom_retry.h"

#include <cerrno>

#include "src/common/sync.h"

namespace ProcMgr {

namespace {

struct RetryRule {
    int busy;  // the result that is worth another call
    unsigned calls;
    Milliseconds pause;  // between two calls
};

constexpr RetryRule kTransfer{-EAGAIN, 401, Milliseconds(5)};
constexpr RetryRule kClose{-EBUSY, 10, Milliseconds(100)};

template <typename Call>
int Retry(const RetryRule& rule, Call call) {
    int result = call();
    for (unsigned calls = 1; result == rule.busy && calls < rule.calls; ++calls) {
        Sleep(rule.pause);
        result = call();
    }
    return result;
}

}  // namespace

int ProcMgrEzcomSendRequest(int fd, const EzcomRequest* request) {
    return Retry(kTransfer, [=] { return EzcomSendRequest(fd, request); });
}

int ProcMgrEzcomSendResponse(int fd, const EzcomResponse* response) {
    return Retry(kTransfer, [=] { return EzcomSendResponse(fd, response); });
}

int ProcMgrEzcomRPCSync(int fd, EzcomRequest* request, EzcomResponse* response) {
    return Retry(kTransfer, [=] { return EzcomRPCSync(fd, request, response); });
}

int ProcMgrEzcomTimedRPCSync(int fd, EzcomRequest* request, EzcomResponse* response,
                             int timeoutMs) {
    return Retry(kTransfer, [=] { return EzcomTimedRPCSync(fd, request, response, timeoutMs); });
}

int ProcMgrEzcomClosePipe(int fd) {
    return Retry(kClose, [=] { return EzcomClosePipe(fd); });
}

}  // namespace ProcMgr
