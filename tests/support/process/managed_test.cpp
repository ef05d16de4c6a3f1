#include "tests/support/process/managed_test.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>

namespace ProcessTest {

namespace fs = std::filesystem;

ManagedTest::ManagedTest() {
    std::string pattern = fs::temp_directory_path() / "grpowner_test.XXXXXX";
    directory_ = mkdtemp(pattern.data());
    fs::permissions(directory_, fs::perms(0755));  // some tests become other users
    fs::create_directory(Path("run"));
}

ManagedTest::~ManagedTest() {
    manager_.reset();
    fs::remove_all(directory_);
}

void ManagedTest::Manage(std::vector<std::string> options, std::vector<std::string> environment) {
    if (std::find(options.begin(), options.end(), "--capture") == options.end()) {
        options.insert(options.end(), {"--capture", "0"});
    }
    options.insert(options.begin(), {PROCMGRD, "--run-dir", Path("run")});
    manager_.reset();
    manager_ = std::make_unique<Daemon>(options, environment);
    ASSERT_TRUE(manager_->Says("procmgrd: ready on ")) << manager_->Output();
}

std::string ManagedTest::Configure(const std::string& applications) const {
    return Write("group.yaml",
                 "version: 1\ndefaults: {restart: on-failure}\napplications:\n" +
                     std::regex_replace(applications, std::regex("\\bprobe\\b"), PROBE));
}

std::string ManagedTest::Write(const std::string& name, const std::string& text) const {
    std::ofstream(Path(name)) << text;
    return Path(name);
}

bool HasInOrder(const std::string& text, const std::vector<std::string>& parts) {
    size_t place = 0;
    for (const std::string& part : parts) {
        place = text.find(part, place);
        if (place == std::string::npos) {
            return false;
        }
    }
    return true;
}

}  // namespace ProcessTest
