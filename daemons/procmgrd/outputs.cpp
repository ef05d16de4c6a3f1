#include "daemons/procmgrd/outputs.h"

#include <sys/epoll.h>

#include <array>
#include <cerrno>
#include <system_error>

#include "daemons/procmgrd/output_capture.h"

namespace ProcMgrDaemon {

Outputs::Outputs(EventLoop& loop, const CaptureOptions& options, Journal& journal)
    : loop_(loop), options_(options), journal_(journal), pipes_(epoll_create1(EPOLL_CLOEXEC)) {
    if (!pipes_) {
        throw std::system_error(errno, std::generic_category(), "epoll_create1");
    }
    loop_.Watch(pipes_.Get(), EPOLLIN, [this](uint32_t) { OnReady(); });
}

Outputs::~Outputs() {
    loop_.Forget(pipes_.Get());
}

int Outputs::Watch(int pipe, OutputCapture& capture) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.ptr = &capture;
    return epoll_ctl(pipes_.Get(), EPOLL_CTL_ADD, pipe, &event) == 0 ? 0 : errno;
}

void Outputs::Forget(int pipe) {
    epoll_event unused{};
    (void)epoll_ctl(pipes_.Get(), EPOLL_CTL_DEL, pipe, &unused);  // or it was never watched
}

void Outputs::OnReady() {
    std::array<epoll_event, 64> events{};
    const int count = epoll_wait(pipes_.Get(), events.data(), static_cast<int>(events.size()), 0);
    for (int i = 0; i < count; ++i) {
        // Still there: to take output ends no application.
        static_cast<OutputCapture*>(events[i].data.ptr)->Drain();
    }
}

}  // namespace ProcMgrDaemon
