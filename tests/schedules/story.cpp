#include "tests/schedules/story.h"

#include <algorithm>
#include <cstdlib>

#include "platform/memory/memory_platform.h"
#include "src/common/sync_seeded.h"
#include "tests/schedules/requests.h"
#include "tests/support/group.h"

namespace Schedules {

namespace {

using GrpOwnerTest::Group;
using ProcMgr::AppStateType;
using ProcMgr::Milliseconds;
using ProcMgr::ProcMgrGrpOwner;
using Configuration = std::vector<ManifestFields>;

/// Four to eight applications; each may depend on those made before it, whatever their names are.
Configuration MakeConfiguration(Weather weather, Random& random) {
    Names names = {"a", "b", "c", "d", "e", "f", "g", "h"};
    std::shuffle(names.begin(), names.end(), random);
    names.resize(4 + random() % 5);
    Configuration apps;
    for (const std::string& name : names) {
        ManifestFields app;
        app.appName = name;
        app.isAutoBoot = Chance(random, 60);
        app.isDynamicPara = !app.isAutoBoot && Chance(random, 40);
        app.restart = OneOf({"no", "on-failure", "on-forever"}, random);
        app.isReporting = Chance(random, 25);
        for (const ManifestFields& other : apps) {
            // When all is well, the base applications come up by themselves.
            if (Chance(random, 35) &&
                (weather != Weather::kCalm || !app.isAutoBoot || other.isAutoBoot)) {
                app.depends.insert(other.appName);
            }
        }
        apps.push_back(app);
    }
    return apps;
}

/// The same without one of them, or with another policy.
Configuration Vary(Configuration apps, Random& random) {
    const size_t place = random() % apps.size();
    apps[place].restart = OneOf({"no", "on-failure", "on-forever"}, random);
    if (Chance(random, 50)) {
        for (ManifestFields& app : apps) {
            app.depends.erase(apps[place].appName);
        }
        apps.erase(apps.begin() + static_cast<std::ptrdiff_t>(place));
    }
    return apps;
}

Names NamesOf(const Configuration& apps) {
    Names names;
    for (const ManifestFields& app : apps) {
        names.push_back(app.appName);
    }
    return names;
}

/// The world of one seed.
class World {
public:
    World(uint64_t seed, bool isPrinting)
        : random_(seed),
          weather_(OneOf({Weather::kCalm, Weather::kHonest, Weather::kStormy}, random_)),
          apps_(MakeConfiguration(weather_, random_)),
          names_(NamesOf(apps_)),
          watch_(isPrinting) {
        GrpOwnerMemory::SetLogHook(
            [this](const GrpOwnerMemory::LogLine& line) { watch_.Line(line.text); });
        GrpOwnerMemory::SetConfiguration(apps_);
        setenv("STARTUP_ENTRY_PATH", "/dev/null", 1);
        setenv("PROC_NAME", "owner", 1);
    }

    uint64_t Run();

private:
    ProcMgrGrpOwner& MakeOwner();
    void Boot(ProcMgrGrpOwner& owner);
    void Manage(uint64_t seed, bool mayChange);
    void Meddle(ProcMgrGrpOwner& owner, uint64_t seed);
    void CheckAgreement();
    void CheckAllCanMove();

