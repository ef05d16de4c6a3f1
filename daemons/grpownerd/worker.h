#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace GrpOwnerDaemon {

/// One thread that does what a notice must not do itself, in order. Its destructor finishes the
/// running task and drops the rest.
class Worker {
public:
    Worker() : thread_([this] { Run(); }) {}
    ~Worker();
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    void Do(std::function<void()> task);

private:
    void Run();

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::function<void()>> tasks_;
    bool isStopped_ = false;
    std::thread thread_;  // the last member: it uses the others
};

}  // namespace GrpOwnerDaemon
