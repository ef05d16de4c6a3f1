#include "daemons/grpownerd/group_view.h"

#include <langinfo.h>
#include <locale.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace GrpOwnerDaemon {

namespace {

constexpr std::chrono::seconds kLastNotices{2};

std::string Seconds(std::chrono::steady_clock::duration duration) {
    char text[32];
    std::snprintf(text, sizeof(text), "+%.3fs", std::chrono::duration<double>(duration).count());
    return text;
}

// Of the environment's language no more is wanted than this, so it is not kept.
bool IsUtf8() {
    const locale_t language = newlocale(LC_CTYPE_MASK, "", nullptr);
    if (language == nullptr) {
        return false;
    }
    const bool isUtf8 = std::strcmp(nl_langinfo_l(CODESET, language), "UTF-8") == 0;
    freelocale(language);
    return isUtf8;
}

}  // namespace

GroupView::GroupView(const std::vector<ApplicationManifest>& manifests, bool showProgress)
    : showProgress_(showProgress), isUtf8_(IsUtf8()), begin_(std::chrono::steady_clock::now()) {
    Learn(manifests);
    for (auto& [name, application] : applications_) {
        application.isAwaited = application.IsBase();
    }
}

void GroupView::Learn(const std::vector<ApplicationManifest>& manifests) {
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto& [name, application] : applications_) {
        application.manifest.reset();  // unless it is still among them
    }
    for (const ApplicationManifest& manifest : manifests) {
        applications_[manifest.GetAppName()].manifest = manifest;
        nameWidth_ = std::max(nameWidth_, manifest.GetAppName().size());
    }
}

void GroupView::BootBegins() {
    std::lock_guard<std::mutex> lock(mutex_);
    begin_ = std::chrono::steady_clock::now();
    if (showProgress_) {
        std::printf("[+] Starting %zu base applications\n", CountLocked(Which::kAll));
        std::fflush(stdout);
    }
}

void GroupView::BootEnds(bool isAllUp) {
    std::unique_lock<std::mutex> lock(mutex_);
    // The owner counts an application before it tells of it: the last notices are still on their
    // way when its start has returned.
    // Not for ever: a configuration that is read again meanwhile may have brought one that nobody
    // has started yet.
    (void)changed_.wait_for(lock, kLastNotices,
                            [this, isAllUp] { return isStopped_ || !isAllUp || AllToldLocked(); });
    if (showProgress_) {
        std::printf("%s %zu of %zu base applications run  %s\n",
                    isAllUp ? "[+] Done," : "[!] Not all started:", CountLocked(Which::kRunning),
                    CountLocked(Which::kAll),
                    Seconds(std::chrono::steady_clock::now() - begin_).c_str());
        std::fflush(stdout);
    }
}

void GroupView::Print(const std::string& mark, const std::string& name,
                      const std::string& text) const {
    if (!showProgress_) {
        return;
    }
    const std::string shown =
        isUtf8_ ? (mark == "ok" ? "✔" : "✘") : (mark == "ok" ? "[ok]" : "[!!]");
    std::printf(" %s %-*s  %-46s %s\n", shown.c_str(), static_cast<int>(nameWidth_), name.c_str(),
                text.c_str(), Seconds(std::chrono::steady_clock::now() - begin_).c_str());
    std::fflush(stdout);
}

std::string GroupView::Background(const Application& application) {
    if (application.lastPid > 0) {
        return "was " + std::to_string(application.lastPid);
    }
    std::string text;
    if (application.manifest) {
        for (const std::string& dependency : application.manifest->GetDependList()) {
            text += (text.empty() ? "after " : ", ") + dependency;
        }
    }
    return text;
}

void GroupView::Running(const std::string& name, int pid) {
    std::lock_guard<std::mutex> lock(mutex_);
    Application& application = applications_[name];
    if (application.isRunning && application.pid == pid) {
        return;
    }
    if (showProgress_) {
        Print("ok", name, "running   pid " + std::to_string(pid) + "   " + Background(application));
    }
    application.isRunning = true;
    application.isSettled = false;
    application.pid = pid;
    application.lastPid = pid;
    changed_.notify_all();
}

void GroupView::Settled(const std::string& name, int pid) {
    std::lock_guard<std::mutex> lock(mutex_);
    Application& application = applications_[name];
    if (application.isRunning && application.pid == pid) {
        application.isSettled = true;
        changed_.notify_all();
    }
}

void GroupView::Down(const std::string& name, int pid, const std::string& how) {
    std::lock_guard<std::mutex> lock(mutex_);
    Application& application = applications_[name];
    if (!application.isRunning || application.pid != pid) {
        return;
    }
    application.isRunning = false;
    application.isSettled = false;
    application.pid = -1;
    Print("down", name, how + "   pid " + std::to_string(pid));
}

void GroupView::Remark(const std::string& name, const std::string& what) const {
    std::lock_guard<std::mutex> lock(mutex_);
    Print("remark", name, what);
}

size_t GroupView::CountLocked(Which which) const {
    return static_cast<size_t>(
        std::count_if(applications_.begin(), applications_.end(), [which](const auto& entry) {
            const Application& application = entry.second;
            return application.IsBase() && (which != Which::kRunning || application.isRunning) &&
                   (which != Which::kSettled || application.isSettled);
        }));
}

bool GroupView::AllToldLocked() const {
    return std::all_of(applications_.begin(), applications_.end(), [](const auto& entry) {
        return !entry.second.isAwaited || entry.second.lastPid > 0;
    });
}

size_t GroupView::SettledBase() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return CountLocked(Which::kSettled);
}

std::string GroupView::Status() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return std::to_string(CountLocked(Which::kRunning)) + " of " +
           std::to_string(CountLocked(Which::kAll)) + " base applications run";
}

bool GroupView::WaitForMoreThan(size_t count) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock,
                  [this, count] { return isStopped_ || CountLocked(Which::kSettled) > count; });
    return !isStopped_;
}

void GroupView::Stop() {
    std::lock_guard<std::mutex> lock(mutex_);
    isStopped_ = true;
    changed_.notify_all();
}

}  // namespace GrpOwnerDaemon
