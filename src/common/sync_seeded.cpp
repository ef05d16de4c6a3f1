#include "src/common/sync_seeded.h"

#include <execinfo.h>
#include <semaphore.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <random>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

namespace ProcMgr {

namespace Seeded {

namespace {

using Nanoseconds = std::chrono::nanoseconds;

// One of so many points is the beginning of a rest of up to so many: the others get far meanwhile.
constexpr uint64_t kRest = 256;

// Far from every clock's own beginning.
constexpr Nanoseconds kBeginning = std::chrono::hours(1000);

enum class Doing { kRuns, kLocks, kWaits, kSleeps, kJoins, kEnded, kAwaitsTurn };

constexpr const char* kDoingNames[] = {
    "runs",      "locks mutex",       "waits on condition", "sleeps", "waits for the end of thread",
    "has ended", "waits for its turn"};

/// A thread of the run. All but the semaphore is used by the thread that runs, whichever it is.
struct Thread {
    Thread(std::string ownName, unsigned ownWeight) : name(std::move(ownName)), weight(ownWeight) {
        (void)sem_init(&baton, 0, 0);  // fails for no value that is given here
    }

    const std::string name;
    const unsigned weight;  // how much more often it is chosen than one of weight 1
    Doing doing = Doing::kRuns;
    const void* object = nullptr;  // what it locks, waits on or joins
    std::optional<Nanoseconds> deadline;
    bool isLate = false;      // whether the deadline ended its wait
    uint64_t restsUntil = 0;  // this point of the run, unless nobody else can run
    sem_t baton;              // given to the thread that is to run
    std::thread native;
};

[[noreturn]] void Fail(const std::string& what);

thread_local Thread* thisThread = nullptr;
Nanoseconds timeOfRun = kBeginning;  // of the run, and of what comes after it

/// Owns the threads of a run and decides who runs. Used by the thread that runs alone; the
/// hand-over of the baton orders the accesses.
class Scheduler {
public:
    explicit Scheduler(const Options& options) : options_(options), random_(options.seed) {
        // From a switch at every second point to one at every 32nd.
        stay_ = uint64_t{2} << Below(5);
        (void)sem_init(&told_, 0, 0);
        thisThread = running_ = Add("main");
    }

    ~Scheduler() { thisThread = nullptr; }

    Scheduler(const Scheduler&) = delete;
    Scheduler& operator=(const Scheduler&) = delete;

    Thread* Add(std::string name) {
        const auto weight = 1U << (2 * Below(3));
        threads_.push_back(std::make_unique<Thread>(std::move(name), weight));
        return threads_.back().get();
    }

    Thread* Begin(std::string name, std::function<void()> function) {
        Thread* const thread = Add(std::move(name));
        thread->native = std::thread([this, thread, function = std::move(function)] {
            thisThread = thread;
            AwaitBaton(*thread);
            function();
            End(*thread);
        });
        Point();
        return thread;
    }

    void Join(Thread* thread) {
        if (thread->doing != Doing::kEnded) {
            Block(Doing::kJoins, thread, std::nullopt);
        }
        thread->native.join();
        threads_.erase(std::find_if(threads_.begin(), threads_.end(),
                                    [thread](const auto& entry) { return entry.get() == thread; }));
        Point();
    }

    bool HaveAllBeenJoined() const { return threads_.size() == 1; }

    void Lock(const Mutex* mutex) {
        Point();
        (void)Follow(Step::kLocked, Step::kLocked);  // or whenever it is free
        Acquire(mutex);
    }

    void Release(const Mutex* mutex) {
        const auto owner = owners_.find(mutex);
        if (owner == owners_.end() || owner->second != thisThread) {
            Fail("a mutex is unlocked that the thread does not hold");
        }
        owners_.erase(owner);
        for (Thread* waiter : On(mutex)) {
            GoOn(*waiter);
        }
    }

    /// @return false when the deadline has passed
    bool Wait(const CondVar* condition, const Mutex* mutex, std::optional<Nanoseconds> deadline) {
        Point();
        Release(mutex);
        const auto end = Follow(Step::kWoken, Step::kTimedOut);
        if (!end) {
            Block(Doing::kWaits, condition, deadline);
        }
        const bool isInTime = end ? *end == Step::kWoken : !thisThread->isLate;
        Acquire(mutex);
        return isInTime;
    }

    void Notify(const CondVar* condition, bool all) {
        Point();
        std::vector<Thread*> waiters = On(condition);
        if (!all && !waiters.empty()) {
            waiters = {waiters[Below(waiters.size())]};
        }
        for (Thread* waiter : waiters) {
            GoOn(*waiter);
        }
    }

    void Sleep(Nanoseconds duration) {
        if (!Follow(Step::kSlept, Step::kSlept)) {
            Block(Doing::kSleeps, nullptr, timeOfRun + duration);
        }
    }

    void LookAtTime() {
        if (thisThread != nullptr) {
            (void)Follow(Step::kTimeRead, Step::kTimeRead);  // or as late as it is now
        }
    }

