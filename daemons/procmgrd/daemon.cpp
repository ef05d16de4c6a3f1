#include "daemons/procmgrd/daemon.h"

#include <malloc.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <system_error>

#include "daemons/procmgrd/log.h"
#include "daemons/procmgrd/peer.h"
#include "platform/linux/host.h"
#include "platform/linux/observer_path.h"

namespace ProcMgrDaemon {

namespace {

constexpr char kProcessName[] = "PROCMGR";  // by which owners find us
constexpr ServerSocketKind kOwnersSocket{SOCK_SEQPACKET, 0660, "owners",
                                         [](int socket) { Connection::Refuse(socket, -EMFILE); }};
constexpr int kLeftAtOnce = 130;
constexpr std::chrono::milliseconds kStatusPause{100};

Daemons::UniqueFd TakeSignals() {
    sigset_t set;
    sigemptyset(&set);
    for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGUSR2, SIGCHLD}) {
        sigaddset(&set, number);
    }
    (void)sigprocmask(SIG_BLOCK, &set, nullptr);
    (void)signal(SIGPIPE, SIG_IGN);
    (void)signal(SIGXFSZ, SIG_IGN);  // a log file that may not grow must not end the group
    const int signals = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
    if (signals < 0) {
        throw std::system_error(errno, std::generic_category(), "signalfd");
    }
    return Daemons::UniqueFd(signals);
}

// Whoever connects must not take the descriptors that applications start with.
size_t MostConnections() {
    rlimit limit{};
    (void)getrlimit(RLIMIT_NOFILE, &limit);  // cannot fail
    return std::max<size_t>(limit.rlim_cur / 4, 1);
}

}  // namespace

Daemon::Daemon(const Options& options, const std::string& runDirectory)
    : options_(options),
      signals_(TakeSignals()),
      mostConnections_(MostConnections()),
      faults_(options.faults),
      journal_(options.capture.totalBytes),
      workplace_{loop_,    children_, {runDirectory, options.passedVariables}, outputs_, spawner_,
                 journal_, {}} {
    loop_.Watch(signals_.Get(), EPOLLIN, [this](uint32_t) { OnSignals(); });
    loop_.SetRoundEnd([this] { OnRoundEnd(); });
    const std::string path = GrpOwnerLinux::PipePath(runDirectory, kProcessName);
    lock_.emplace(path + ".lock", "another process manager serves " + path +
                                      "; stop it, or choose another directory with --run-dir");
    server_ = std::make_unique<ServerSocket>(
        loop_, path, kOwnersSocket, options.group,
        [this](Daemons::UniqueFd socket) { OnAccepted(std::move(socket)); });
    try {
        observers_.emplace(loop_, *this, journal_,
                           GrpOwnerLinux::ObserverPath(runDirectory, kProcessName), options_);
    } catch (const std::runtime_error& error) {
        LogWarning(std::string("nobody can observe: ") + error.what());  // all else goes on
    }
}

Daemon::~Daemon() = default;

int Daemon::Run() {
    // To stderr whatever is logged: scripts wait for this line.
    LogAlways("ready on " +
              GrpOwnerLinux::PipePath(workplace_.surroundings.runDirectory, kProcessName));
    supervisor_.TellPatiently("READY=1\nSTATUS=ready");
    BeatWatchdog();
    loop_.Run();
    return 0;
}

void Daemon::OnAccepted(Daemons::UniqueFd socket) {
    const std::optional<Peer> peer = PeerOf(socket.Get());
    if (connections_.size() >= mostConnections_) {
        LogWarning(std::to_string(mostConnections_) + " connections are open; one more of pid " +
                   std::to_string(peer ? peer->pid : 0) + " is refused");
        Connection::Refuse(socket.Get(), -EMFILE);
    } else if (peer) {
        connections_.push_back(
            std::make_unique<Connection>(loop_, *this, std::move(socket), *peer));
    }
}

int32_t Daemon::OnHello(Connection& connection) {
    if (!MayOwn(connection.Socket(), connection.GetPeer(), options_.group)) {
        LogWarning(connection.Owner() + ": user " + std::to_string(connection.GetPeer().uid) +
                   " may not own applications here; only root, the process manager's own user" +
                   " and members of its --group may");
        return -EACCES;
    }
    if (shuttingDown_) {
        return -ESHUTDOWN;
    }
    Owned& owned = owned_[connection.Owner()];
    if (!owned.group) {
        owned.group = std::make_unique<Group>(
            workplace_, faults_, connection.Owner(), [&owned](const Application& application) {
                if (owned.connection != nullptr) {
                    const bool isDown = application.GetState() == Application::State::kDown;
                    owned.connection->TellProcess(
                        application.Pid(), application.Begun(),
                        isDown ? std::string_view() : std::string_view(application.Name()));
                }
            });
    }
    if (owned.grace) {
        loop_.Cancel(*owned.grace);
        owned.grace.reset();
    }
    if (owned.connection != nullptr) {
        owned.connection->SetReports(nullptr);
    }
    owned.group->Keep();
    owned.connection = &connection;
    owned.user = connection.GetPeer().uid;
    connection.SetReports(&owned.group->Reports());
    LogInfo(connection.Owner() + ": owned by pid " + std::to_string(connection.GetPeer().pid));
    return 0;
}

