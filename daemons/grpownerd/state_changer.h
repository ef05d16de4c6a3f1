#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "client/ss_client.h"
#include "daemons/grpownerd/state_table.h"

namespace GrpOwnerDaemon {

/// Brings the group into the system states that are asked for, on a thread of its own and as a
/// client of its owner: the request for a state arrives in that very owner and must not wait for
/// a change there. A change that runs already is waited for; of several requests that wait the
/// newest wins. The mutex guards what is asked for; all else is constant or belongs to the thread.
class StateChanger {
public:
    struct Hooks {
        /// The group's applications as they stand now; none when that cannot be told.
        std::function<std::vector<ApplicationManifest>()> manifests;
        /// A known state is asked for; before anything is done about it.
        std::function<void(int state)> accepted;
        /// How a state has come out; empty: everything is as the state wants it.
        std::function<void(int state, const std::string& trouble)> ended;
    };

    /// @param path of the owner's virtual file
    StateChanger(std::string path, StateTable states, Hooks hooks);
    ~StateChanger() { Stop(); }
    StateChanger(const StateChanger&) = delete;
    StateChanger& operator=(const StateChanger&) = delete;

    /// Changes may begin; until then what is asked for waits. On any thread.
    void Release();

    /// Asks for a state; on any thread.
    /// @param timeoutMs of each change set; 0 or less: 5000
    /// @return whether the state is known; it is not waited for
    bool Want(int state, int timeoutMs);

    /// Begins no more changes and waits for the running one. May be called twice, by one thread.
    void Stop();

private:
    struct Request {
        int state;
        std::chrono::milliseconds timeout;
    };
    enum class Step { kDone, kBusy, kFailed };

    void Run();
    void Reach(const Request& request);
    bool Pause(std::chrono::milliseconds duration);  // false when there is something newer
    Step Try(const Request& request, std::string& trouble);
    Step Apply(GrpOwnerClient::SsClient& client, const std::vector<GrpOwnerClient::Change>& changes,
               const Request& request, std::string& trouble);

    const std::string path_;
    const StateTable states_;
    const Hooks hooks_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::optional<Request> next_;
    bool isReleased_ = false;
    bool isStopped_ = false;
    std::thread thread_;  // the last member: it uses the others
};

}  // namespace GrpOwnerDaemon
