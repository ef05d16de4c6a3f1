#pragma once

#include <string>
#include <utility>

#include "platform/portable/manifest_fields.h"

namespace GrpOwnerTest {

/// Builds what the manifest says of one application:
///   App("camera").DependsOn({"bus"}).Restart("on-failure")
class App {
public:
    explicit App(std::string name) {
        fields_.binPath = "/opt/" + name;
        fields_.appName = std::move(name);
    }
    App& DependsOn(std::set<std::string> names) {
        fields_.depends = std::move(names);
        return *this;
    }
    App& Restart(const std::string& policy) {
        fields_.restart = policy;
        return *this;
    }
    App& Driving() {
        fields_.isAutoBoot = false;
        return *this;
    }
    App& Template() {
        fields_.isDynamicPara = true;
        return Driving();
    }
    App& Reporting() {
        fields_.isReporting = true;
        return *this;
    }
    App& RosNode() {
        fields_.isRosNode = true;
        return *this;
    }
    App& HeartBeat(uint32_t gid) {
        fields_.heartBeatSwitch = true;
        fields_.gid = gid;
        return *this;
    }
    App& Arguments(std::vector<std::string> arguments) {
        fields_.arguments = std::move(arguments);
        return *this;
    }
    App& NodeType(int32_t type) {
        fields_.nodeType = type;
        return *this;
    }
    operator ManifestFields() const { return fields_; }  // NOLINT(google-explicit-constructor)

private:
    ManifestFields fields_;
};

}  // namespace GrpOwnerTest
