#include <utility>

#include "platform/manifest_service.h"
#include "platform/portable/manifest_fields.h"

ApplicationManifest::ApplicationManifest() : fields_(std::make_shared<ManifestFields>()) {}
ApplicationManifest::ApplicationManifest(std::shared_ptr<const ManifestFields> fields)
    : fields_(std::move(fields)) {}

const std::string& ApplicationManifest::GetAppName() const {
    return fields_->appName;
}
const std::string& ApplicationManifest::GetBinPath() const {
    return fields_->binPath;
}
uint32_t ApplicationManifest::GetUid() const {
    return fields_->uid;
}
uint32_t ApplicationManifest::GetGid() const {
    return fields_->gid;
}
const std::vector<std::string>& ApplicationManifest::GetArguments() const {
    return fields_->arguments;
}
const std::string& ApplicationManifest::GetRestart() const {
    return fields_->restart;
}
bool ApplicationManifest::GetIsSo() const {
    return fields_->isSo;
}
const std::string& ApplicationManifest::GetSoName() const {
    return *fields_->soName;
}
const std::string& ApplicationManifest::GetSoPath() const {
    return *fields_->soPath;
}
const std::string& ApplicationManifest::GetProcessBindPath() const {
    return *fields_->processBindPath;
}
uint32_t ApplicationManifest::GetTermTimeOut() const {
    return fields_->termTimeOut;
}
bool ApplicationManifest::GetIsForceTerm() const {
    return fields_->isForceTerm;
}
bool ApplicationManifest::GetIsRosNode() const {
    return fields_->isRosNode;
}
bool ApplicationManifest::GetIsReporting() const {
    return fields_->isReporting;
}
const std::vector<uint32_t>& ApplicationManifest::GetCoreAffinity() const {
    return *fields_->coreAffinity;
}
const std::string& ApplicationManifest::GetResGroupName() const {
    return *fields_->resGroupName;
}
const std::set<std::string>& ApplicationManifest::GetDependList() const {
    return fields_->depends;
}
bool ApplicationManifest::GetIsAutoBoot() const {
    return fields_->isAutoBoot;
}
const std::map<std::string, std::string>& ApplicationManifest::GetEnvArgv() const {
    return *fields_->envArgv;
}
bool ApplicationManifest::GetIsSetRtPrio() const {
    return fields_->isSetRtPrio;
}
bool ApplicationManifest::GetHeartBeatSwitch() const {
    return fields_->heartBeatSwitch;
}
int32_t ApplicationManifest::GetNodeType() const {
    return fields_->nodeType;
}
bool ApplicationManifest::GetIsDynamicPara() const {
    return fields_->isDynamicPara;
}
const ManifestFields& ApplicationManifest::Fields() const {
    return *fields_;
}
