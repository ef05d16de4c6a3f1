#include "tests/e2e/group.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>

namespace EndToEnd {

namespace fs = std::filesystem;

Group::Group() {
    std::string pattern = fs::temp_directory_path() / "grpowner_e2e.XXXXXX";
    directory_ = mkdtemp(pattern.data());
    fs::create_directory(Path("run"));
}

Group::~Group() {
    manager_.reset();
    fs::remove_all(directory_);
}

void Group::Manage(std::vector<std::string> options) {
    options.insert(options.begin(), {PROCMGRD, "--run-dir", Path("run"), "--capture", "0"});
    manager_ = std::make_unique<Daemon>(options);
    ASSERT_TRUE(manager_->Says("procmgrd: ready on ")) << manager_->Output();
}

std::string Group::Write(const std::string& name, const std::string& text) const {
    std::ofstream(Path(name)) << text;
    return Path(name);
}

std::unique_ptr<Daemon> Group::Own(const std::string& applications,
                                   const std::vector<std::string>& environment) {
    const std::string path =
        Write("group.yaml", "version: 1\ndefaults: {restart: on-failure}\napplications:\n" +
                                std::regex_replace(applications, std::regex("\\bprobe\\b"), PROBE));
    return std::make_unique<Daemon>(std::vector<std::string>{GRPOWNERD, "--run-dir", Path("run"),
                                                             "--name", "own", "--progress", path},
                                    environment);
}

void Group::EndAll(Daemon& owner) {
    owner.Signal(SIGTERM);
    EXPECT_EQ(owner.Wait(), 0) << owner.Output();
    manager_->Signal(SIGTERM);
    EXPECT_EQ(manager_->Wait(), 0);
    const std::string output = manager_->Output();
    const std::regex runs(": runs, pid ([0-9]+)");
    for (std::sregex_iterator run(output.begin(), output.end(), runs), end; run != end; ++run) {
        EXPECT_TRUE(kill(std::stoi((*run)[1]), 0) < 0 && errno == ESRCH) << (*run)[0];
    }
    EXPECT_TRUE(fs::is_empty(Path("run")));
}

pid_t PidBehind(const std::string& text, const std::string& before) {
    const size_t place = text.rfind(before);
    return place == std::string::npos ? 0 : std::atoi(text.c_str() + place + before.size());
}

}  // namespace EndToEnd
