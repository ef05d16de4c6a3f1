#pragma once

#include <functional>

#include "tests/e2e/group.h"

namespace EndToEnd {

/// What a process holds, for a look before and after.
struct Holding {
    size_t descriptors = 0;
    size_t children = 0;
    size_t residentKb = 0;
};
Holding HoldingOf(const Daemon& daemon);

/// Waits for what nobody announces; false after a minute.
bool Eventually(const std::function<bool()>& isSo);

/// A command that has to do with less, by a `ulimit` such as "-n 10".
std::vector<std::string> Limited(const std::string& limit, std::vector<std::string> command);

/// A group in trouble, of which is to be seen that it gets over it.
class Fault : public Group {
protected:
    /// Of all that have run, by the process manager's words.
    std::vector<pid_t> PidsOf(const std::string& owner);

    /// A crash is reported, restarted and told: every way through the group is open.
    static void ExpectThatItLives(Daemon& owner, const std::string& application = "base");

    /// The next owner of this name boots and lives, and at the process manager's end all end.
    void ExpectThatTheNextLives();

    /// All but a little memory has come back.
    static void ExpectNoMore(const Daemon& daemon, const Holding& before);
};

}  // namespace EndToEnd