std::optional<uid_t> Daemon::UserOf(const std::string& owner) const {
    const auto found = owned_.find(owner);
    return found == owned_.end() ? std::nullopt : std::optional(found->second.user);
}

bool Daemon::OwnsAny(uid_t user) const {
    return std::any_of(owned_.begin(), owned_.end(),
                       [user](const auto& entry) { return entry.second.user == user; });
}

bool Daemon::HasApplication(const std::string& owner, const std::string& name) const {
    const auto found = owned_.find(owner);
    return found != owned_.end() && found->second.group->Has(name);
}

void Daemon::OnWelcomed(Connection& connection) {
    owned_.at(connection.Owner()).group->TellProcesses();
}

Daemon::Owned* Daemon::OwnedBy(const Connection& connection) {
    const auto found = owned_.find(connection.Owner());
    return found != owned_.end() && found->second.connection == &connection ? &found->second
                                                                            : nullptr;
}

void Daemon::OnRecord(Connection& connection, const Record& record) {
    ++faults_.recordsSeen;
    if (faults_.recordsSeen == faults_.dieAtRecord) {
        DieNow();
    }
    if (faults_.recordsSeen == faults_.stopReadingAfter) {
        connection.StopReading();
    }
    Owned* const owned = OwnedBy(connection);
    if (owned == nullptr) {
        LogWarning(connection.Owner() + ": a request on a pipe that a newer one has replaced");
        return;
    }
    if (!Dispatch(*owned->group, connection, record)) {
        LogError(connection.Owner() + ": a record of type " + std::to_string(record.type) +
                 " is malformed and ignored");
    }
}

bool Daemon::Dispatch(Group& group, Connection& connection, const Record& record) {
    const std::string_view payload = record.Payload();
    const auto with = [](auto decoded, auto act) {
        if (decoded) {
            act(*decoded);
        }
        return decoded.has_value();
    };
    switch (static_cast<RecordType>(record.type)) {
        case RecordType::kStart:
            return with(DecodeLaunches(payload), [&](auto& requests) { group.Start(requests); });
        case RecordType::kRestart:
            return with(DecodeLaunches(payload), [&](auto& requests) { group.Restart(requests); });
        case RecordType::kTerminate:
            return with(DecodeTerminations(payload), [&](auto& names) { group.Terminate(names); });
        case RecordType::kBaseState:
            return with(DecodeBaseState(payload), [&](uint32_t state) {
                LogInfo(group.Owner() + ": reports base-service state " + std::to_string(state));
            });
        case RecordType::kExecution:
            return with(DecodeExecution(payload), [&](const ExecutionReport& report) {
                LogInfo(group.Owner() + "/" + report.name + ": reports execution " +
                        std::to_string(report.numbers[0]) + ", " +
                        std::to_string(report.numbers[1]) + ", " +
                        std::to_string(report.numbers[2]));
            });
        case RecordType::kQuery:
            return with(DecodeQuery(payload),
                        [&](auto& names) { AnswerQuery(group, connection, names); });
        default:
            return false;
    }
}

void Daemon::AnswerQuery(Group& group, Connection& connection,
                         const std::vector<std::string>& names) {
    for (const Record& answer : EncodeStates(group.Query(names))) {
        connection.QueueRecord(answer);
    }
}

int32_t Daemon::OnCall(Connection& connection, const Record& record) {
    Owned* const owned = OwnedBy(connection);
    if (owned == nullptr) {
        return -ESTALE;
    }
    const auto type = static_cast<RecordType>(record.type);
    if (type != RecordType::kLoad && type != RecordType::kReload) {
        return -ENOSYS;
    }
    return LoadConfigurationOf(*owned->group, record);
}

int32_t Daemon::LoadConfigurationOf(Group& group, const Record& record) {
    const auto request = DecodeConfiguration(record.Payload());
    if (!request) {
        LogError(group.Owner() + ": a malformed request to load a configuration");
        return -EBADMSG;
    }
    workplace_.accounts.Forget();
    const auto configuration = GrpOwnerLinux::LoadConfiguration(request->path, request->matchData);
    if (!configuration.diagnostics.empty()) {
        Log(configuration.Ok() ? LogLevel::kWarning : LogLevel::kError,
            group.Owner() + ": findings in its configuration:\n" +
                GrpOwnerLinux::RenderDiagnostics(configuration.diagnostics));
    }
    if (!configuration.Ok()) {
        return -EINVAL;
    }
    group.Configure(configuration.manifests);
    (void)malloc_trim(0);  // what reading took
    LogInfo(group.Owner() + ": " + std::to_string(configuration.manifests.size()) +
            " applications by " + request->path);
    return 0;
}

