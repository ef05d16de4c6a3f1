// The application of the tests with real processes. It prints what happens to it, a line at a time:
//   begun NAME, pid PID   first of all     ready NAME   just before it says READY=1
//   down NAME             at SIGTERM       heard NAME   the owner has read its READY=1
//
//   probe [stay [STATUS]]  stays; its end has that status     probe stubborn  stays at SIGTERM too
//   probe ready            says READY=1 as `systemd-notify` does
//   probe late             says it at SIGUSR2
//   probe beat             beats until SIGUSR1, then once more
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

std::string Variable(const char* name) {
    const char* const value = getenv(name);
    return value != nullptr ? value : "";
}

void Print(const std::string& word, const std::string& more = "") {
    const std::string line = word + " " + Variable("GRPOWNER_APPLICATION") + more + "\n";
    (void)!write(STDOUT_FILENO, line.data(), line.size());
}

void Notify(std::string text, int descriptor = -1) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, Variable("NOTIFY_SOCKET").c_str(), sizeof(address.sun_path) - 1);
    iovec part{text.data(), text.size()};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    msghdr message{&address, sizeof(address), &part, 1, nullptr, 0, 0};
    if (descriptor >= 0) {
        message.msg_control = control;
        message.msg_controllen = sizeof(control);
        cmsghdr* const header = CMSG_FIRSTHDR(&message);
        *header = {CMSG_LEN(sizeof(int)), SOL_SOCKET, SCM_RIGHTS};
        memcpy(CMSG_DATA(header), &descriptor, sizeof(descriptor));
    }
    const int fd = socket(AF_UNIX, SOCK_DGRAM, 0);
    if (sendmsg(fd, &message, 0) < 0) {
        perror("probe: notify socket");
    }
    close(fd);
}

// From a process of its own, which waits until the owner has closed the barrier's descriptor.
void SayReady() {
    Print("ready");
    const pid_t helper = fork();
    if (helper == 0) {
        int barrier[2];
        (void)!pipe(barrier);
        Notify("READY=1");
        Notify("BARRIER=1", barrier[1]);
        close(barrier[1]);
        pollfd closed{barrier[0], 0, 0};
        _exit(poll(&closed, 1, -1) == 1 ? 0 : 1);
    }
    int status = 0;
    if (waitpid(helper, &status, 0) == helper && status == 0) {
        Print("heard");
    }
}

}  // namespace

int main(int argc, char** argv) {
    const std::string mode = argc > 1 ? argv[1] : "stay";
    sigset_t awaited;
    sigemptyset(&awaited);
    for (const int number : {SIGTERM, SIGUSR1, SIGUSR2}) {
        sigaddset(&awaited, number);
    }
    sigprocmask(SIG_BLOCK, &awaited, nullptr);
    Print("begun", ", pid " + std::to_string(getpid()));
    if (mode == "ready") {
        SayReady();
    }
    bool isBeating = mode == "beat";
    const timespec pause{0, atol(Variable("WATCHDOG_USEC").c_str()) * 1000 / 2};
    for (int number = 0; number != SIGTERM || mode == "stubborn";) {
        if (isBeating) {
            Notify("WATCHDOG=1");
        }
        number = sigtimedwait(&awaited, nullptr, isBeating ? &pause : nullptr);
        if (number == SIGUSR1) {
            Notify("WATCHDOG=1");
            isBeating = false;
        }
        if (number == SIGUSR2) {
            SayReady();
        }
    }
    Print("down");
    // At once: a sanitizer's search for leaks hangs when the SIGCONT behind SIGTERM meets it.
    _exit(argc > 2 ? atoi(argv[2]) : 0);
}
