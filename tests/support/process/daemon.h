#pragma once

#include <sys/types.h>

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace ProcessTest {

/// A real program in a process group of its own. What it prints, and what those print that it has
/// started, is collected by a thread. Killed at the end unless it was waited for.
class Daemon {
public:
    /// @param environment NAME=VALUE, in addition to the test's own
    explicit Daemon(std::vector<std::string> command, std::vector<std::string> environment = {});
    ~Daemon();
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;

    pid_t Pid() const { return pid_; }

    /// Waits until this has been printed. False when nobody is left to print it, or after a minute.
    bool Says(const std::string& text);
    std::string Output();

    void Signal(int number) const;

    /// Waits for the end of the program and of its output.
    /// @return exit status, or 1000 + the signal that ended it
    int Wait();

private:
    void Collect(int end);

    pid_t pid_ = -1;
    std::mutex mutex_;
    std::condition_variable news_;
    std::string output_;     // guarded by mutex_
    bool isSilent_ = false;  // guarded by mutex_: nobody has the output open any more
    std::thread collector_;
};

/// Waits for the end of any process, a child or not.
bool HasEnded(pid_t pid);

}  // namespace ProcessTest
