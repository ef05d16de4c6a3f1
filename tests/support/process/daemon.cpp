#include "tests/support/process/daemon.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <stdexcept>

namespace ProcessTest {

namespace {

constexpr std::chrono::minutes kPatience{1};

pid_t Spawn(std::vector<std::string>& command, int output) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output, STDERR_FILENO);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    std::vector<char*> arguments;
    for (std::string& argument : command) {
        arguments.push_back(argument.data());
    }
    arguments.push_back(nullptr);
    pid_t pid = -1;
    const int result =
        posix_spawn(&pid, command[0].c_str(), &actions, &attributes, arguments.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (result != 0) {
        throw std::runtime_error("cannot run " + command[0]);
    }
    return pid;
}

}  // namespace

Daemon::Daemon(std::vector<std::string> command, std::vector<std::string> environment) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::runtime_error("pipe2");
    }
    if (!environment.empty()) {
        environment.insert(environment.begin(), "/usr/bin/env");  // it becomes the program
        command.insert(command.begin(), environment.begin(), environment.end());
    }
    pid_ = Spawn(command, ends[1]);
    close(ends[1]);
    collector_ = std::thread([this, end = ends[0]] { Collect(end); });
}

Daemon::~Daemon() {
    if (pid_ > 0) {
        Signal(SIGKILL);
        (void)Wait();
    }
}

void Daemon::Collect(int end) {
    char chunk[4096];
    for (ssize_t count = 0; (count = read(end, chunk, sizeof(chunk))) > 0;) {
        const std::lock_guard<std::mutex> lock(mutex_);
        output_.append(chunk, static_cast<size_t>(count));
        news_.notify_all();
    }
    close(end);
    const std::lock_guard<std::mutex> lock(mutex_);
    isSilent_ = true;
    news_.notify_all();
}

bool Daemon::Says(const std::string& text) {
    std::unique_lock<std::mutex> lock(mutex_);
    const auto isSaid = [&] { return output_.find(text) != std::string::npos; };
    news_.wait_for(lock, kPatience, [&] { return isSilent_ || isSaid(); });
    return isSaid();
}

std::string Daemon::Output() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return output_;
}

void Daemon::Signal(int number) const {
    if (pid_ > 0) {  // else it would be meant for all processes
        kill(pid_, number);
    }
}

int Daemon::Wait() {
    if (!HasEnded(pid_)) {
        Signal(SIGKILL);
    }
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    collector_.join();
    return WIFSIGNALED(status) ? 1000 + WTERMSIG(status) : WEXITSTATUS(status);
}

bool HasEnded(pid_t pid) {
    const int fd = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
    if (fd < 0) {
        return true;
    }
    pollfd ended{fd, POLLIN, 0};
    const int result =
        poll(&ended, 1, static_cast<int>(std::chrono::milliseconds(kPatience).count()));
    close(fd);
    return result == 1;
}

}  // namespace ProcessTest
