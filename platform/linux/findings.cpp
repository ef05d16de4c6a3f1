#include "platform/linux/findings.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "platform/linux/utf8.h"

namespace GrpOwnerLinux {

namespace {

// A longer line is not quoted: nobody could read it, and a file full of mistakes in one line would
// be quoted a thousand times.
constexpr size_t kLongestQuotedLine = 400;  // bytes

// Errors before warnings of the same place.
auto Order(const Diagnostic& diagnostic) {
    return std::make_tuple(diagnostic.line, diagnostic.column,
                           diagnostic.severity != Diagnostic::Severity::kError,
                           std::cref(diagnostic.message));
}

}  // namespace

Findings::Findings(std::string file, const SourceText& text)
    : file_(std::move(file)), text_(text) {}

void Findings::Error(const Span& place, std::string message, std::string help) {
    hasErrors_ = true;
    Add(Diagnostic::Severity::kError, place, std::move(message), std::move(help));
}

void Findings::Warning(const Span& place, std::string message, std::string help) {
    Add(Diagnostic::Severity::kWarning, place, std::move(message), std::move(help));
}

void Findings::Add(Diagnostic::Severity severity, const Span& place, std::string message,
                   std::string help) {
    Diagnostic diagnostic;
    diagnostic.severity = severity;
    diagnostic.file = file_;
    diagnostic.line = place.line;
    diagnostic.column = place.column;
    diagnostic.length = place.length;
    diagnostic.message = std::move(message);
    diagnostic.help = std::move(help);
    const std::string_view line = text_.Line(place.line);
    if (line.size() <= kLongestQuotedLine) {
        diagnostic.text = PrintableLine(line);
    }
    diagnostics_.push_back(std::move(diagnostic));
}

std::vector<Diagnostic> Findings::Take() {
    std::vector<Diagnostic> sorted = std::move(diagnostics_);
    std::sort(sorted.begin(), sorted.end(),
              [](const Diagnostic& a, const Diagnostic& b) { return Order(a) < Order(b); });
    sorted.erase(
        std::unique(sorted.begin(), sorted.end(),
                    [](const Diagnostic& a, const Diagnostic& b) { return Order(a) == Order(b); }),
        sorted.end());
    return sorted;
}

}  // namespace GrpOwnerLinux
