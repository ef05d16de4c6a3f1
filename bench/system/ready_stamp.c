// The application of every measured group: stamps that it runs, says that it is ready, waits for
// SIGTERM, stamps its end.
//
//   ready_stamp STAMPS SLOT
//
// It says "ready" as whoever started it wants to hear it: READY=1 at NOTIFY_SOCKET, or its slot's
// number on the descriptor READY_FD. Static and without any library's start-up work, so that what
// is measured is who starts it.

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "bench/system/stamps.h"

static void Notify(const char* path) {
    static const char kReady[] = "READY=1";
    struct sockaddr_un address = {.sun_family = AF_UNIX};
    if (strlen(path) >= sizeof(address.sun_path)) {
        _exit(1);
    }
    strcpy(address.sun_path, path);
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (sendto(fd, kReady, sizeof(kReady) - 1, MSG_NOSIGNAL, (struct sockaddr*)&address,
               sizeof(address)) < 0) {
        _exit(1);
    }
    close(fd);
}

static void SayReady(uint32_t slot) {
    const char* const socketPath = getenv("NOTIFY_SOCKET");
    const char* const descriptor = getenv("READY_FD");
    if (socketPath != NULL) {
        Notify(socketPath);
    } else if (descriptor != NULL) {
        if (write(atoi(descriptor), &slot, sizeof(slot)) != sizeof(slot)) {
            _exit(1);
        }
    }
}

int main(int argc, char** argv) {
    const uint64_t begun = Now();
    if (argc != 3) {
        return 2;
    }
    sigset_t end;
    sigemptyset(&end);
    sigaddset(&end, SIGTERM);
    sigprocmask(SIG_BLOCK, &end, NULL);

    const uint32_t number = (uint32_t)atoi(argv[2]);
    const int file = open(argv[1], O_RDWR | O_CLOEXEC);
    const size_t size = sizeof(struct Stamps) + (number + 1) * sizeof(struct Slot);
    struct Stamps* const stamps = mmap(NULL, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (stamps == MAP_FAILED) {
        return 1;
    }
    close(file);

    struct Slot* const slot = &stamps->slots[number];
    slot->begun = begun;
    slot->pid = (uint32_t)getpid();
    slot->ready = Now();
    SayReady(number);
    ++slot->starts;
    __atomic_add_fetch(&stamps->ready, 1, __ATOMIC_RELAXED);

    int signalNumber = 0;
    while (sigwait(&end, &signalNumber) != 0) {
    }
    slot->ended = Now();
    __atomic_add_fetch(&stamps->ended, 1, __ATOMIC_RELAXED);
    return 0;
}
