// What can be said of a configuration file without an owner.

#include <unistd.h>

#include <algorithm>
#include <optional>
#include <utility>

#include "client/grpctl/group/configuration_lints.h"
#include "client/grpctl/group/group_output.h"
#include "client/grpctl/text/failure.h"
#include "client/grpctl/text/json_output.h"
#include "client/grpctl/text/name_list.h"
#include "client/grpctl/text/screen.h"
#include "client/grpctl/text/table.h"
#include "client/grpctl/typed/verb_runs.h"
#include "platform/linux/suggestion.h"
#include "platform/linux/utf8.h"

namespace GrpCtl {

namespace {

using GrpOwnerLinux::ApplicationEntry;
using GrpOwnerLinux::Diagnostic;
using Severity = Diagnostic::Severity;
using Strings = std::vector<std::string>;

constexpr size_t kWidth = 56;  // characters of a list behind its title
constexpr size_t kMostLines = 6;

struct Check {
    std::string path;
    std::vector<Diagnostic> findings;
    std::optional<Overview> overview;  // nothing: the file has errors
    std::string ifFalls;               // may be empty
    std::string restart;               // of that one

    size_t Count(Severity severity) const {
        return static_cast<size_t>(
            std::count_if(findings.begin(), findings.end(),
                          [severity](const Diagnostic& one) { return one.severity == severity; }));
    }
};

[[noreturn]] void RefuseName(const std::string& name, const Strings& names) {
    std::string help = GrpOwnerLinux::DidYouMean(
        GrpOwnerLinux::Suggester({names.begin(), names.end()}).Nearest(name));
    throw Failure{kNoSuchApplication,
                  "this configuration has no application " + GrpOwnerLinux::Quote(name), "", help};
}

Check Examine(const Options& options) {
    Check check;
    check.path = options.operands.front();
    GrpOwnerLinux::ConfigurationFile file(check.path, options.defines);
    if (!file.Complaints().HasErrors()) {
        check.overview = Lint(file);
        const std::vector<ApplicationEntry>& entries = file.Applications();
        const auto meant = std::find_if(
            entries.begin(), entries.end(),
            [&](const ApplicationEntry& entry) { return entry.fields.appName == options.ifFalls; });
        if (!options.ifFalls.empty() && meant == entries.end()) {
            RefuseName(options.ifFalls, check.overview->names);
        }
        check.ifFalls = options.ifFalls;
        check.restart = check.ifFalls.empty() ? "" : meant->fields.restart;
    }
    check.findings = file.Complaints().Take();
    return check;
}

std::string Count(size_t count, const std::string& what) {
    return (count == 0 ? "no" : std::to_string(count)) + " " + what + (count == 1 ? "" : "s");
}

void AddList(const std::string& title, const Strings& names, bool isWhole, std::vector<Row>& rows) {
    std::string told = title;
    for (const std::string& line : Wrapped(names, kWidth, isWhole ? 0 : kMostLines)) {
        rows.push_back({told, line});
        told.clear();
    }
}

std::string OverviewText(const Overview& overview, bool isWhole) {
    const size_t count = overview.names.size();
    std::vector<Row> rows{
        {"applications", std::to_string(count) + ": " + std::to_string(overview.autostarts) +
                             " with the group, " +
                             std::to_string(count - overview.autostarts - overview.templates) +
                             " on request, " + Count(overview.templates, "template")}};
    AddList("down at boot", overview.leftDown, isWhole, rows);
    if (overview.deepest.size() > 1) {
        rows.push_back(
            {"deepest chain", std::to_string(overview.deepest.size()) + ": " +
                                  Abridged(overview.deepest, isWhole ? SIZE_MAX : kWidth, " -> ")});
    }
    if (!overview.mostNeeded.empty()) {
        const size_t needing = overview.dependencies.AllNeeding({overview.mostNeeded}).size();
        rows.push_back(
            {"largest fall", overview.mostNeeded + ": " + std::to_string(needing) +
                                 (needing == 1 ? " other needs it" : " others need it")});
    }
    return LayOut(rows, false, "  ");
}

// Who needs it directly, then wave by wave who does through these.
std::string FallText(const Check& check, bool isWhole) {
    const Dependencies& dependencies = check.overview->dependencies;
    const Names falling = dependencies.AllNeeding({check.ifFalls});
    if (falling.empty()) {
        return "If " + check.ifFalls + " falls, nobody misses it.\n";
    }
    const Names& direct = dependencies.NeededBy(check.ifFalls);
    Strings through;
    for (const std::string& name : dependencies.InOrder(falling)) {
        if (direct.count(name) == 0) {
            through.push_back(name);
        }
    }
    std::vector<Row> rows;
    AddList("need it", {direct.begin(), direct.end()}, isWhole, rows);
    AddList("through others", through, isWhole, rows);
    return "If " + check.ifFalls + " falls, " + std::to_string(falling.size()) +
           (falling.size() == 1 ? " other runs" : " others run") + " on without what they need:\n" +
           LayOut(rows, false, "  ") +
           (check.restart == "no" ? "Nobody restarts " + check.ifFalls + ".\n"
                                  : "The owner restarts " + check.ifFalls + " (" + check.restart +
                                        "), and stops nobody.\n");
}

// Whoever wants quiet gets the errors, and what was asked for by name.
void ShowText(const Options& options, const Check& check) {
    std::vector<Diagnostic> shown;
    for (const Diagnostic& finding : check.findings) {
        if (!options.isQuiet || finding.severity == Severity::kError) {
            shown.push_back(finding);
        }
    }
    const bool isWhole = options.format == Format::kWide;
    std::string text = GrpOwnerLinux::RenderDiagnostics(shown);
    if (!options.isQuiet) {
        text += (text.empty() ? "" : "\n") + GrpOwnerLinux::PrintableLine(check.path) + ": " +
                Count(check.Count(Severity::kError), "error") + ", " +
                Count(check.Count(Severity::kWarning), "warning") + "\n" +
                (check.overview ? OverviewText(*check.overview, isWhole) : "");
    }
    if (check.overview && !check.ifFalls.empty()) {
        text += FallText(check, isWhole);
    }
    Put(text);
}

Json JsonOf(const Diagnostic& finding) {
    return {{"severity", finding.severity == Severity::kError ? "error" : "warning"},
            {"line", finding.line},
            {"column", finding.column},
            {"length", finding.length},
            {"message", finding.message},
            {"help", finding.help}};
}

Json FallJson(const Dependencies& dependencies, const std::string& name) {
    return {{"name", name},
            {"neededBy", dependencies.NeededBy(name)},
            {"takes", dependencies.AllNeeding({name})}};
}

void ShowJson(const Check& check) {
    Json json = NewObject();
    json["file"] = check.path;
    json["ok"] = check.Count(Severity::kError) == 0;
    json["errors"] = check.Count(Severity::kError);
    json["warnings"] = check.Count(Severity::kWarning);
    json["findings"] = Json::array();
    for (const Diagnostic& finding : check.findings) {
        json["findings"].push_back(JsonOf(finding));
    }
    if (check.overview) {
        const Overview& overview = *check.overview;
        json["applications"] = overview.names;
        json["staysDown"] = overview.leftDown;
        json["deepestChain"] = overview.deepest;
        json["largestFall"] = overview.mostNeeded.empty()
                                  ? Json()
                                  : FallJson(overview.dependencies, overview.mostNeeded);
        json["ifFalls"] =
            check.ifFalls.empty() ? Json() : FallJson(overview.dependencies, check.ifFalls);
    }
    PutJson(json);
}

}  // namespace

int RunCheck(const Options& options) {
    const Check check = Examine(options);
    if (options.format == Format::kJson) {
        ShowJson(check);
    } else {
        ShowText(options, check);
    }
    return check.overview ? kDone : kFailed;
}

}  // namespace GrpCtl
