#include "daemons/grpownerd/worker.h"

#include <utility>

namespace GrpOwnerDaemon {

Worker::~Worker() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        isStopped_ = true;
        changed_.notify_all();
    }
    thread_.join();
}

void Worker::Do(std::function<void()> task) {
    std::lock_guard<std::mutex> lock(mutex_);
    tasks_.push_back(std::move(task));
    changed_.notify_all();
}

void Worker::Run() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (true) {
        changed_.wait(lock, [this] { return isStopped_ || !tasks_.empty(); });
        if (isStopped_) {
            return;
        }
        const std::function<void()> task = std::move(tasks_.front());
        tasks_.pop_front();
        lock.unlock();
        task();
        lock.lock();
    }
}

}  // namespace GrpOwnerDaemon
