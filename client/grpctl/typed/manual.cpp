#include "client/grpctl/typed/manual.h"

#include "client/grpctl/typed/verbs.h"

namespace GrpCtl {

namespace {

// Letters that would format, and the dots of which a line may begin with one.
std::string Plain(std::string_view text) {
    std::string plain;
    for (const char letter : text) {
        if (std::string_view("\\*_#`~<>").find(letter) != std::string_view::npos) {
            plain += '\\';
        }
        plain += letter;
    }
    return plain;
}

std::string Bold(std::string_view text) {
    return "*" + Plain(text) + "*";
}

// Words in capitals are to be replaced by the reader.
std::string Operands(std::string_view operands) {
    std::string text;
    for (const std::string& word : Split(operands, ' ')) {
        text += " " + Plain(word);
    }
    return text;
}

// Paragraphs of a detailed help; indented lines are examples, which stay as they are.
std::string Details(std::string_view details, const std::string& indent) {
    std::string text;
    bool isExample = false;
    for (const std::string& line : Split(details, '\n')) {
        const bool isIndented = line.rfind("  ", 0) == 0;
        if (isIndented != isExample && !line.empty()) {
            text += indent + "```\n";
            isExample = isIndented;
        }
        text += line.empty() ? "\n" : indent + (isIndented ? line.substr(2) : Plain(line)) + "\n";
    }
    return text + (isExample ? indent + "```\n" : "");
}

std::string SwitchEntry(const Switch& entry, const std::string& indent) {
    std::string spellings;
    for (const std::string& name : Split(entry.spelling, ',')) {
        spellings += (spellings.empty() ? "" : ", ") + Bold(name);
    }
    const std::string value = entry.value.empty() ? "" : " " + Plain(entry.value);
    return indent + spellings + value + "\n" + indent + "\t" + Plain(entry.help) + ".\n\n";
}

std::string VerbEntry(const Verb& verb) {
    std::string text = Bold(verb.name) + (verb.operands.empty() ? "" : Operands(verb.operands)) +
                       "\n\t" + Plain(verb.summary) + ".\n\n";
    if (!verb.details.empty()) {
        text += Details(verb.details, "\t") + "\n";
    }
    for (const Switch& entry : Switches()) {
        if (!entry.verbs.empty() && Applies(entry, verb.name)) {
            text += SwitchEntry(entry, "\t");
        }
    }
    return text;
}

}  // namespace

std::string Manual() {
    std::string text = "# COMMANDS\n\n";
    for (const Verb& verb : Verbs()) {
        text += VerbEntry(verb);
    }
    text += "# SWITCHES\n\nThey may stand before or behind the command.\n\n";
    for (const Switch& entry : Switches()) {
        if (entry.verbs.empty()) {
            text += SwitchEntry(entry, "");
        }
    }
    return text;
}

}  // namespace GrpCtl
