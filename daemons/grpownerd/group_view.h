#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/manifest_service.h"

namespace GrpOwnerDaemon {

/// What the host knows of its group: who runs, with which pid. Fed by the owner's notices and by
/// what applications say of themselves, on any thread; writes the progress lines. The mutex guards
/// everything.
class GroupView {
public:
    GroupView(const std::vector<ApplicationManifest>& manifests, bool showProgress);

    /// The configuration has been read again.
    void Learn(const std::vector<ApplicationManifest>& manifests);

    void BootBegins();
    void BootEnds(bool isAllUp);

    /// An application runs. Told twice of the same pid, the second time counts for nothing.
    void Running(const std::string& name, int pid);
    /// The owner knows it too: only now may a start build upon it.
    void Settled(const std::string& name, int pid);
    /// An application has ended; `how` in words. Of another pid than the running one it is old
    /// news: its successor has spoken before the process manager has.
    void Down(const std::string& name, int pid, const std::string& how);
    void Remark(const std::string& name, const std::string& what) const;

    size_t SettledBase() const;
    std::string Status() const;  // counts, for a supervisor

    /// Waits until more base applications run, to the owner's knowledge, than `count`, or until
    /// Stop.
    /// @return false after Stop
    bool WaitForMoreThan(size_t count);
    void Stop();

private:
    struct Application {
        bool IsBase() const { return manifest && manifest->GetIsAutoBoot(); }

        std::optional<ApplicationManifest> manifest;  // none: not in the configuration
        bool isAwaited = false;                       // at the boot
        bool isRunning = false;
        bool isSettled = false;
        int pid = -1;
        int lastPid = -1;
    };

    // What it ran as before, or what it came after; for people.
    static std::string Background(const Application& application);
    enum class Which { kAll, kRunning, kSettled };
    size_t CountLocked(Which which) const;  // of the base applications
    bool AllToldLocked() const;             // whether every base application has run
    void Print(const std::string& mark, const std::string& name, const std::string& text) const;

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::map<std::string, Application> applications_;
    const bool showProgress_;
    const bool isUtf8_;
    size_t nameWidth_ = 0;
    bool isStopped_ = false;
    std::chrono::steady_clock::time_point begin_;
};

}  // namespace GrpOwnerDaemon
