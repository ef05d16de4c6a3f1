#pragma once

#include <sys/types.h>

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace ProcMgrTest {

/// A directory of its own below the system's temporary one; removed with all that is in it.
class Scratch {
public:
    Scratch();
    ~Scratch();
    const std::string& Path() const { return path_; }
    std::string Path(const std::string& name) const { return path_ + "/" + name; }
    std::string Write(const std::string& name, const std::string& text) const;

private:
    std::string path_;
};

/// A real process manager in a process of its own, ready when constructed, killed at the end unless
/// it was waited for.
class ProcessManager {
public:
    /// @param uid as whom it runs; 0: as the test
    explicit ProcessManager(const std::string& runDirectory, std::vector<std::string> options = {},
                            uid_t uid = 0);
    ~ProcessManager();
    ProcessManager(const ProcessManager&) = delete;
    ProcessManager& operator=(const ProcessManager&) = delete;

    void Kill(int signal) const;

    /// Waits for its end.
    /// @return exit status, or 1000 + the signal that ended it
    int Wait();

    /// All that it has printed; complete after Wait.
    const std::string& Printed() const { return printed_; }

private:
    void Read(int output);

    pid_t pid_ = -1;
    std::string printed_;  // guarded by mutex_ until reader_ has ended
    bool ended_ = false;   // guarded by mutex_: nothing more is printed
    std::mutex mutex_;
    std::condition_variable news_;
    std::thread reader_;
};

/// Runs it with these options to its end.
int RunToEnd(std::vector<std::string> options, std::string& printed);

/// Waits for the end of any process, a child or not.
void AwaitEnd(pid_t pid);

}  // namespace ProcMgrTest
