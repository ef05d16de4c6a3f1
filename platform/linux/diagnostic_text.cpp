// The findings as people read them:
//
//   rover.yaml:5:14: error: `on-failur` is not a restart policy
//     |
//   5 |     restart: on-failur
//     |              ^^^^^^^^^
//     = help: did you mean `on-failure`? Use one of: no, on-failure, on-forever

#include <algorithm>
#include <string_view>

#include "platform/linux/host.h"
#include "platform/linux/utf8.h"

namespace GrpOwnerLinux {

namespace {

// Moves the caret below its character: tabs of the line stay tabs.
std::string Indent(std::string_view line, uint32_t column) {
    std::string indent;
    for (uint32_t passed = 1; passed < column; ++passed) {
        uint32_t value = 0;
        const size_t width = line.empty() ? 0 : std::max<size_t>(DecodeCharacter(line, value), 1);
        indent += width > 0 && line[0] == '\t' ? '\t' : ' ';
        line.remove_prefix(width);
    }
    return indent;
}

void AppendLine(const Diagnostic& diagnostic, const std::string& margin, std::string& text) {
    const uint32_t left = CountCharacters(diagnostic.text) + 1;
    const uint32_t room = left > diagnostic.column ? left - diagnostic.column : 1;
    text += margin + " |\n" + std::to_string(diagnostic.line) + " | " + diagnostic.text + "\n";
    text += margin + " | " + Indent(diagnostic.text, diagnostic.column) +
            std::string(std::clamp(diagnostic.length, 1U, room), '^') + "\n";
}

void Append(const Diagnostic& diagnostic, std::string& text) {
    const bool hasPlace = diagnostic.line > 0;
    const bool isError = diagnostic.severity == Diagnostic::Severity::kError;
    const std::string margin(hasPlace ? std::to_string(diagnostic.line).size() : 1, ' ');
    text += PrintableLine(diagnostic.file);
    if (hasPlace) {
        text += ":" + std::to_string(diagnostic.line) + ":" + std::to_string(diagnostic.column);
    }
    text += (isError ? ": error: " : ": warning: ") + diagnostic.message + "\n";
    if (hasPlace && !diagnostic.text.empty()) {
        AppendLine(diagnostic, margin, text);
    }
    if (!diagnostic.help.empty()) {
        text += margin + " = help: " + diagnostic.help + "\n";
    }
}

}  // namespace

std::string RenderDiagnostics(const std::vector<Diagnostic>& diagnostics) {
    std::string text;
    for (const Diagnostic& diagnostic : diagnostics) {
        text += text.empty() ? "" : "\n";
        Append(diagnostic, text);
    }
    return text;
}

}  // namespace GrpOwnerLinux
