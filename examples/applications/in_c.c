// An application in C: says when it is ready, beats its heart, says when it goes. No library of
// anybody's: a datagram of text to the socket that NOTIFY_SOCKET names.
#include <signal.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

static volatile sig_atomic_t ends;

static void end(int number) {
    (void)number;
    ends = 1;
}

static void notify(int descriptor, const struct sockaddr_un* address, const char* text) {
    const socklen_t size =
        (socklen_t)(offsetof(struct sockaddr_un, sun_path) + strlen(address->sun_path));
    if (sendto(descriptor, text, strlen(text), MSG_NOSIGNAL, (const struct sockaddr*)address,
               size) < 0) {
        perror("in_c: NOTIFY_SOCKET");
    }
}

int main(void) {
    const char* const path = getenv("NOTIFY_SOCKET");
    const char* const period = getenv("WATCHDOG_USEC");
    struct sockaddr_un address = {.sun_family = AF_UNIX};
    if (path == NULL || strlen(path) >= sizeof(address.sun_path)) {
        fputs("in_c: nobody wants to hear of this (NOTIFY_SOCKET)\n", stderr);
        return 1;
    }
    strcpy(address.sun_path, path);
    const int descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const struct sigaction action = {.sa_handler = end};
    sigaction(SIGTERM, &action, NULL);

    // ... here a real one prepares its work ...
    notify(descriptor, &address, "READY=1");
    const long half = period == NULL ? 500000 : strtol(period, NULL, 10) / 2;
    const struct timespec pause = {half / 1000000, half % 1000000 * 1000};
    while (!ends) {
        nanosleep(&pause, NULL);  // ... here it works ...
        notify(descriptor, &address, "WATCHDOG=1");
    }
    notify(descriptor, &address, "STOPPING=1");
    return 0;
}
