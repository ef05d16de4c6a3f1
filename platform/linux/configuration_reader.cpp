#include "platform/linux/configuration_reader.h"

#include <algorithm>
#include <string>
#include <utility>

#include "platform/linux/application_keys.h"
#include "platform/linux/configuration_checks.h"
#include "platform/linux/utf8.h"
#include "platform/linux/value_reader.h"
#include "platform/linux/yaml_reader.h"

namespace GrpOwnerLinux {

namespace {

constexpr size_t kLongestName = 63;
constexpr char kExample[] = "applications: {logger: {command: /opt/rover/logger}}";
constexpr char kDefaultsExample[] = "defaults: {stop_timeout: 3s}";

bool IsLetterOrDigit(char letter) {
    return (letter >= '0' && letter <= '9') || (letter >= 'A' && letter <= 'Z') ||
           (letter >= 'a' && letter <= 'z');
}

bool IsApplicationName(const std::string& name) {
    return !name.empty() && name.size() <= kLongestName && IsLetterOrDigit(name[0]) &&
           std::all_of(name.begin(), name.end(), [](char letter) {
               return IsLetterOrDigit(letter) || letter == '.' || letter == '_' || letter == '-';
           });
}

void CheckVersion(ValueReader& values, const YamlNode& node) {
    const Field field{"version", "version: 1", node};
    const auto version = values.Scalar(field);
    if (version && *version != "1") {
        values.Complaints().Error(node.place, "version " + Quote(*version) + " is not known",
                                  "this program reads version 1");
    }
}

// What an application's keys cannot mean together.
void CheckTogether(const ApplicationEntry& entry, bool isComplete, Findings& findings) {
    const std::string name = Quote(entry.fields.appName);
    if (!entry.command && !entry.sharedObject && !entry.mayHaveProgram && isComplete) {
        findings.Error(entry.place, name + " has no `command`",
                       "for example `command: /opt/rover/camera`");
    }
    if (entry.command && entry.sharedObject) {
        findings.Error(*entry.sharedObject, name + " has a `command` and a `shared_object`",
                       "an application is one of the two; remove the other");
    }
    if (entry.hasCommandArguments && entry.args) {
        findings.Error(*entry.args, name + " has arguments in `command` and in `args`",
                       "keep all of them in one place");
    }
    if (entry.fields.isDynamicPara && entry.autostart) {
        findings.Error(*entry.autostart, "a template cannot start on its own",
                       "it is started on request, with parameters: remove `autostart` or "
                       "`template`");
    }
    if (entry.fields.isDynamicPara && entry.restart && entry.fields.restart != "no") {
        findings.Warning(*entry.restart, "a template is never restarted by itself",
                         "this restart policy will have no effect");
    }
    if (entry.fields.isForceTerm && entry.stopTimeout) {
        findings.Warning(*entry.stopTimeout, "SIGKILL takes effect at once",
                         "this time will have no effect");
    }
}

ApplicationEntry ReadApplication(ValueReader& values, const YamlNode& key, const YamlNode& node,
                                 const ManifestFields& defaults) {
    ApplicationEntry entry;
    entry.fields = defaults;
    entry.fields.appName = key.text;
    entry.place = key.place;
    if (!IsApplicationName(key.text)) {
        values.Complaints().Error(key.place, Quote(key.text) + " cannot name an application",
                                  "a name has up to 63 letters, digits, `.`, `_` and `-` and "
                                  "begins with a letter or digit");
    }
    if (values.IsMapping({key.text, "{command: /opt/rover/logger}", node})) {
        ReadApplicationKeys(values, node, false, entry);
        CheckTogether(entry, node.isComplete, values.Complaints());
    }
    if (entry.fields.isDynamicPara) {
        entry.fields.isAutoBoot = false;  // whatever the default
    }
    return entry;
}

struct FileLevel {
    const YamlNode* version = nullptr;
    const YamlNode* defaults = nullptr;
    const YamlNode* applications = nullptr;
};

FileLevel ReadFileLevel(ValueReader& values, const YamlNode& root) {
    FileLevel level;
    for (const auto& [key, value] : root.entries) {
        if (key->text == "version") {
            level.version = value;
        } else if (key->text == "defaults") {
            level.defaults = value;
        } else if (key->text == "applications") {
            level.applications = value;
        } else if (!IsExtension(key->text)) {
            values.RefuseKey(*key, "a key of the file", {"version", "defaults", "applications"});
        }
    }
    if (level.version != nullptr) {
        CheckVersion(values, *level.version);
    } else if (root.isComplete) {
        values.Complaints().Error({1, 1, 1}, "the file does not say its `version`",
                                  "begin it with the line `version: 1`");
    }
    if (level.applications == nullptr && root.isComplete) {
        values.Complaints().Error({1, 1, 1}, "the file has no `applications`",
                                  std::string("for example `") + kExample + "`");
    }
    return level;
}

// The level of the file, `defaults` and each application by itself.
std::vector<ApplicationEntry> ReadApplications(const YamlTree& tree, ValueReader& values) {
    std::vector<ApplicationEntry> entries;
    if (tree.root == nullptr || tree.root->IsEmpty()) {
        if (!values.Complaints().HasErrors()) {
            values.Complaints().Error({1, 1, 1}, "the file is empty",
                                      "begin it with the line `version: 1`");
        }
        return entries;
    }
    if (!values.IsMapping({"the file", kExample, *tree.root})) {
        return entries;
    }
    const FileLevel level = ReadFileLevel(values, *tree.root);
    ApplicationEntry defaults;
    if (level.defaults != nullptr &&
        values.IsMapping({"defaults", kDefaultsExample, *level.defaults})) {
        ReadApplicationKeys(values, *level.defaults, true, defaults);
    }
    if (level.applications != nullptr &&
        values.IsMapping({"applications", kExample, *level.applications})) {
        for (const auto& [key, value] : level.applications->entries) {
            entries.push_back(ReadApplication(values, *key, *value, defaults.fields));
        }
    }
    return entries;
}

SourceText TextOf(const std::string& path, std::string& error) {
    std::string bytes;
    return SourceText(ReadFile(path, bytes, error) ? std::move(bytes) : std::string());
}

}  // namespace

ConfigurationFile::ConfigurationFile(const std::string& path,
                                     const ParseAndDepend::MatchData& matchData)
    : text_(TextOf(path, error_)), findings_(path, text_) {
    CheckLoadRecord(path, matchData, findings_);
    if (error_.empty()) {
        Read(matchData);
    } else {
        findings_.Error({}, "cannot read this file: " + error_);
    }
}

void ConfigurationFile::Read(const ParseAndDepend::MatchData& matchData) {
    Span place;
    std::string message;
    if (text_.FindBadCharacter(place, message)) {
        findings_.Error(place, message, "save the file as UTF-8 text");
        return;
    }
    tree_ = ReadYaml(text_, findings_);
    ValueReader values(findings_, matchData);
    applications_ = ReadApplications(tree_, values);
    CheckDependencies(applications_, tree_.isComplete, findings_);
    CheckRecordSizes(applications_, findings_);
}

}  // namespace GrpOwnerLinux
