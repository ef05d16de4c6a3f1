// `grpctl watch` through a thousand crashes: whoever keeps up sees all, whoever does not is told
// what is missing.
#include <csignal>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/e2e/fault.h"

namespace EndToEnd {

/// What one watcher has been told.
struct Told {
    uint64_t first = 0, last = 0;  // sequences
    uint64_t steps = 0, missed = 0, crashes = 0;
    bool isInOrder = true;
};

class Watch : public Group {
protected:
    std::unique_ptr<Daemon> Begin(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), GRPCTL);
        return std::make_unique<Daemon>(arguments, std::vector{"GRPOWNER_RUN_DIR=" + Path("run")});
    }

    static Told Read(Daemon& watcher) {
        Told told;
        std::istringstream output(watcher.Output());
        for (std::string line; std::getline(output, line);) {
            const auto json = nlohmann::json::parse(line, nullptr, false);
            if (!json.is_object()) {
                continue;  // how it ended
            }
            if (json["kind"] == "gap" && json["of"] == "steps") {
                told.missed += json["missed"].get<uint64_t>();
                told.last += json["missed"].get<uint64_t>();
            } else if (json.contains("seq")) {
                const auto sequence = json["seq"].get<uint64_t>();
                told.first = told.first == 0 ? sequence : told.first;
                told.isInOrder &= told.last == 0 || sequence == told.last + 1;
                told.last = sequence;
                ++told.steps;
                told.crashes += json.value("report", "") == "TERMINATED_ABNORMAL_EXIT" ? 1 : 0;
            }
        }
        return told;
    }
};

// The crashes that the process manager tells of.
uint64_t Ends(const std::string& log) {
    uint64_t ends = 0;
    std::istringstream lines(log);
    for (std::string line; std::getline(lines, line);) {
        ends += line.find("warning: own/") != std::string::npos &&
                line.find(" ended, ") != std::string::npos;
    }
    return ends;
}

TEST_F(Watch, MissesNoneOfAThousandCrashesOrSaysHowMany) {
    Manage();
    const auto owner = Boot(
        "  base: {command: probe}\n"
        "  a: {command: /bin/false, restart: on-forever, autostart: false}\n"
        "  b: {command: /bin/false, restart: on-forever, autostart: false}\n"
        "  c: {command: [/bin/sh, -c, 'kill -SEGV $$$$'], restart: on-forever, autostart: false}\n",
        {}, {"--trace", "4096"});
    const auto fast = Begin({"watch", "--json"});
    const auto slow = Begin({"watch", "--json"});
    ASSERT_TRUE(fast->Says("\"snapshot\"") && slow->Says("\"snapshot\""));
    slow->Signal(SIGSTOP);
    (void)Begin({"start", "a", "b", "c"})->Wait();  // whether one is seen to run is chance
    ASSERT_TRUE(Eventually([&] { return Ends(manager_->Output()) >= 2000; }));
    (void)Begin({"stop-all", "--quiet"})->Wait();
    slow->Signal(SIGCONT);
    const std::string end = R"("request":"stop-all","success":true)";
    ASSERT_TRUE(fast->Says(end) && slow->Says(end));
    fast->Signal(SIGINT);
    EXPECT_EQ(fast->Wait(), 130);
    const std::string manager = manager_->Output();
    EndAll(*owner);
    EXPECT_EQ(slow->Wait(), 7);

    const uint64_t ends = Ends(manager);
    const Told all = Read(*fast);
    EXPECT_TRUE(all.isInOrder);
    EXPECT_EQ(all.steps + all.missed, all.last - all.first + 1);
    // On a machine that is too busy it is a slow one as well, and says so.
    EXPECT_TRUE(all.missed == 0 ? all.crashes == ends : all.crashes < ends)
        << all.crashes << " of " << ends << ", " << all.missed << " steps missed";
    const Told some = Read(*slow);
    EXPECT_GT(some.missed, 0u);
    EXPECT_TRUE(some.isInOrder) << "what is missing stands where it is missing";
    EXPECT_EQ(some.steps + some.missed, some.last - some.first + 1);
    EXPECT_LT(some.crashes, ends);
}

}  // namespace EndToEnd
