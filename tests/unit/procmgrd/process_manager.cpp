#include "tests/unit/procmgrd/process_manager.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace ProcMgrTest {

namespace {

constexpr int kPatienceMs = 30'000;

pid_t Launch(std::vector<std::string> options, uid_t uid, int& output) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::runtime_error("pipe2");
    }
    options.insert(options.begin(), PROCMGRD);
    std::vector<char*> arguments;
    for (std::string& option : options) {
        arguments.push_back(option.data());
    }
    arguments.push_back(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(ends[1], STDOUT_FILENO);
        dup2(ends[1], STDERR_FILENO);
        if (uid != 0 && (setgid(uid) != 0 || setuid(uid) != 0)) {
            _exit(126);
        }
        execv(PROCMGRD, arguments.data());
        _exit(127);
    }
    close(ends[1]);
    output = ends[0];
    return pid;
}

/// @return false at the end of the stream
bool ReadSome(int fd, std::string& text) {
    pollfd ready{fd, POLLIN, 0};
    if (poll(&ready, 1, kPatienceMs) != 1) {
        throw std::runtime_error("the process manager says nothing; so far:\n" + text);
    }
    char chunk[4096];
    const ssize_t count = read(fd, chunk, sizeof(chunk));
    text.append(chunk, count > 0 ? static_cast<size_t>(count) : 0);
    return count > 0;
}

int Reap(pid_t pid) {
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFSIGNALED(status) ? 1000 + WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace

Scratch::Scratch() {
    std::string pattern = std::filesystem::temp_directory_path() / "procmgrd_test.XXXXXX";
    path_ = mkdtemp(pattern.data());
    chmod(path_.c_str(), 0755);
}

Scratch::~Scratch() {
    std::filesystem::remove_all(path_);
}

std::string Scratch::Write(const std::string& name, const std::string& text) const {
    std::ofstream(Path(name)) << text;
    return Path(name);
}

ProcessManager::ProcessManager(const std::string& runDirectory, std::vector<std::string> options,
                               uid_t uid) {
    options.insert(options.begin(), {"--run-dir", runDirectory});
    int output = -1;
    pid_ = Launch(std::move(options), uid, output);
    reader_ = std::thread([this, output] { Read(output); });
    std::unique_lock<std::mutex> lock(mutex_);
    const auto isReady = [this] {
        return printed_.find("procmgrd: ready on ") != std::string::npos;
    };
    news_.wait_for(lock, std::chrono::milliseconds(kPatienceMs),
                   [&] { return ended_ || isReady(); });
    if (!isReady()) {
        lock.unlock();
        Kill(SIGKILL);
        Wait();
        throw std::runtime_error("the process manager did not get ready:\n" + printed_);
    }
}

void ProcessManager::Read(int output) {
    char chunk[4096];
    for (ssize_t count = 0; (count = read(output, chunk, sizeof(chunk))) > 0;) {
        const std::lock_guard<std::mutex> lock(mutex_);
        printed_.append(chunk, static_cast<size_t>(count));
        news_.notify_all();
    }
    close(output);
    const std::lock_guard<std::mutex> lock(mutex_);
    ended_ = true;
    news_.notify_all();
}

ProcessManager::~ProcessManager() {
    if (pid_ > 0) {
        Kill(SIGKILL);
        Wait();
    }
}

void ProcessManager::Kill(int signal) const {
    kill(pid_, signal);
}

int ProcessManager::Wait() {
    AwaitEnd(pid_);
    const int status = Reap(pid_);
    pid_ = -1;
    reader_.join();
    return status;
}

int RunToEnd(std::vector<std::string> options, std::string& printed) {
    int output = -1;
    const pid_t pid = Launch(std::move(options), 0, output);
    while (ReadSome(output, printed)) {
    }
    close(output);
    return Reap(pid);
}

void AwaitEnd(pid_t pid) {
    const int fd = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
    if (fd < 0) {
        return;  // it has ended, and whoever was to know does
    }
    pollfd ended{fd, POLLIN, 0};
    const int result = poll(&ended, 1, kPatienceMs);
    close(fd);
    if (result != 1) {
        throw std::runtime_error("process " + std::to_string(pid) + " does not end");
    }
}

}  // namespace ProcMgrTest