    void AwaitTurn() {
        CheckSelf();
        while (options_.guide->Next() != thisThread->name) {
            thisThread->doing = Doing::kAwaitsTurn;
            Switch();
        }
        timeOfRun = std::max(timeOfRun, kBeginning + options_.guide->Time());
    }

    /// The thread may be interrupted here.
    void Point() {
        CheckSelf();
        if (++points_ > options_.points) {
            Fail("the run does not end");
        }
        if (options_.guide != nullptr) {
            return;  // threads change where it says so
        }
        if (Below(1000) < options_.wakeUps) {
            WakeSomebody();
        }
        if (Below(kRest) == 0) {
            thisThread->restsUntil = points_ + Below(kRest);
            Switch();
        } else if (Below(stay_) == 0) {
            Switch();
        }
    }

    /// Every thread says on its own stack where it is.
    void TellAll() {
        telling_ = true;
        for (const auto& thread : threads_) {
            if (thread->doing == Doing::kEnded) {
                continue;
            }
            if (thread.get() == thisThread) {
                Tell(*thread);
            } else {
                sem_post(&thread->baton);
                AwaitPosted(told_);
            }
        }
    }

private:
    uint64_t Below(uint64_t bound) { return random_() % bound; }

    static void CheckSelf() {
        if (thisThread == nullptr) {
            Fail("a thread that is not the run's comes to a point");
        }
    }

    std::vector<Thread*> On(const void* object) const {
        std::vector<Thread*> threads;
        for (const auto& thread : threads_) {
            if (thread->object == object) {
                threads.push_back(thread.get());
            }
        }
        return threads;
    }

    static void GoOn(Thread& thread) {
        thread.doing = Doing::kRuns;
        thread.object = nullptr;
        thread.deadline.reset();
    }

    void Acquire(const Mutex* mutex) {
        for (auto owner = owners_.find(mutex); owner != owners_.end();
             owner = owners_.find(mutex)) {
            if (owner->second == thisThread) {
                Fail("a thread locks a mutex twice");
            }
            Block(Doing::kLocks, mutex, std::nullopt);
        }
        owners_[mutex] = thisThread;
    }

    void Block(Doing doing, const void* object, std::optional<Nanoseconds> deadline) {
        CheckSelf();
        thisThread->doing = doing;
        thisThread->object = object;
        thisThread->deadline = deadline;
        thisThread->isLate = false;
        Switch();
    }

    void End(Thread& self) {
        self.doing = Doing::kEnded;
        for (Thread* waiter : On(&self)) {
            GoOn(*waiter);
        }
        running_ = Choose();
        sem_post(&running_->baton);
    }

    void WakeSomebody() {
        std::vector<Thread*> waiters;
        for (const auto& thread : threads_) {
            if (thread->doing == Doing::kWaits) {
                waiters.push_back(thread.get());
            }
        }
        if (!waiters.empty()) {
            GoOn(*waiters[Below(waiters.size())]);
        }
    }

    void Switch() {
        Thread& self = *thisThread;
        running_ = Choose();
        if (running_ != &self) {
            sem_post(&running_->baton);
            AwaitBaton(self);
        }
    }

    Thread* Choose() {
        if (options_.guide != nullptr) {
            return ChooseGuided();
        }
        for (;;) {
            std::vector<Thread*> ready;  // each as often as it weighs
            std::vector<Thread*> resting;
            for (const auto& thread : threads_) {
                if (thread->doing == Doing::kRuns) {
                    auto& list = thread->restsUntil > points_ ? resting : ready;
                    list.insert(list.end(), thread->weight, thread.get());
                }
            }
            for (const auto* list : {&ready, &resting}) {
                if (!list->empty()) {
                    return list->at(Below(list->size()));
                }
            }
            LetTimePass();
        }
    }

    void LetTimePass() {
        std::optional<Nanoseconds> next;
        for (const auto& thread : threads_) {
            if (thread->deadline && (!next || *thread->deadline < *next)) {
                next = thread->deadline;
            }
        }
        if (!next) {
            Fail("deadlock: all wait, nobody for a time");
        }
        timeOfRun = std::max(timeOfRun, *next);
        for (const auto& thread : threads_) {
            if (thread->deadline && *thread->deadline <= timeOfRun) {
                GoOn(*thread);
                thread->isLate = true;
            }
        }
    }

    /// One of the two, if the guide foresees it, in its turn.
    std::optional<Step> Follow(Step step, Step orElse) {
        const auto foreseen = options_.guide == nullptr
                                  ? std::nullopt
                                  : options_.guide->Foresees(thisThread->name, step, orElse);
        if (foreseen) {
            AwaitTurn();
            options_.guide->Make(thisThread->name);
            timeOfRun = std::max(timeOfRun, kBeginning + options_.guide->Time());
        }
        return foreseen;
    }

