// The application of these tests: says at NOTIFY_SOCKET what it is and does, then behaves as told.
//   probe exit STATUS       ends at once
//   probe raise SIGNAL      is ended by a signal at once
//   probe stay [STATUS]     stays; ends with the status at SIGTERM
//   probe stubborn          stays, SIGTERM or not
//   probe print TEXT        prints, then stays
//   probe describe ...      says its arguments, environment and surroundings, then stays
#include <sched.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

namespace {

std::string Name() {
    const char* const name = getenv("GRPOWNER_APPLICATION");
    return name != nullptr ? name : "?";
}

void Say(const std::string& text) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, getenv("NOTIFY_SOCKET"), sizeof(address.sun_path) - 1);
    const int socket = ::socket(AF_UNIX, SOCK_DGRAM, 0);
    if (sendto(socket, text.data(), text.size(), 0, reinterpret_cast<sockaddr*>(&address),
               sizeof(address)) < 0) {
        perror("probe: notify socket");
    }
    close(socket);
}

std::string Describe(int argc, char** argv) {
    std::string text;
    for (int i = 2; i < argc; ++i) {
        text += "argument " + std::string(argv[i]) + "\n";
    }
    for (char** variable = environ; *variable != nullptr; ++variable) {
        text += std::string(*variable) + "\n";
    }
    char directory[256] = "";
    text += "directory " + std::string(getcwd(directory, sizeof(directory))) + "\n";
    text += "leads its group " + std::to_string(getpgrp() == getpid()) + "\n";
    text += "scheduler " + std::to_string(sched_getscheduler(0)) + "\n";
    cpu_set_t processors;
    sched_getaffinity(0, sizeof(processors), &processors);
    text += "processors " + std::to_string(CPU_COUNT(&processors)) + "\n";
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("Sig", 0) == 0 || line.rfind("Uid", 0) == 0 || line.rfind("Gid", 0) == 0 ||
            line.rfind("Groups", 0) == 0) {
            text += line + "\n";
        }
    }
    std::ifstream groups("/proc/self/cgroup");
    for (std::string line; std::getline(groups, line);) {
        text += "cgroup " + line + "\n";
    }
    return text;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string mode = argc > 1 ? argv[1] : "stay";
    if (mode == "exit") {
        return atoi(argv[2]);
    }
    if (mode == "raise") {
        raise(atoi(argv[2]));
    }
    // Before anything is said: who heard us may send a signal at once.
    const std::string said = mode == "describe" ? Describe(argc, argv) : "up " + Name();
    sigset_t term;
    sigemptyset(&term);
    sigaddset(&term, SIGTERM);
    sigprocmask(SIG_BLOCK, &term, nullptr);
    if (mode == "print") {
        puts(argv[2]);
        fflush(stdout);
    }
    Say(said);
    if (mode == "stubborn") {
        for (;;) {
            pause();
        }
    }
    int number = 0;
    sigwait(&term, &number);
    Say("down " + Name());
    return mode == "stay" && argc > 2 ? atoi(argv[2]) : 0;
}
