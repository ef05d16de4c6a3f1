#include "client/grpctl/group/group_output.h"

#include "client/grpctl/group/process_facts.h"
#include "client/grpctl/text/duration.h"
#include "client/grpctl/text/table.h"
#include "client/grpctl/trace/trace_words.h"

namespace GrpCtl {

namespace {

using std::chrono::milliseconds;

template <typename List>
std::string Join(const List& names) {
    std::string text;
    for (const std::string& name : names) {
        text += (text.empty() ? "" : ", ") + name;
    }
    return text.empty() ? "-" : text;
}

std::string ShowPid(int pid) {
    return pid > 0 ? std::to_string(pid) : "-";
}

std::string ShowUpTime(int pid) {
    const std::optional<milliseconds> age = pid > 0 ? AgeOf(pid) : std::nullopt;
    return age ? ShowAge(*age) : "-";
}

std::string StartOf(const ApplicationManifest& manifest) {
    return manifest.GetIsDynamicPara() ? "with parameters"
           : manifest.GetIsAutoBoot()  ? "with the group"
                                       : "on request";
}

std::string ReadinessOf(const ApplicationManifest& manifest) {
    return manifest.GetIsReporting() ? "notify" : manifest.GetIsRosNode() ? "ros-node" : "process";
}

std::string StopTimeoutOf(const ApplicationManifest& manifest) {
    return ShowDuration(milliseconds(manifest.GetTermTimeOut()));
}

Row RowOf(const Application& application, bool isWide) {
    Row row{application.name,
            {std::string(WordOf(application.state)), StyleOf(application.state)},
            ShowPid(application.pid),
            ShowUpTime(application.pid)};
    if (!application.manifest) {
        row.emplace_back("?");
        return row;
    }
    const ApplicationManifest& manifest = *application.manifest;
    if (isWide) {
        row.insert(row.end(), {StartOf(manifest), ReadinessOf(manifest), manifest.GetRestart(),
                               StopTimeoutOf(manifest)});
    }
    row.emplace_back(Joined(manifest.GetDependList()));
    return row;
}

}  // namespace

Style StyleOf(AppState state) {
    switch (state) {
        case AppState::kRunning:
            return Style::kGood;
        case AppState::kChanging:
            return Style::kBusy;
        case AppState::kUnknown:
            return Style::kBad;
        case AppState::kStopped:
        case AppState::kTemplate:
            break;
    }
    return Style::kFaint;
}

std::string Joined(const std::vector<std::string>& names) {
    return Join(names);
}

std::string Joined(const Names& names) {
    return Join(names);
}

std::string Lines(const std::vector<Application>& applications, Format format) {
    std::string text;
    for (const Application& application : applications) {
        if (format == Format::kName) {
            text += application.name + "\n";
        } else if (application.pid > 0) {
            text += std::to_string(application.pid) + "\n";
        }
    }
    return text;
}

std::string TableOf(const Group& group, const std::vector<Application>& applications, bool isWide,
                    const Screen& screen) {
    Row head;
    for (const char* title : {"NAME", "STATE", "PID", "UPTIME"}) {
        head.emplace_back(title, Style::kHead);
    }
    if (isWide && group.HasDependencies()) {
        for (const char* title : {"STARTS", "READY BY", "RESTART", "STOP TIME"}) {
            head.emplace_back(title, Style::kHead);
        }
    }
    head.emplace_back("DEPENDS ON", Style::kHead);
    std::vector<Row> rows{head};
    for (const Application& application : applications) {
        rows.push_back(RowOf(application, isWide));
    }
    return LayOut(rows, screen.isColored);
}

std::string StateWords(const Application& application) {
    return std::string(WordOf(application.state)) +
           (application.lateMs > 0 ? ", " + LateWords(application.lateMs) : "");
}

std::string DetailsOf(const Group& group, const Application& application, const Screen& screen) {
    Row head{{application.name, Style::kHead},
             {StateWords(application), StyleOf(application.state)}};
    if (application.pid > 0) {
        head.emplace_back("pid " + std::to_string(application.pid));
        head.emplace_back("up " + ShowUpTime(application.pid));
    }
    std::string text = LayOut({head}, screen.isColored);
    if (!application.manifest) {
        return text + (group.HasDependencies() ? "  not in the configuration\n" : "");
    }
    const ApplicationManifest& manifest = *application.manifest;
    return text + LayOut({{"needs", Joined(manifest.GetDependList())},
                          {"needed by", Joined(group.GetDependencies().NeededBy(application.name))},
                          {"starts", StartOf(manifest)},
                          {"ready by", ReadinessOf(manifest)},
                          {"restart", manifest.GetRestart()},
                          {"stop time", StopTimeoutOf(manifest)},
                          {"program", manifest.GetBinPath()}},
                         false, "  ");
}

Json JsonOf(const Application& application) {
    Json json{{"name", application.name}, {"state", NameOf(application.state)}};
    const std::optional<milliseconds> age =
        application.pid > 0 ? AgeOf(application.pid) : std::nullopt;
    json["pid"] = application.pid > 0 ? Json(application.pid) : Json();
    json["lateMs"] = application.lateMs;
    json["uptimeMs"] = age ? Json(age->count()) : Json();
    if (application.manifest) {
        const ApplicationManifest& manifest = *application.manifest;
        json["dependsOn"] = manifest.GetDependList();
        json["autostart"] = manifest.GetIsAutoBoot();
        json["template"] = manifest.GetIsDynamicPara();
        json["readiness"] = ReadinessOf(manifest);
        json["restart"] = manifest.GetRestart();
        json["stopTimeoutMs"] = manifest.GetTermTimeOut();
    }
    return json;
}

}  // namespace GrpCtl
