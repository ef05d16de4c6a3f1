// change.yaml:
//
//   stop: [planner]
//   start:
//     - camera
//     - {name: recorder, arguments: [--quality, "9"], parameters: {0: [left, right]}}
//   restart: [lidar]

#include "client/grpctl/change/change_file.h"

#include <fstream>
#include <iostream>
#include <optional>
#include <utility>

#include "platform/linux/findings.h"
#include "platform/linux/suggestion.h"
#include "platform/linux/utf8.h"
#include "platform/linux/yaml_reader.h"

namespace GrpCtl {

namespace {

using GrpOwnerLinux::Findings;
using GrpOwnerLinux::Quote;
using GrpOwnerLinux::SourceText;
using GrpOwnerLinux::YamlNode;
using Kind = YamlNode::Kind;

/// Reads one file. Lives for one call.
class Reader {
public:
    Reader(Findings& findings, ChangeFile& file) : findings_(findings), file_(file) {}

    void Read(const YamlNode* root) {
        if (root == nullptr || !Is(*root, Kind::kMapping, "stop:, start: and restart:")) {
            findings_.Error(root == nullptr ? GrpOwnerLinux::Span{1, 1, 1} : root->place,
                            "there is no change set in this file",
                            "for example `start: [camera, lidar]`");
            return;
        }
        for (const auto& [key, value] : root->entries) {
            if (key->text == "stop") {
                ReadNames(*value, file_.stops, false);
            } else if (key->text == "start") {
                ReadNames(*value, file_.starts, true);
            } else if (key->text == "restart") {
                ReadNames(*value, file_.restarts, true);
            } else {
                RefuseKey(*key, {"stop", "start", "restart"});
            }
        }
    }

private:
    bool Is(const YamlNode& node, Kind kind, const std::string& demand) {
        if (node.kind != kind && node.kind != Kind::kBroken) {
            findings_.Error(node.place, "here must be " + demand);
        }
        return node.kind == kind;
    }

    void RefuseKey(const YamlNode& key, const std::vector<std::string_view>& known) {
        findings_.Error(key.place, "there is no key " + Quote(key.text),
                        GrpOwnerLinux::UseOneOf(key.text, known));
    }

    void ReadNames(const YamlNode& list, std::vector<std::string>& names, bool mayLaunch) {
        if (!Is(list, Kind::kSequence, "a list of applications, such as [camera, lidar]")) {
            return;
        }
        for (const YamlNode* item : list.items) {
            if (mayLaunch && item->kind == Kind::kMapping) {
                ReadLaunch(*item, names);
            } else if (Is(*item, Kind::kScalar, "the name of an application")) {
                names.push_back(item->text);
            }
        }
    }

    void ReadLaunch(const YamlNode& item, std::vector<std::string>& names) {
        std::string name;
        Launch launch;
        for (const auto& [key, value] : item.entries) {
            if (key->text == "name") {
                name = Is(*value, Kind::kScalar, "the name of an application") ? value->text : "";
            } else if (key->text == "arguments") {
                ReadTexts(*value, launch.arguments);
            } else if (key->text == "parameters") {
                ReadParameters(*value, launch.parameters);
            } else {
                RefuseKey(*key, {"name", "arguments", "parameters"});
            }
        }
        if (name.empty()) {
            findings_.Error(item.place, "the name is missing", "for example `name: recorder`");
            return;
        }
        if (!file_.launches.emplace(name, std::move(launch)).second) {
            findings_.Error(item.place, Quote(name) + " stands twice in this file",
                            "say only once what it is started with");
        }
        names.push_back(name);
    }

    void ReadTexts(const YamlNode& list, std::vector<std::string>& texts) {
        if (!Is(list, Kind::kSequence, "a list of texts, such as [left, right]")) {
            return;
        }
        for (const YamlNode* item : list.items) {
            if (Is(*item, Kind::kScalar, "a text")) {
                texts.push_back(item->text);
            }
        }
    }

    void ReadParameters(const YamlNode& map, Parameters& parameters) {
        if (!Is(map, Kind::kMapping, "indexes and their values, such as {0: [left, right]}")) {
            return;
        }
        for (const auto& [key, value] : map.entries) {
            if (key->text != "0" && key->text != "1" && key->text != "2") {
                findings_.Error(key->place, Quote(key->text) + " is no index of a parameter",
                                "use 0, 1 or 2");
                continue;
            }
            ReadTexts(*value, parameters[key->text.front() - '0']);
        }
    }

    Findings& findings_;
    ChangeFile& file_;
};

}  // namespace

ChangeFile ParseChangeFile(const std::string& place, std::string text) {
    ChangeFile file;
    const SourceText source(std::move(text));
    Findings findings(place, source);
    GrpOwnerLinux::Span span;
    std::string message;
    if (source.FindBadCharacter(span, message)) {
        findings.Error(span, message, "save the file as UTF-8 text");
    } else {
        const GrpOwnerLinux::YamlTree tree = GrpOwnerLinux::ReadYaml(source, findings);
        if (tree.isComplete) {
            Reader(findings, file).Read(tree.root);
        }
    }
    file.isOk = !findings.HasErrors();
    file.complaints = GrpOwnerLinux::RenderDiagnostics(findings.Take());
    return file;
}

ChangeFile ReadChangeFile(const std::string& path) {
    const bool isStandardInput = path == "-";
    const std::string place = isStandardInput ? "standard input" : path;
    std::ifstream stream;
    if (!isStandardInput) {
        stream.open(path, std::ios::binary);
    }
    std::istream& input = isStandardInput ? std::cin : stream;
    std::string text(GrpOwnerLinux::kLargestFile + 1, '\0');
    input.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<size_t>(input.gcount()));
    ChangeFile file;
    if (input.bad() || (!isStandardInput && !stream.is_open())) {
        file.complaints = place + ": error: cannot be read\n";
        return file;
    }
    if (text.size() > GrpOwnerLinux::kLargestFile) {
        file.complaints = place + ": error: it is larger than 1 MiB\n";
        return file;
    }
    return ParseChangeFile(place, std::move(text));
}

}  // namespace GrpCtl
