#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "client/grpctl/group/dependencies.h"
#include "client/grpctl/typed/options.h"
#include "client/ss_client.h"
#include "platform/manifest_service.h"

namespace GrpCtl {

enum class AppState {
    kRunning,
    kStopped,
    kChanging,  // on its way up or down
    kUnknown,   // an answer that the process manager should not give
    kTemplate,  // waits to be started with parameters
};

/// For people and for programs.
std::string_view WordOf(AppState state);
std::string_view NameOf(AppState state);

struct Application {
    std::string name;
    std::optional<ApplicationManifest> manifest;  // nothing: the configuration lacks it
    AppState state = AppState::kStopped;
    int pid = -1;         // -1: none
    uint32_t lateMs = 0;  // it has come into its state so long after a time-out; 0: in time

    bool IsAlive() const { return state != AppState::kStopped && state != AppState::kTemplate; }
    bool IsTemplate() const { return manifest && manifest->GetIsDynamicPara(); }
};

/// What owner and configuration tell of the group. The states are those of the last Refresh.
class Group {
public:
    /// Asks for the names and reads the configuration that the owner names.
    static Group Learn(GrpOwnerClient::SsClient& client);

    /// Asks for the states.
    /// @param names whose; empty: of all
    void Refresh(GrpOwnerClient::SsClient& client, const Options& options, const Names& names = {});

    /// Fills in what has come late, as far as the owner keeps a trace.
    void RefreshLate(const std::string& ownerSocket);

    /// Base applications, then the others, then templates; each in name order.
    const std::vector<Application>& Applications() const { return applications_; }
    const Application& At(const std::string& name) const { return applications_[index_.at(name)]; }

    /// Fails for the first name that the group does not have.
    void Check(const std::vector<std::string>& names) const;

    /// Fails when the configuration cannot be read: nobody knows who needs whom then.
    const Dependencies& GetDependencies() const;
    bool HasDependencies() const { return configurationError_.empty(); }

    /// Why the configuration cannot be read; empty when it can.
    const std::string& ConfigurationError() const { return configurationError_; }

    Names Running() const;
    Names Alive() const;

    /// In the order of the configuration; the numbers of events count so.
    const std::vector<ApplicationManifest>& Manifests() const { return manifests_; }

private:
    void ReadConfiguration(const GrpOwnerClient::Facts& facts);
    void Fill(const GrpOwnerClient::Result<GrpOwnerClient::ListAnswer>& list);

    std::vector<ApplicationManifest> manifests_;
    std::string configurationError_;
    std::vector<Application> applications_;
    std::map<std::string, size_t> index_;
    Names listed_;             // by the owner
    bool isListWhole_ = true;  // the owner's list did fit its record
    Dependencies dependencies_;
};

}  // namespace GrpCtl