void Daemon::OnClosed(Connection& connection) {
    if (Owned* const owned = OwnedBy(connection)) {
        LoseOwner(*owned);
    }
}

void Daemon::LoseOwner(Owned& owned) {
    owned.connection = nullptr;
    owned.grace = loop_.After(options_.ownerGrace, [&owned] {
        owned.grace.reset();
        if (owned.group->IsAlive()) {
            LogWarning(owned.group->Owner() + ": its owner did not come back; its group is ended");
        }
        owned.group->End();
    });
}

void Daemon::OnSignals() {
    signalfd_siginfo info{};
    bool children = false;
    while (read(signals_.Get(), &info, sizeof(info)) == sizeof(info)) {
        if (info.ssi_signo == SIGCHLD) {
            children = true;  // one of them may stand for many
        } else {
            OnSignal(static_cast<int>(info.ssi_signo));
        }
    }
    if (children) {
        children_.OnSignal();
    }
}

void Daemon::OnSignal(int number) {
    switch (number) {
        case SIGHUP:
            for (const auto& [name, owned] : owned_) {
                owned.group->ReopenLogFiles();
            }
            break;
        case SIGUSR2:
            for (const auto& [name, owned] : owned_) {
                LogAlways(owned.group->Dump());
            }
            break;
        default:
            BeginShutdown();
            break;
    }
}

void Daemon::BeginShutdown() {
    if (shuttingDown_) {
        LogWarning("left at once; what still runs is killed");
        server_.reset();  // no socket is left behind
        observers_.reset();
        lock_.reset();
        _exit(kLeftAtOnce);
    }
    shuttingDown_ = true;
    LogInfo("ending all groups");
    supervisor_.TellPatiently("STOPPING=1");
    server_->StopAccepting();
    for (auto& [name, owned] : owned_) {
        owned.group->End();
    }
}

void Daemon::OnRoundEnd() {
    // By index: a connection that closes leaves the list only afterwards.
    for (size_t i = 0; i < connections_.size(); ++i) {
        connections_[i]->Flush();
    }
    connections_.erase(
        std::remove_if(connections_.begin(), connections_.end(),
                       [](const auto& connection) { return connection->IsClosed(); }),
        connections_.end());
    ForgetEnded();
    if (observers_) {
        observers_->Pump();
    }
    if (supervisor_.IsThere()) {
        TellStatusSoon();
    }
    const auto alive = [](const auto& entry) { return entry.second.group->IsAlive(); };
    if (shuttingDown_ && std::none_of(owned_.begin(), owned_.end(), alive)) {
        loop_.Stop();
    }
}

void Daemon::ForgetEnded() {
    for (auto entry = owned_.begin(); entry != owned_.end();) {
        const Owned& owned = entry->second;
        const bool ended = owned.connection == nullptr && !owned.grace && !owned.group->IsAlive();
        entry = ended ? owned_.erase(entry) : std::next(entry);
    }
}

// Counting takes a look at every application: once for many of them, not at each start and end.
void Daemon::TellStatusSoon() {
    std::pair<size_t, uint64_t> now{owned_.size(), 0};
    for (const auto& [name, owned] : owned_) {
        now.second += owned.group->Reports().Pushed();
    }
    if (now != statusOf_ && !statusTimer_) {
        statusOf_ = now;
        statusTimer_ = loop_.After(kStatusPause, [this] {
            statusTimer_.reset();
            TellStatus();
        });
    }
}

void Daemon::TellStatus() {
    size_t running = 0;
    for (const auto& [name, owned] : owned_) {
        running += owned.group->AliveCount();
    }
    std::string status = "STATUS=" + std::to_string(owned_.size()) + " owners, " +
                         std::to_string(running) + " applications up";
    if (status == status_) {
        return;
    }
    if (supervisor_.Tell(status)) {
        status_ = std::move(status);
    } else {
        statusOf_.reset();  // nobody has heard it: once more, soon
    }
}

void Daemon::BeatWatchdog() {
    if (supervisor_.WatchdogInterval().count() > 0) {
        supervisor_.Tell("WATCHDOG=1");
        (void)loop_.After(supervisor_.WatchdogInterval(), [this] { BeatWatchdog(); });
    }
}

}  // namespace ProcMgrDaemon
