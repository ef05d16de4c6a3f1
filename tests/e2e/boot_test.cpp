// A large group of real processes comes up and goes down in order.
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "tests/e2e/group.h"

namespace EndToEnd {

namespace {

using Needs = std::map<std::string, std::set<std::string>>;

// Every third application says itself that it is ready; all others are when they run.
std::string Name(int layer, int place) {
    return (place % 20 % 3 == 0 ? "notify-" : "plain-") + std::to_string(layer) + "-" +
           std::to_string(place % 20);
}

bool IsNotifying(const std::string& name) {
    return name[0] == 'n';
}

Needs PlanLayers() {
    Needs plan;
    for (int layer = 0; layer < 10; ++layer) {
        for (int place = 0; place < 20; ++place) {
            auto& needs = plan[Name(layer, place)];
            for (int step = 0; step < 3 && layer > 0; ++step) {
                needs.insert(Name(layer - 1, place * 7 + step * 5 + layer));
            }
        }
    }
    return plan;
}

std::string Yaml(const Needs& plan) {
    std::string yaml;
    for (const auto& [name, needs] : plan) {
        yaml += "  " + name + ": {command: " +
                (IsNotifying(name) ? "[probe, ready], readiness: notify" : "probe") +
                ", depends_on: [";
        for (const std::string& need : needs) {
            yaml += (need == *needs.begin() ? "" : ", ") + need;
        }
        yaml += "]}\n";
    }
    return yaml;
}

// The line on which something has happened first, as in "begun plain-1-2".
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
    const Needs plan = PlanLayers();
    Manage();
    const auto owner = Boot(Yaml(plan), {"DATAMASTER_RUN_MODE=1"});
    EndAll(*owner);

    const std::map<std::string, size_t> story = ReadStory(manager_->Output());
    const auto isBefore = [&story](const std::string& first, const std::string& second) {
        return story.count(first) > 0 && story.count(second) > 0 &&
               story.at(first) < story.at(second);
    };
    for (const auto& [name, needs] : plan) {
        EXPECT_TRUE(!IsNotifying(name) || isBefore("ready " + name, "heard " + name)) << name;
        for (const std::string& need : needs) {
            const std::string up = IsNotifying(need) ? "ready " : "runs ";
            EXPECT_TRUE(isBefore(up + need, "begun " + name)) << name << " before " << need;
            EXPECT_TRUE(isBefore("ended " + name, "down " + need)) << need << " before " << name;
        }
    }
}

}  // namespace EndToEnd