    Random random_;
    const Weather weather_;
    const Configuration apps_;
    const Names names_;
    Watch watch_;
    std::unique_ptr<ProcessManager> manager_;
};

ProcMgrGrpOwner& World::MakeOwner() {
    ProcMgrGrpOwner& owner = ProcMgrGrpOwner::GetInstance();
    ProcMgr::GrpOwnerCfg config;
    config.ssResFileName = GrpOwnerTest::kRequestFile;
    config.enableSsServer = true;
    (void)owner.GrpOwnerConfig(config);  // always 0
    (void)owner.SubscribeAppState([this](const std::string& name, int, auto state) {
        watch_.Notice(name, state);
        return true;
    });  // always 0
    Check(owner.GrpOwnerEnable() == 0, "cannot enable the owner");
    return owner;
}

void World::Boot(ProcMgrGrpOwner& owner) {
    const auto begin = ProcMgr::Now();
    const bool isUp = owner.StartAutoStartApp();
    const Milliseconds bound(weather_ == Weather::kCalm ? 2500 : 4500);
    Check(ProcMgr::Now() - begin <= bound + manager_->BusyTime(), "the base start was held up");
    Check(isUp || weather_ != Weather::kCalm, "the base start failed");
}

/// A system-state manager; in calm weather the first one alone changes something.
void World::Manage(uint64_t seed, bool mayChange) {
    Random random(seed);
    Requester requester(names_, weather_, seed, *manager_, watch_);
    for (auto left = 2 + random() % 4; left > 0; --left) {
        ProcMgr::Sleep(Milliseconds(OneOf({0, 0, 1, 300, 2000}, random)));
        mayChange ? requester.AskAnything() : requester.AskOnly();
    }
}

/// Mishaps, and a host that restarts applications, changes the configuration and connects again.
void World::Meddle(ProcMgrGrpOwner& owner, uint64_t seed) {
    Random random(seed);
    for (auto left = random() % 8; left > 0; --left) {
        ProcMgr::Sleep(Milliseconds(OneOf({0, 1, 20, 500, 3000}, random)));
        switch (random() % 6) {
            case 0:
                (void)owner.GrpOwnerRestartApp(OneOf(names_, random));  // always 0
                break;
            case 1:
                GrpOwnerMemory::SetConfiguration(Vary(apps_, random));
                break;
            case 2:
                (void)owner.GrpOwnerEnable();  // fails while the process manager is away
                break;
            default:
                manager_->Mishap();
        }
    }
}

// When every report was true and all of them have come, owner and process manager agree.
void World::CheckAgreement() {
    for (const std::string& name : names_) {
        const auto application = Group::Find(name);
        Check(watch_.HasCrossed(name) ||
                  (application != nullptr && application->IsAppRunning()) == manager_->Runs(name),
              name + " runs for one of owner and process manager only");
    }
}

void World::CheckAllCanMove() {
    GrpOwnerMemory::SetConfiguration(apps_);
    Requester requester(names_, Weather::kCalm, 1, *manager_, watch_);
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
    const auto begin = ProcMgr::Now();
    Check(requester.Change(names_, names_, {}, 5000).empty(), "not all can start anew");
    Check(ProcMgr::Now() - begin < Milliseconds(2500), "the last change set was held up");
    requester.Query(names_);
    CheckAgreement();
}

uint64_t World::Run() {
    ProcMgr::Seeded::Options options;
    options.seed = random_();
    options.wakeUps = OneOf({0U, 0U, 3U}, random_);
    options.noThread = OneOf({0U, 0U, 50U}, random_);
    const ProcMgr::Seeded::Run run(options);
    ProcMgrGrpOwner& owner = MakeOwner();
    manager_ = std::make_unique<ProcessManager>(weather_, random_(), watch_);
    for (const ManifestFields& app : apps_) {
        manager_->Know(app);
    }
    {
        std::vector<ProcMgr::AsyncTask> threads;
        if (weather_ == Weather::kCalm) {
            Boot(owner);
        } else {
            threads.push_back(ProcMgr::Seeded::Begin("boot", [&] { Boot(owner); }));
            threads.push_back(ProcMgr::Seeded::Begin(
                "host", [this, &owner, seed = random_()] { Meddle(owner, seed); }));
        }
        for (auto number = 2 + random_() % 2; number > 0; --number) {
            const bool mayChange = weather_ != Weather::kCalm || number == 1;
            threads.push_back(ProcMgr::Seeded::Begin(
                "ss" + std::to_string(number),
                [this, mayChange, seed = random_()] { Manage(seed, mayChange); }));
        }
    }
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

uint64_t Tell(uint64_t seed, bool isPrinting) {
    return World(seed, isPrinting).Run();
}

}  // namespace Schedules