    // Who is to go on; else whoever is held up by nothing; else the one that waits for a time.
    Thread* ChooseGuided() {
        for (;;) {
            const std::string name = options_.guide->Next();
            Thread* next = nullptr;
            Thread* free = nullptr;
            for (const auto& thread : threads_) {
                const bool isAwaited = thread->name == name;
                next = isAwaited ? thread.get() : next;
                if (thread->doing == Doing::kRuns ||
                    (isAwaited && thread->doing == Doing::kAwaitsTurn)) {
                    free = free == nullptr || isAwaited ? thread.get() : free;
                }
            }
            if (free == nullptr && next != nullptr && next->deadline) {
                timeOfRun = std::max(timeOfRun, *next->deadline);
                next->isLate = true;
                free = next;
            }
            if (free != nullptr) {
                GoOn(*free);
                return free;
            }
            options_.guide->PassOver();
        }
    }

    static void AwaitPosted(sem_t& semaphore) {
        while (sem_wait(&semaphore) != 0) {
        }
    }

    void AwaitBaton(Thread& self) {
        AwaitPosted(self.baton);
        if (telling_) {
            Tell(self);
            sem_post(&told_);
            AwaitPosted(self.baton);  // never comes
        }
    }

    void Tell(const Thread& self) const;

    const Options options_;
    std::mt19937_64 random_;
    uint64_t stay_ = 2;  // one of so many points is a switch
    uint64_t points_ = 0;
    std::vector<std::unique_ptr<Thread>> threads_;  // in the order of their beginning
    Thread* running_ = nullptr;
    std::unordered_map<const Mutex*, Thread*> owners_;
    bool telling_ = false;
    sem_t told_{};
};

std::unique_ptr<Scheduler> theScheduler;  // of the run, if there is one

void Scheduler::Tell(const Thread& self) const {
    std::string what = kDoingNames[static_cast<size_t>(self.doing)];
    const auto owner = owners_.find(static_cast<const Mutex*>(self.object));
    if (owner != owners_.end()) {
        what += " of thread " + owner->second->name;
    }
    std::fprintf(stderr, "thread %s %s, at\n", self.name.c_str(), what.c_str());
    // Addresses for addr2line: most names of ours are hidden.
    void* frames[24];
    backtrace_symbols_fd(frames, backtrace(frames, 24), STDERR_FILENO);
}

[[noreturn]] void Fail(const std::string& what) {
    std::fflush(stdout);
    std::fprintf(stderr, "seeded run failed: %s\n", what.c_str());
    if (thisThread != nullptr) {
        theScheduler->TellAll();
    }
    std::abort();
}

/// Waits for its thread's end when it is dropped.
class Task {
public:
    explicit Task(Thread* thread) : thread_(thread) {}
    ~Task() { theScheduler->Join(thread_); }
    Task(const Task&) = delete;
    Task& operator=(const Task&) = delete;

private:
    Thread* thread_;
};

}  // namespace

Run::Run(const Options& options) {
    theScheduler = std::make_unique<Scheduler>(options);
}

Run::~Run() {
    if (!theScheduler->HaveAllBeenJoined()) {
        Fail("the run ends before its threads");
    }
    theScheduler.reset();
}

RunningThread Begin(std::string name, std::function<void()> function) {
    if (theScheduler == nullptr) {
        Fail("a thread is begun outside a run");
    }
    return std::make_shared<Task>(theScheduler->Begin(std::move(name), std::move(function)));
}

void AwaitTurn() {
    theScheduler->AwaitTurn();
}

std::string ThreadName() {
    return thisThread == nullptr ? "" : thisThread->name;
}

}  // namespace Seeded

using Seeded::Nanoseconds;
using Seeded::theScheduler;
using Seeded::timeOfRun;

void Mutex::Lock() {
    if (theScheduler != nullptr) {
        theScheduler->Lock(this);
    }
    native_.lock();
}

void Mutex::Unlock() {
    native_.unlock();
    if (theScheduler != nullptr) {
        theScheduler->Release(this);
        theScheduler->Point();
    }
}

void CondVar::NotifyOne() {
    if (theScheduler != nullptr) {
        theScheduler->Notify(this, false);
    }
}

void CondVar::NotifyAll() {
    if (theScheduler != nullptr) {
        theScheduler->Notify(this, true);
    }
}

void CondVar::Wait(Mutex& mutex) {
    (void)WaitUntil(mutex, TimePoint::max());
}

bool CondVar::WaitUntil(Mutex& mutex, TimePoint deadline) {
    if (theScheduler == nullptr) {
        Seeded::Fail("a wait outside a run");
    }
    mutex.native_.unlock();
    const bool inTime = theScheduler->Wait(
        this, &mutex,
        deadline == TimePoint::max() ? std::nullopt : std::optional(deadline.time_since_epoch()));
    mutex.native_.lock();
    return inTime;
}

// Both clocks show the same.
bool CondVar::WaitUntil(Mutex& mutex, SystemTimePoint deadline) {
    return WaitUntil(mutex, TimePoint(deadline.time_since_epoch()));
}

TimePoint Now() {
    if (theScheduler != nullptr) {
        theScheduler->LookAtTime();
    }
    return TimePoint(timeOfRun);
}

SystemTimePoint SystemNow() {
    return SystemTimePoint(Now().time_since_epoch());
}

void Sleep(Milliseconds duration) {
    if (theScheduler == nullptr) {
        timeOfRun += duration;
    } else {
        theScheduler->Sleep(duration);
    }
}

}  // namespace ProcMgr
