#include "tests/e2e/fault.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <thread>

namespace EndToEnd {

namespace fs = std::filesystem;

namespace {

#ifndef __has_feature
#define __has_feature(feature) 0  // how clang tells of its sanitizers; g++ has macros
#endif

// What the C library may keep of memory that was given back; sanitizers keep far more.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || \
    __has_feature(address_sanitizer)
constexpr size_t kKeptKb = 256 * 1024;
#else
constexpr size_t kKeptKb = 8 * 1024;
#endif

}  // namespace

Holding HoldingOf(const Daemon& daemon) {
    const std::string folder = "/proc/" + std::to_string(daemon.Pid());
    Holding holding;
    for (const auto& entry : fs::directory_iterator(folder + "/fd")) {
        holding.descriptors += entry.path().empty() ? 0 : 1;
    }
    std::ifstream children(folder + "/task/" + std::to_string(daemon.Pid()) + "/children");
    for (pid_t child = 0; children >> child; ++holding.children) {
    }
    std::ifstream(folder + "/statm") >> holding.residentKb >> holding.residentKb;
    holding.residentKb *= static_cast<size_t>(sysconf(_SC_PAGESIZE)) / 1024;
    return holding;
}

bool Eventually(const std::function<bool()>& isSo) {
    const auto end = std::chrono::steady_clock::now() + kLong;
    while (!isSo()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

std::vector<std::string> Limited(const std::string& limit, std::vector<std::string> command) {
    const std::string words = "ulimit " + limit + "; exec \"$@\"";
    command.insert(command.begin(), {"/bin/sh", "-c", words, "sh"});
    return command;
}

std::vector<pid_t> Fault::PidsOf(const std::string& owner) {
    const std::string output = manager_->Output();
    const std::regex runs(owner + "/\\S+: runs, pid ([0-9]+)");
    std::vector<pid_t> pids;
    for (std::sregex_iterator run(output.begin(), output.end(), runs), end; run != end; ++run) {
        pids.push_back(std::stoi((*run)[1]));
    }
    return pids;
}

void Fault::ExpectThatItLives(Daemon& owner, const std::string& application) {
    const pid_t pid = PidBehind(owner.Output(), application + "  running   pid ");
    kill(pid, SIGKILL);
    EXPECT_TRUE(owner.Says("was " + std::to_string(pid) + " ")) << owner.Output();
}

void Fault::ExpectThatTheNextLives() {
    const auto next = Boot("  base: {command: probe}\n");
    ExpectThatItLives(*next);
    manager_->Signal(SIGTERM);
    EXPECT_EQ(manager_->Wait(), 0);
    EXPECT_EQ(next->Wait(), 1);
    for (const pid_t pid : PidsOf("own")) {
        EXPECT_LT(kill(pid, 0), 0);
    }
    EXPECT_TRUE(fs::is_empty(Path("run")));
}

void Fault::ExpectNoMore(const Daemon& daemon, const Holding& before) {
    const auto isAsBefore = [&] {
        const Holding now = HoldingOf(daemon);
        return now.descriptors == before.descriptors && now.children == before.children;
    };
    EXPECT_TRUE(Eventually(isAsBefore))
        << HoldingOf(daemon).descriptors << " instead of " << before.descriptors;
    EXPECT_LT(HoldingOf(daemon).residentKb, before.residentKb + kKeptKb);
}

}  // namespace EndToEnd
