// Everything that a seed makes happen, in a process that has not had an owner yet.

#include <algorithm>
#include <cstdlib>

#include "platform/memory/memory_platform.h"
#include "src/common/sync_seeded.h"
#include "tests/schedules/requester.h"
#include "tests/support/group.h"

namespace Schedules {

namespace {

using ProcMgr::ProcMgrGrpOwner;
using ProcMgr::Seeded::Begin;
using Configuration = std::vector<ManifestFields>;

constexpr const char* kPolicies[] = {"no", "on-failure", "on-forever"};

/// Four to eight applications; each may depend on those made before it, whatever their names are.
/// Base applications depend on base applications, so that in calm weather all of them come up.
Configuration MakeConfiguration(Random& random) {
    Names names = {"a", "b", "c", "d", "e", "f", "g", "h"};
    std::shuffle(names.begin(), names.end(), random);
    names.resize(4 + random() % 5);
    Configuration apps;
    for (const std::string& name : names) {
        ManifestFields app;
        app.appName = name;
        app.isAutoBoot = Chance(random, 60);
        app.isDynamicPara = !app.isAutoBoot && Chance(random, 40);
        app.restart = OneOf(kPolicies, random);
        app.isReporting = Chance(random, 25);
        for (const ManifestFields& other : apps) {
            if (Chance(random, 35) && (!app.isAutoBoot || other.isAutoBoot)) {
                app.depends.insert(other.appName);
            }
        }
        apps.push_back(app);
    }
    return apps;
}

/// The same without one of them, or with another policy.
Configuration Vary(Configuration apps, Random& random) {
    const auto app = apps.begin() + static_cast<std::ptrdiff_t>(random() % apps.size());
    app->restart = OneOf(kPolicies, random);
    if (Chance(random, 50)) {
        std::for_each(apps.begin(), apps.end(),
                      [name = app->appName](ManifestFields& other) { other.depends.erase(name); });
        apps.erase(app);
    }
    return apps;
}

class World {
public:
    World(uint64_t seed, bool isPrinting)
        : random_(seed),
          weather_(static_cast<Weather>(random_() % 3)),
          apps_(MakeConfiguration(random_)),
          watch_(isPrinting) {
        for (const ManifestFields& app : apps_) {
            names_.push_back(app.appName);
        }
        GrpOwnerMemory::SetLogHook([this](const auto& line) { watch_.Line(line.text); });
        GrpOwnerMemory::SetConfiguration(apps_);
        setenv("STARTUP_ENTRY_PATH", "/dev/null", 1);
        setenv("PROC_NAME", "owner", 1);
    }

    uint64_t Run();

private:
    void Connect();
    void Boot();
    void StartWhatDrives();
    void LiveOn();
    void Manage(uint64_t seed, bool mayChange);
    void Meddle(uint64_t seed);
    void CheckAgreement();
    void CheckAllCanMove();

