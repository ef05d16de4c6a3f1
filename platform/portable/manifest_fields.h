#pragma once
// The record behind ApplicationManifest, as our own implementations of the manifest service fill it
// in.

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "platform/portable/seldom.h"

/// User and group of an application that names none: those of the process manager.
inline constexpr uint32_t kInheritedId = UINT32_MAX;

struct ManifestFields {
    std::string appName;
    std::string binPath;
    std::vector<std::string> arguments;
    std::string restart = "no";
    Seldom<std::string> soName;
    Seldom<std::string> soPath;
    Seldom<std::string> processBindPath;
    Seldom<std::vector<uint32_t>> coreAffinity;
    Seldom<std::string> resGroupName;
    std::set<std::string> depends;
    Seldom<std::map<std::string, std::string>> envArgv;
    uint32_t uid = kInheritedId;
    uint32_t gid = kInheritedId;
    uint32_t termTimeOut = 3000;     // milliseconds
    uint32_t heartBeatPeriodMs = 0;  // milliseconds between two beats; 0: no heartbeat
    int32_t nodeType = 0;
    bool isSo = false;
    bool isForceTerm = false;
    bool isRosNode = false;
    bool isReporting = false;
    bool isAutoBoot = true;
    bool isSetRtPrio = false;
    bool heartBeatSwitch = false;
    bool isDynamicPara = false;
};
