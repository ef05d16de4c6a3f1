#pragma once
// The record behind ApplicationManifest, as our own implementations of the manifest service fill it
// in.

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

/// User and group of an application that names none: those of the process manager.
inline constexpr uint32_t kInheritedId = UINT32_MAX;

struct ManifestFields {
    std::string appName;
    std::string binPath;
    uint32_t uid = kInheritedId;
    uint32_t gid = kInheritedId;
    std::vector<std::string> arguments;
    std::string restart = "no";
    bool isSo = false;
    std::string soName;
    std::string soPath;
    std::string processBindPath;
    uint32_t termTimeOut = 3000;  // milliseconds
    bool isForceTerm = false;
    bool isRosNode = false;
    bool isReporting = false;
    std::vector<uint32_t> coreAffinity;
    std::string resGroupName;
    std::set<std::string> depends;
    bool isAutoBoot = true;
    std::map<std::string, std::string> envArgv;
    bool isSetRtPrio = false;
    bool heartBeatSwitch = false;
    uint32_t heartBeatPeriodMs = 0;  // milliseconds between two beats; 0: no heartbeat
    int32_t nodeType = 0;
    bool isDynamicPara = false;
};
