#include "client/grpctl/typed/help.h"

#include "client/grpctl/text/table.h"

namespace GrpCtl {

namespace {

constexpr char kTail[] = R"(
Exit codes:
  0 done                             5 refused: a change set or a reload is in progress
  1 done, but an application failed  6 not allowed
  2 wrong usage                      7 the owner is not reachable
  3 not running                      124 no answer in time
  4 no such application              130 interrupted

The owner is found by its socket: the only *.vfs in $GRPOWNER_RUN_DIR, else in the user's or the
system's run directory.
)";

std::string SwitchesOf(std::string_view verb) {
    std::vector<Row> rows;
    for (const Switch& entry : Switches()) {
        if (verb.empty() ? !entry.verbs.empty() : !Applies(entry, verb)) {
            continue;
        }
        std::string spelling;
        for (const std::string& name : Split(entry.spelling, ',')) {
            spelling += (spelling.empty() ? "" : ", ") + name;
        }
        spelling += (entry.value.empty() ? "" : " ") + std::string(entry.value);
        rows.push_back({spelling, std::string(entry.help)});
    }
    rows.push_back({"-h, --help", "Show this"});
    return "\nSwitches:\n" + LayOut(rows, false, "  ");
}

}  // namespace

std::string OverallHelp() {
    std::vector<Row> rows;
    for (const Verb& verb : Verbs()) {
        const std::string operands(verb.operands);
        rows.push_back({std::string(verb.name) + (operands.empty() ? "" : " ") + operands,
                        std::string(verb.summary)});
    }
    return "Commands a group owner: what runs, what shall run.\n\n"
           "Usage: grpctl [SWITCH...] COMMAND [OPERAND...]\n\nCommands:\n" +
           LayOut(rows, false, "  ") + "\n`grpctl help COMMAND` tells more about one.\n" +
           SwitchesOf("") + kTail;
}

std::string HelpOf(const Verb& verb) {
    std::string text =
        std::string(verb.summary) + ".\n\nUsage: grpctl " + std::string(verb.name) + " [SWITCH...]";
    text += (verb.operands.empty() ? "" : " ") + std::string(verb.operands) + "\n";
    if (!verb.details.empty()) {
        text += "\n" + std::string(verb.details) + "\n";
    }
    return text + SwitchesOf(verb.name);
}

}  // namespace GrpCtl
