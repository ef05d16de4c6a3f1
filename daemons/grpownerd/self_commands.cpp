#include "daemons/grpownerd/self_commands.h"

#include <unistd.h>

#include <chrono>
#include <thread>

namespace GrpOwnerDaemon {

namespace {

using GrpOwnerClient::Error;
using GrpOwnerClient::ErrorKind;
using GrpOwnerClient::Result;
using GrpOwnerClient::SsClient;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

// Each refusal in between is a line in the owner's log.
constexpr milliseconds kPause{250};
constexpr milliseconds kPatience{20000};
constexpr milliseconds kShortest{1};

std::string Outcome(const Result<bool>& result, const std::string& refusal) {
    if (!result) {
        return result.GetError().message;
    }
    return *result ? "" : refusal;
}

// A change set of nothing is refused for as long as another runs.
void AwaitChange(SsClient& client) {
    const auto deadline = steady_clock::now() + kPatience;
    for (auto answer = client.ChangeApps({}, kShortest);
         answer && !answer->isOk && steady_clock::now() < deadline;
         answer = client.ChangeApps({}, kShortest)) {
        std::this_thread::sleep_for(kPause);
    }
}

}  // namespace

Result<SsClient> ConnectToSelf(const std::string& path) {
    auto client = SsClient::Connect(path);
    if (client && client->GetFacts().ownerPid != getpid()) {
        return Error{ErrorKind::kUnreachable,
                     path + " belongs to another process, the owner `" + client->GetFacts().owner +
                         "` with the pid " + std::to_string(client->GetFacts().ownerPid),
                     0};
    }
    return client;
}

std::string SelfCommands::Check() const {
    const auto client = ConnectToSelf(path_);
    return client ? "" : client.GetError().message;
}

std::string SelfCommands::Reload() const {
    auto client = ConnectToSelf(path_);
    return client ? Outcome(client->Reload(),
                            "a change or another reload has not ended, or the "
                            "process manager refuses the configuration")
                  : client.GetError().message;
}

std::string SelfCommands::Dump() const {
    auto client = ConnectToSelf(path_);
    return client ? Outcome(client->Dump(), "the owner has refused") : client.GetError().message;
}

std::string SelfCommands::StopAll() const {
    auto client = ConnectToSelf(path_);
    if (!client) {
        return client.GetError().message;
    }
    AwaitChange(*client);
    return Outcome(client->StopAll(), "not every application has stopped in time");
}

}  // namespace GrpOwnerDaemon