    Random random_;
    const Weather weather_;
    const Configuration apps_;
    Names names_;
    Watch watch_;
    ProcMgrGrpOwner* owner_ = nullptr;
    std::unique_ptr<ProcessManager> manager_;
};

void World::Connect() {
    owner_ = &ProcMgrGrpOwner::GetInstance();
    ProcMgr::GrpOwnerCfg config;
    config.ssResFileName = GrpOwnerTest::kRequestFile;
    config.enableSsServer = true;
    (void)owner_->GrpOwnerConfig(config);  // always 0
    (void)owner_->SubscribeAppState([this](const std::string& name, int, auto state) {
        watch_.Notice(name + " " + std::to_string(static_cast<uint32_t>(state)));
        return true;
    });  // always 0
    Check(owner_->GrpOwnerEnable() == 0, "cannot enable the owner");
    manager_ = std::make_unique<ProcessManager>(weather_, random_(), watch_);
    for (const ManifestFields& app : apps_) {
        manager_->Know(app.appName, app.isReporting);
    }
}

void World::Boot() {
    const auto begin = ProcMgr::Now();
    const bool isUp = owner_->StartAutoStartApp();
    const Milliseconds bound(weather_ == Weather::kCalm ? 2500 : 4500);
    Check(ProcMgr::Now() - begin <= bound + manager_->BusyTime(), "the base start was held up");
    Check(isUp || weather_ != Weather::kCalm, "the base start failed");
}

void World::Manage(uint64_t seed, bool mayChange) {
    constexpr int kPauses[] = {0, 0, 1, 300, 2000};
    Random random(seed);
    Requester requester(names_, weather_, seed, *manager_, watch_);
    for (auto left = 2 + random() % 4; left > 0; --left) {
        ProcMgr::Sleep(Milliseconds(OneOf(kPauses, random)));
        mayChange ? requester.AskAnything() : requester.AskOnly();
    }
}

/// Mishaps, and a host that restarts applications, changes the configuration and connects again.
void World::Meddle(uint64_t seed) {
    constexpr int kPauses[] = {0, 1, 20, 500, 3000};
    Random random(seed);
    for (auto left = random() % 8; left > 0; --left) {
        ProcMgr::Sleep(Milliseconds(OneOf(kPauses, random)));
        switch (random() % 6) {
            case 0:
                (void)owner_->GrpOwnerRestartApp(OneOf(names_, random));  // always 0
                break;
            case 1:
                GrpOwnerMemory::SetConfiguration(Vary(apps_, random));
                break;
            case 2:
                (void)owner_->GrpOwnerEnable();  // fails while the process manager is away
                break;
            default:
                manager_->Mishap();
        }
    }
}

// While what it depends on is coming up. What is not even asked for yet makes it fail.
void World::StartWhatDrives() {
    Names driving;
    for (const ManifestFields& app : apps_) {
        if (!app.isAutoBoot) {
            driving.push_back(app.appName);
        }
    }
    ProcMgr::Sleep(Milliseconds(random_() % 30));
    (void)Requester(names_, weather_, 1, *manager_, watch_).Change({}, driving, {}, 5000);
}

void World::LiveOn() {
    std::vector<ProcMgr::Seeded::RunningThread> threads;
    threads.push_back(Begin("boot", [this] { Boot(); }));
    if (weather_ == Weather::kCalm) {
        StartWhatDrives();
        threads.clear();  // the boot's end
    } else {
        threads.push_back(Begin("host", [this, seed = random_()] { Meddle(seed); }));
    }
    for (auto number = 2 + random_() % 2; number > 0; --number) {
        const bool mayChange = weather_ != Weather::kCalm || number == 1;
        threads.push_back(Begin("ss" + std::to_string(number),
                                [this, mayChange, seed = random_()] { Manage(seed, mayChange); }));
    }
}

// When every report was true and all of them have come, owner and process manager agree.
void World::CheckAgreement() {
    for (const std::string& name : names_) {
        const auto application = GrpOwnerTest::Group::Find(name);
        const bool runs = application != nullptr && application->IsAppRunning();
        Check(runs == manager_->Runs(name) || watch_.HasCrossed(name),
              name + " runs for one of owner and process manager only");
    }
}

void World::CheckAllCanMove() {
    GrpOwnerMemory::SetConfiguration(apps_);
    Requester requester(names_, Weather::kHonest, 1, *manager_, watch_);
    Check(requester.Reload(), "a reload is refused though nothing is in progress");
    // Owner and process manager may hold different things for true: what then runs without having
    // said so has to be terminated first.
    Names left = names_;
    for (int pass = 1; pass <= 3 && !left.empty(); ++pass) {
        left = requester.Change(left, names_, {}, 5000);
        ProcMgr::Sleep(Milliseconds(1500));
    }
    Check(left.empty(), left.empty() ? "" : left[0] + " cannot be moved");
    CheckAgreement();
    Requester last(names_, Weather::kCalm, 1, *manager_, watch_);
    Check(last.Change(names_, names_, names_, 5000).empty(), "not all can start anew");
    last.Query();
    CheckAgreement();
}

uint64_t World::Run() {
    ProcMgr::Seeded::Options options;
    options.seed = random_();
    options.wakeUps = Chance(random_, 30) ? 10 : 0;
    const ProcMgr::Seeded::Run run(options);
    Connect();
    LiveOn();
    manager_->CalmDown();
    ProcMgr::Sleep(std::chrono::seconds(60));  // for what is late
    if (weather_ != Weather::kStormy) {
        CheckAgreement();
    }
    CheckAllCanMove();
    manager_.reset();
    return watch_.Digest();
}

}  // namespace

uint64_t TellStory(uint64_t seed, bool isPrinting) {
    return World(seed, isPrinting).Run();
}

}  // namespace Schedules
