#pragma once

#include <string>
#include <vector>

#include "platform/linux/host.h"
#include "platform/linux/source_text.h"

namespace GrpOwnerLinux {

/// Collects what is wrong with one file. Used by one thread; refers to the text, which must live
/// longer.
class Findings {
public:
    Findings(std::string file, const SourceText& text);

    /// @param message one line, without a full stop; what stands in the file is given by Quote
    /// @param help how to mend it; may be empty
    void Error(const Span& place, std::string message, std::string help = {});
    void Warning(const Span& place, std::string message, std::string help = {});

    bool HasErrors() const { return hasErrors_; }

    /// All of them by place, each once: a part that several aliases stand for is read several
    /// times.
    std::vector<Diagnostic> Take();

private:
    void Add(Diagnostic::Severity severity, const Span& place, std::string message,
             std::string help);

    const std::string file_;
    const SourceText& text_;
    std::vector<Diagnostic> diagnostics_;
    bool hasErrors_ = false;
};

}  // namespace GrpOwnerLinux
