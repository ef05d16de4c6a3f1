// Lost and back again, on a clock that the test moves.

#include <gtest/gtest.h>

#include <future>
#include <thread>

#include "platform/linux/heartbeat_monitor.h"
#include "tests/unit/backend/pipe_server.h"

namespace BackendTest {

namespace {

using GrpOwnerLinux::HeartBeatMonitor;
using std::chrono::milliseconds;

HeartBeatMonitor* monitor = nullptr;

int Record(const char* name, size_t length, unsigned pid, int status) {
    Told::Instance().Add(std::string(name, length) + " " + std::to_string(pid) +
                         (status == 1 ? " lost" : " back"));
    return 1;
}

int UnregisterFromCallback(const char* name, size_t length, unsigned pid, int status) {
    monitor->Unregister(std::string(name, length));
    monitor->UnregisterAll();
    monitor->Register("other", Record, {});  // no lock is held
    return Record(name, length, pid, status);
}

int WaitInCallback(const char* name, size_t length, unsigned pid, int status) {
    (void)Record(name, length, pid, status);  // its answer is not read
    Told::Instance().PassGate();
    for (int i = 0; i < 100; ++i) {
        std::this_thread::yield();  // gives a too early return of Unregister its chance
    }
    Told::Instance().Add("callback ends");
    return 1;
}

class HeartBeatTest : public testing::Test {
protected:
    HeartBeatTest() {
        Told::Instance().Reset();
        monitor = &monitor_;
        monitor_.SetPeriod("camera", 100);
    }

    // What is told at `ms` after the start, and nothing that was told before.
    std::vector<std::string> At(int ms) {
        Told::Instance().Reset();
        monitor_.TellChanges(start_ + milliseconds(ms));
        return Told::Instance().WaitFor(0);
    }
    void Register(int ms, HeartBeatCheckCallback callback = Record) {
        monitor_.Register("camera", callback, start_ + milliseconds(ms));
    }
    bool Beat(int ms) { return monitor_.Beat("camera", 7, start_ + milliseconds(ms)); }

    using Lines = std::vector<std::string>;
    HeartBeatMonitor monitor_;
    HeartBeatMonitor::TimePoint start_{};
};

TEST_F(HeartBeatTest, TellsEachChangeOnce) {
    Register(0);
    EXPECT_EQ(At(1'000'000), Lines{});  // nothing is counted before the first beat
    EXPECT_TRUE(Beat(0));
    EXPECT_EQ(monitor_.TellChanges(start_), start_ + milliseconds(300));
    EXPECT_EQ(At(299), Lines{});
    EXPECT_FALSE(Beat(299));
    EXPECT_EQ(At(598), Lines{});
    EXPECT_EQ(At(599), Lines{"camera 7 lost"});
    EXPECT_EQ(At(10'000), Lines{});
    EXPECT_TRUE(Beat(10'000));
    EXPECT_EQ(At(10'000), Lines{"camera 7 back"});
    EXPECT_EQ(At(10'300), Lines{"camera 7 lost"});
}

// A new registration is a new start: not lost, nothing counted; the period stays known.
TEST_F(HeartBeatTest, BeginsAnewWithARegistration) {
    Register(0);
    Beat(0);
    Register(100);
    EXPECT_EQ(At(399), Lines{});
    EXPECT_EQ(At(400), Lines{"camera 7 lost"});
    Register(500);
    EXPECT_EQ(At(10'000), Lines{});
    Beat(10'000);
    EXPECT_EQ(At(10'000), Lines{});
    monitor_.SetPeriod("camera", 0);
    EXPECT_EQ(At(1'000'000), Lines{});  // without a period never lost
}

// A beat that overtakes the registration is counted from there, for two seconds; one that the
// process before it sent is not.
TEST_F(HeartBeatTest, KeepsABeatThatOvertakesItsRegistration) {
    Beat(0);
    Register(2000);
    EXPECT_EQ(At(2300), Lines{"camera 7 lost"});
    monitor_.Unregister("camera");
    Beat(3000);
    Register(5001);
    EXPECT_EQ(At(10'000), Lines{});
    Beat(10'000);
    monitor_.Unregister("camera");
    Register(10'001);
    EXPECT_EQ(At(11'000), Lines{});
    Beat(12'000);
    monitor_.Beat("camera", 8, start_ + milliseconds(12'100));  // of the process that follows
    monitor_.Unregister("camera");
    Register(12'200);
    EXPECT_EQ(At(12'500), Lines{"camera 8 lost"});
}

TEST_F(HeartBeatTest, UnregistersFromWithinACallback) {
    Register(0, UnregisterFromCallback);
    Beat(0);
    EXPECT_EQ(At(300), Lines{"camera 7 lost"});
    Beat(301);
    EXPECT_EQ(At(1000), Lines{});
}

TEST_F(HeartBeatTest, UnregistersOnlyWhenTheCallbackHasEnded) {
    for (const bool all : {false, true}) {
        Told::Instance().Reset();
        Told::Instance().CloseGate();
        Register(0, WaitInCallback);
        Beat(0);
        auto telling = std::async(std::launch::async,
                                  [this] { monitor_.TellChanges(start_ + milliseconds(300)); });
        Told::Instance().WaitFor(1);
        Told::Instance().OpenGate();
        all ? monitor_.UnregisterAll() : monitor_.Unregister("camera");
        Told::Instance().Add("unregistered");
        telling.get();
        const Lines expected{"camera 7 lost", "callback ends", "unregistered"};
        EXPECT_EQ(Told::Instance().WaitFor(3), expected);
    }
}

}  // namespace

}  // namespace BackendTest
