#include "client/grpctl/progress/progress_subject.h"

#include <algorithm>
#include <cctype>
#include <utility>

namespace GrpCtl {

namespace {

using ProcMgr::OptionType;

std::string Capital(std::string word) {
    word.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(word.front())));
    return word;
}

// "stop" -> "Stopping".
std::string DoingOf(const std::string& verb) {
    return verb == "stop" ? "Stopping" : verb == "change" ? "Changing" : Capital(verb) + "ing";
}

void AddIn(const Names& names, const Names& frame, Names& found) {
    std::set_intersection(names.begin(), names.end(), frame.begin(), frame.end(),
                          std::inserter(found, found.end()));
}

// What comes first within the change. Who is not part of it hands on what it needs itself: the
// owner's order is that of the whole chain.
Names BeforeStart(const std::string& name, const Names& starts, const Dependencies& dependencies) {
    const Names& direct = dependencies.NeedsOf(name);
    Names before;
    AddIn(direct, starts, before);
    if (before.size() < direct.size()) {
        AddIn(dependencies.AllNeeds({name}), starts, before);
    }
    return before;
}

Names BeforeStop(const std::string& name, const Names& stops, const Dependencies& dependencies) {
    Names before;
    AddIn(dependencies.NeededBy(name), stops, before);
    return before;
}

std::vector<Task> TasksOf(const Plan& plan, const Dependencies& dependencies, const Group& group) {
    std::vector<Task> tasks;
    for (const Outcome& part : Match(plan, dependencies, {})) {
        Task task;
        const Application& application = group.At(part.name);
        task.name = part.name;
        task.option = part.option;
        task.pidBefore = application.pid;
        task.saysReady = application.manifest && application.manifest->GetIsReporting();
        if (part.option == OptionType::START) {
            task.needs = BeforeStart(part.name, plan.starts, dependencies);
        } else if (part.option == OptionType::TERM) {
            task.needs = BeforeStop(part.name, plan.stops, dependencies);
        }
        tasks.push_back(std::move(task));
    }
    return tasks;
}

bool IsBase(const Group& group, const std::string& name) {
    const Application& application = group.At(name);
    return application.manifest && application.manifest->GetIsAutoBoot();
}

}  // namespace

Subject SubjectOf(const std::string& verb, const std::string& did, const Plan& plan,
                  const Dependencies& dependencies, const Group& group) {
    return {{DoingOf(verb), Capital(did), false},
            ProcMgr::TraceRequest::CHANGE,
            TasksOf(plan, dependencies, group)};
}

Subject SubjectOfStopAll(const Group& group) {
    Plan plan;
    plan.stops = group.Alive();
    Subject subject{
        {"Stopping", "Stopped", true},
        ProcMgr::TraceRequest::STOP_ALL,
        TasksOf(plan, group.HasDependencies() ? group.GetDependencies() : Dependencies(), group)};
    std::stable_partition(subject.tasks.begin(), subject.tasks.end(),
                          [&group](const Task& task) { return !IsBase(group, task.name); });
    return subject;
}

}  // namespace GrpCtl
