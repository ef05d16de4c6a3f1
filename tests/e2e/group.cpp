#include "tests/e2e/group.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <stdexcept>

#include "platform/linux/host.h"

namespace EndToEnd {

std::unique_ptr<Daemon> Group::Own(const std::string& applications,
                                   const std::vector<std::string>& environment,
                                   const std::vector<std::string>& options,
                                   const std::string& name) {
    std::vector<std::string> command{
        GRPOWNERD, "--run-dir", Path("run"), "--name", name, "--progress", Configure(applications)};
    command.insert(command.end(), options.begin(), options.end());
    return std::make_unique<Daemon>(command, environment);
}

std::unique_ptr<Daemon> Group::Boot(const std::string& applications,
                                    const std::vector<std::string>& environment,
                                    const std::vector<std::string>& options,
                                    const std::string& name) {
    auto owner = Own(applications, environment, options, name);
    EXPECT_TRUE(owner->Says("Done, ")) << owner->Output();
    return owner;
}

GrpOwnerClient::SsClient Group::Connect() const {
    auto client =
        GrpOwnerClient::SsClient::Connect(GrpOwnerLinux::VirtualFilePath(Path("run"), "own"));
    EXPECT_TRUE(client) << client.GetError().message;
    return std::move(*client);
}

void Group::EndAll(Daemon& owner) {
    owner.Signal(SIGTERM);
    EXPECT_EQ(owner.Wait(), 0) << owner.Output();
    manager_->Signal(SIGTERM);
    EXPECT_EQ(manager_->Wait(), 0);
    const std::string output = manager_->Output();
    const std::regex runs(": runs, pid ([0-9]+)");
    for (std::sregex_iterator run(output.begin(), output.end(), runs), end; run != end; ++run) {
        // Its number may be another process's by now: ours knows our directory.
        std::stringstream environment;
        environment << std::ifstream("/proc/" + (*run)[1].str() + "/environ").rdbuf();
        EXPECT_EQ(environment.str().find(Path("run")), std::string::npos) << (*run)[0];
    }
    EXPECT_TRUE(std::filesystem::is_empty(Path("run")));
}

pid_t PidBehind(const std::string& text, const std::string& before) {
    const size_t place = text.rfind(before);
    if (place == std::string::npos) {
        throw std::runtime_error("nothing begins with \"" + before + "\" in:\n" + text);
    }
    return std::stoi(text.substr(place + before.size()));
}

}  // namespace EndToEnd
