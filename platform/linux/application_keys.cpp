#include "platform/linux/application_keys.h"

#include <algorithm>
#include <set>
#include <utility>

#include "platform/linux/suggestion.h"
#include "platform/linux/utf8.h"

namespace GrpOwnerLinux {

namespace {

constexpr uint32_t kShortestStop = 1;        // milliseconds
constexpr uint32_t kShortestHeartBeat = 10;  // milliseconds

void AppendTexts(ValueReader& values, const Field& field, size_t first,
                 std::vector<std::string>& texts) {
    for (size_t i = first; i < field.node.items.size(); ++i) {
        if (auto text = values.Text({field.key, field.example, *field.node.items[i]})) {
            texts.push_back(std::move(*text));
        }
    }
}

void ReadCommand(ValueReader& values, const Field& field, ApplicationEntry& entry) {
    entry.command = field.node.place;
    const YamlNode* path = &field.node;
    if (field.node.kind == YamlNode::Kind::kSequence) {
        if (field.node.items.empty()) {
            values.Complaints().Error(field.node.place, "`command` is an empty list",
                                      "for example `command: [/opt/rover/camera, --fps, \"30\"]`");
            return;
        }
        path = field.node.items.front();
        entry.hasCommandArguments = field.node.items.size() > 1;
        AppendTexts(values, field, 1, entry.fields.arguments);
    }
    const auto text = values.AbsolutePath({field.key, field.example, *path});
    entry.fields.binPath = text.value_or("");
    if (text && path == &field.node && text->find(' ') != std::string::npos) {
        values.Complaints().Warning(path->place,
                                    "the whole of this text is the path of the program",
                                    "there is no shell here: write `command: [path, argument]`");
    }
}

void ReadArgs(ValueReader& values, const Field& field, ApplicationEntry& entry) {
    entry.args = field.node.place;
    if (values.IsSequence(field)) {
        AppendTexts(values, field, 0, entry.fields.arguments);
    }
}

void ReadEnvironment(ValueReader& values, const Field& field, ApplicationEntry& entry) {
    if (!values.IsMapping(field)) {
        return;
    }
    auto variables = *entry.fields.envArgv;
    for (const auto& [key, value] : field.node.entries) {
        std::string reason;
        const std::string& name = key->text;
        if (name.empty() || name.find('=') != std::string::npos || !FitsRecord(name, reason)) {
            values.Complaints().Error(key->place, Quote(name) + " cannot name a variable",
                                      "a name is not empty and holds no `=`, `#` or line break");
        }
        if (auto text = values.Text({name, field.example, *value})) {
            variables[name] = std::move(*text);
        }
    }
    entry.fields.envArgv = std::move(variables);
}

void ReadUser(ValueReader& values, const Field& field, ApplicationEntry& entry) {
    entry.fields.uid = values.User(field).value_or(kInheritedId);
}

void ReadGroup(ValueReader& values, const Field& field, ApplicationEntry& entry) {
    entry.fields.gid = values.Group(field).value_or(kInheritedId);
}

void ReadDependsOn(ValueReader& values, const Field& field, ApplicationEntry& entry) {
    if (!values.IsSequence(field)) {
        return;
    }
    for (const YamlNode* const item : field.node.items) {
        auto name = values.Text({field.key, field.example, *item});
        if (!name) {
            continue;
        }
        if (entry.fields.depends.insert(*name).second) {
            entry.depends.push_back({std::move(*name), item->place});
        } else {
            values.Complaints().Error(item->place, Quote(*name) + " is listed twice");
        }
    }
}

void ReadRestart(ValueReader& values, const Field& field, ApplicationEntry& entry) {
    static const std::vector<std::string_view> kPolicies = {"no", "on-failure", "on-forever"};
    entry.restart = field.node.place;
    const auto text = values.Scalar(field);
    if (text == "always" || text == "unless-stopped") {
        values.Complaints().Error(
            field.node.place, Quote(*text) + " is refused: nothing is restarted after a clean exit",
            "use `on-failure` (five times a minute) or `on-forever`: both "
            "restart after an abnormal exit");
    } else if (const auto word = values.Word(field, "a restart policy", kPolicies)) {
        entry.fields.restart = kPolicies[*word];
    }
}

void ReadStopTimeout(ValueReader& values, const Field& field, ApplicationEntry& entry) {
    entry.stopTimeout = field.node.place;
    if (const auto time = values.Milliseconds(field, kShortestStop)) {
        entry.fields.termTimeOut = *time;
    }
}

void ReadStopSignal(ValueReader& values, const Field& field, ApplicationEntry& entry) {
    entry.fields.isForceTerm =
        values.Word(field, "a stop signal", {"SIGTERM", "SIGKILL"}).value_or(0) == 1;
}

void ReadReadiness(ValueReader& values, const Field& field, ApplicationEntry& entry) {
    const auto word = values.Word(field, "a kind of readiness", {"process", "notify", "ros-node"});
    entry.fields.isReporting = word == 1U;
    entry.fields.isRosNode = word == 2U;
}

void ReadHeartbeat(ValueReader& values, const Field& field, ApplicationEntry& entry) {
    ManifestFields& fields = entry.fields;
    const auto text = values.Scalar(field);
    if (text == "true") {
        values.Complaints().Error(field.node.place, "`true` does not say how often",
                                  "give the period: `heartbeat: 500ms`");
        return;
    }
    fields.heartBeatPeriodMs =
        text == "false" ? 0 : values.Milliseconds(field, kShortestHeartBeat).value_or(0);
    fields.heartBeatSwitch = fields.heartBeatPeriodMs > 0;
}

void ReadCpuAffinity(ValueReader& values, const Field& field, ApplicationEntry& entry) {
    entry.fields.coreAffinity = values.Cores(field).value_or(std::vector<uint32_t>());
}

void ReadCgroup(ValueReader& values, const Field& field, ApplicationEntry& entry) {
    entry.fields.resGroupName = values.RelativePath(field).value_or("");
}

void ReadRealtime(ValueReader& values, const Field& field, ApplicationEntry& entry) {
    entry.fields.isSetRtPrio = values.Bool(field).value_or(false);
}

void ReadAutostart(ValueReader& values, const Field& field, ApplicationEntry& entry) {
    const auto isWanted = values.Bool(field);
    entry.fields.isAutoBoot = isWanted.value_or(true);
    if (entry.fields.isAutoBoot && isWanted) {
        entry.autostart = field.node.place;
    }
}

void ReadTemplate(ValueReader& values, const Field& field, ApplicationEntry& entry) {
    entry.fields.isDynamicPara = values.Bool(field).value_or(false);
}

void ReadNodeType(ValueReader& values, const Field& field, ApplicationEntry& entry) {
    entry.fields.nodeType = values.Number(field).value_or(0);
}

void ReadSharedObject(ValueReader& values, const Field& field, ApplicationEntry& entry) {
    entry.sharedObject = field.node.place;
    if (!values.IsMapping(field)) {
        return;
    }
    ManifestFields& fields = entry.fields;
    fields.isSo = true;
    std::set<std::string_view> missing = {"name", "path", "host"};
    for (const auto& [key, value] : field.node.entries) {
        const Field part{key->text, field.example, *value};
        missing.erase(part.key);
        if (part.key == "name") {
            fields.soName = values.Text(part).value_or("?");
            if (fields.soName->empty()) {
                values.Complaints().Error(value->place, "the name of `shared_object` is empty");
            }
        } else if (part.key == "path") {
            fields.soPath = values.AbsolutePath(part).value_or("");
        } else if (part.key == "host") {
            fields.processBindPath = values.AbsolutePath(part).value_or("");
        } else if (!IsExtension(part.key)) {
            values.RefuseKey(*key, "a key of `shared_object`", {"name", "path", "host"});
        }
    }
    for (const std::string_view key : missing) {
        if (field.node.isComplete) {
            values.Complaints().Error(field.node.place, "`shared_object` has no " + Quote(key),
                                      "for example `" + std::string(field.example) + "`");
        }
    }
}

struct Key {
    std::string_view name;
    void (*read)(ValueReader&, const Field&, ApplicationEntry&);
    bool hasDefault;  // may stand in `defaults`
    std::string_view example;
};

// clang-format off
constexpr Key kKeys[] = {
    {"command",       ReadCommand,      false, "command: /opt/rover/camera"},
    {"args",          ReadArgs,         false, "args: [--fps, \"30\"]"},
    {"environment",   ReadEnvironment,  true,  "environment: {CAMERA_DEV: /dev/video0}"},
    {"user",          ReadUser,         true,  "user: rover"},
    {"group",         ReadGroup,        true,  "group: video"},
    {"depends_on",    ReadDependsOn,    false, "depends_on: [clock]"},
    {"restart",       ReadRestart,      true,  "restart: on-failure"},
    {"stop_timeout",  ReadStopTimeout,  true,  "stop_timeout: 3s"},
    {"stop_signal",   ReadStopSignal,   true,  "stop_signal: SIGTERM"},
    {"readiness",     ReadReadiness,    true,  "readiness: notify"},
    {"heartbeat",     ReadHeartbeat,    true,  "heartbeat: 500ms"},
    {"cpu_affinity",  ReadCpuAffinity,  true,  "cpu_affinity: [2, 3]"},
    {"cgroup",        ReadCgroup,       true,  "cgroup: rover/cameras"},
    {"realtime",      ReadRealtime,     true,  "realtime: true"},
    {"autostart",     ReadAutostart,    true,  "autostart: false"},
    {"template",      ReadTemplate,     false, "template: true"},
    {"shared_object", ReadSharedObject, false, "shared_object: {name: fusion, path: /opt/rover/libfusion.so, host: /opt/rover/host}"},
    {"node_type",     ReadNodeType,     true,  "node_type: 2"},
};
// clang-format on

const std::vector<std::string_view>& KeyNames(bool isDefaults) {
    const auto collect = [](bool onlyDefaults) {
        std::vector<std::string_view> names;
        for (const Key& key : kKeys) {
            if (key.hasDefault || !onlyDefaults) {
                names.push_back(key.name);
            }
        }
        return names;
    };
    static const std::vector<std::string_view> kAll = collect(false);
    static const std::vector<std::string_view> kOfDefaults = collect(true);
    return isDefaults ? kOfDefaults : kAll;
}

}  // namespace

bool IsExtension(std::string_view key) {
    return key.substr(0, 2) == "x-";
}

void ReadApplicationKeys(ValueReader& values, const YamlNode& map, bool isDefaults,
                         ApplicationEntry& entry) {
    for (const auto& [name, value] : map.entries) {
        const auto* const key = std::find_if(
            std::begin(kKeys), std::end(kKeys),
            [text = std::string_view(name->text)](const Key& each) { return each.name == text; });
        if (key != std::end(kKeys) && (key->hasDefault || !isDefaults)) {
            key->read(values, {key->name, key->example, *value}, entry);
        } else if (key != std::end(kKeys)) {
            values.Complaints().Error(name->place, Quote(name->text) + " cannot have a default",
                                      "say it for each application");
        } else if (!IsExtension(name->text)) {
            const auto meant = values.RefuseKey(
                *name, isDefaults ? "a key of `defaults`" : "a key of an application",
                KeyNames(isDefaults));
            entry.mayHaveProgram |= meant == "command" || meant == "shared_object";
        }
    }
}

}  // namespace GrpOwnerLinux
