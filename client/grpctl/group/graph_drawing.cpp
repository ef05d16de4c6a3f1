// Who needs whom, for the programs that draw it.

#include <map>
#include <string_view>

#include "client/grpctl/group/graph.h"
#include "platform/linux/utf8.h"

namespace GrpCtl {

namespace {

std::string_view FillOf(const GraphNode& node) {
    if (!node.state) {
        return "#f2f2f2";
    }
    switch (*node.state) {
        case AppState::kRunning:
            return "#cfe8cf";
        case AppState::kChanging:
            return "#f8e6b0";
        case AppState::kUnknown:
            return "#f3c6c6";
        case AppState::kStopped:
        case AppState::kTemplate:
            break;
    }
    return "#e4e4e4";
}

bool IsTemplate(const GraphNode& node) {
    return node.manifest && node.manifest->GetIsDynamicPara();
}

// A second line below the name, for whoever sees no colours.
std::string WordFor(const GraphNode& node) {
    return node.state ? std::string(WordOf(*node.state)) : IsTemplate(node) ? "template" : "";
}

std::string InQuotes(const std::string& text) {
    std::string quoted = "\"";
    for (const char letter : GrpOwnerLinux::PrintableLine(text)) {
        quoted += letter == '"' || letter == '\\' ? "\\" : "";
        quoted += letter;
    }
    return quoted + "\"";
}

// Mermaid has no escapes in quotes, but numbers of characters.
std::string ForMermaid(const std::string& text) {
    std::string safe;
    for (const char letter : GrpOwnerLinux::PrintableLine(text)) {
        const bool isSpecial =
            letter == '"' || letter == '#' || letter == '<' || letter == '>' || letter == '&';
        safe += isSpecial ? "#" + std::to_string(static_cast<int>(letter)) + ";"
                          : std::string(1, letter);
    }
    return safe;
}

}  // namespace

std::string DotOf(const Graph& graph) {
    std::string text = "digraph " + InQuotes(graph.title) +
                       " {\n"
                       "  node [shape=box, style=\"rounded,filled\", fontname=\"sans-serif\"];\n";
    for (const auto& [name, node] : graph.nodes) {
        const std::string word = WordFor(node);
        std::string label = InQuotes(name);
        text += "  " + label;
        label.pop_back();  // the quote
        text += " [label=" + label;
        text += (word.empty() ? "" : "\\n") + word;
        text += "\", fillcolor=\"" + std::string(FillOf(node)) + "\"";
        text += IsTemplate(node) ? ", style=\"rounded,filled,dashed\"" : "";
        text += "];\n";
    }
    for (const auto& [name, node] : graph.nodes) {
        for (const std::string& needed : node.needs) {
            text += "  " + InQuotes(name) + " -> " + InQuotes(needed) + ";\n";
        }
    }
    return text + "}\n";
}

// Names such as "end" mean something there, so numbers stand for them.
std::string MermaidOf(const Graph& graph) {
    std::map<std::string_view, std::string> identifiers;
    std::string text = "flowchart TD\n";
    for (const auto& [name, node] : graph.nodes) {
        const std::string identifier = "n" + std::to_string(identifiers.size());
        const std::string word = WordFor(node);
        text += "  " + identifier + "[\"" + ForMermaid(name);
        text += (word.empty() ? "" : "<br>") + word + "\"]\n";
        identifiers[name] = identifier;
    }
    for (const auto& [name, node] : graph.nodes) {
        for (const std::string& needed : node.needs) {
            text += "  " + identifiers[name] + " --> " + identifiers[needed] + "\n";
        }
    }
    for (const auto& [name, node] : graph.nodes) {
        text += "  style " + identifiers[name] + " fill:" + std::string(FillOf(node)) +
                ",stroke:#555,color:#111" + (IsTemplate(node) ? ",stroke-dasharray:4" : "") + "\n";
    }
    return text;
}

}  // namespace GrpCtl
