// A large group of real processes comes up and goes down in order.
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "tests/e2e/group.h"

namespace EndToEnd {

namespace {

constexpr int kLayers = 10;
constexpr int kWidth = 20;
constexpr int kNotifying = 3;  // every third application says itself that it is ready

struct Planned {
    std::set<std::string> needs;
    bool isNotifying = false;
};

std::string Name(int layer, int place) {
    return "app-" + std::to_string(layer) + "-" + std::to_string(place % kWidth);
}

std::map<std::string, Planned> PlanLayers() {
    std::map<std::string, Planned> plan;
    for (int layer = 0; layer < kLayers; ++layer) {
        for (int place = 0; place < kWidth; ++place) {
            Planned& planned = plan[Name(layer, place)];
            planned.isNotifying = place % kNotifying == 0;
            for (int step = 0; step < 3 && layer > 0; ++step) {
                planned.needs.insert(Name(layer - 1, place * 7 + step * 5 + layer));
            }
        }
    }
    return plan;
}

std::string Yaml(const std::map<std::string, Planned>& plan) {
    std::ostringstream yaml;
    for (const auto& [name, planned] : plan) {
        yaml << "  " << name << ": {command: [probe" << (planned.isNotifying ? ", ready" : "")
             << "], readiness: " << (planned.isNotifying ? "notify" : "process")
             << ", depends_on: [";
        for (const std::string& need : planned.needs) {
            yaml << need << (need == *planned.needs.rbegin() ? "" : ", ");
        }
        yaml << "]}\n";
    }
    return yaml.str();
}

// The line on which something has happened first, as in "begun app-1-2".
std::map<std::string, size_t> ReadStory(const std::string& output) {
    const std::regex byManager("^procmgrd: own/([^:]+): (\\w+)");
    std::map<std::string, size_t> story;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        line = std::regex_replace(line.substr(0, line.find(',')), byManager, "$2 $1");
        story.emplace(line, story.size());
    }
    return story;
}

}  // namespace

// The process manager writes "runs" before it tells the owner, and an application writes "ready"
// before it does; so a start that waited for either stands behind it, however busy the machine is.
TEST_F(Group, ALargeGroupComesUpAndGoesDownInOrder) {
    const std::map<std::string, Planned> plan = PlanLayers();
    Manage();
    const auto owner = Own(Yaml(plan), {"DATAMASTER_RUN_MODE=1"});
    ASSERT_TRUE(owner->Says("Done, 200 of 200")) << owner->Output();
    EndAll(*owner);

    const std::map<std::string, size_t> story = ReadStory(manager_->Output());
    const auto isBefore = [&story](const std::string& first, const std::string& second) {
        return story.count(first) > 0 && story.count(second) > 0 &&
               story.at(first) < story.at(second);
    };
    for (const auto& [name, planned] : plan) {
        EXPECT_TRUE(!planned.isNotifying || isBefore("ready " + name, "heard " + name)) << name;
        for (const std::string& need : planned.needs) {
            const std::string up = plan.at(need).isNotifying ? "ready " : "runs ";
            EXPECT_TRUE(isBefore(up + need, "begun " + name)) << name << " before " << need;
            EXPECT_TRUE(isBefore("ended " + name, "down " + need)) << need << " before " << name;
        }
    }
}

}  // namespace EndToEnd
