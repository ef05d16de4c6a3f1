// Who needs whom, as a tree of text.

#include <set>
#include <utility>

#include "client/grpctl/group/graph.h"
#include "client/grpctl/group/group_output.h"
#include "client/grpctl/text/table.h"

namespace GrpCtl {

namespace {

constexpr size_t kDeepest = 20;  // two characters each

struct Lines {
    const char* branch;
    const char* lastBranch;
    const char* trunk;
};
constexpr Lines kUtf8{"├─", "└─", "│ "};
constexpr Lines kAscii{"|-", "`-", "| "};

/// Draws one tree after the other. Lives for one call.
class TreePainter {
public:
    TreePainter(const Graph& graph, const Screen& screen)
        : graph_(graph), screen_(screen), lines_(screen.isUtf8 ? kUtf8 : kAscii) {}

    std::string Paint() {
        for (const std::string& root : Roots()) {
            PaintNode(root, "", "", 0);
            PaintPostponed();
        }
        return LayOut(rows_, screen_.isColored);
    }

private:
    // Nobody needs them.
    std::vector<std::string> Roots() const {
        Names needed;
        for (const auto& [name, node] : graph_.nodes) {
            needed.insert(node.needs.begin(), node.needs.end());
        }
        std::vector<std::string> roots;
        for (const auto& [name, node] : graph_.nodes) {
            if (needed.count(name) == 0) {
                roots.push_back(name);
            }
        }
        return roots;
    }

    // Grows while it is worked on.
    void PaintPostponed() {
        for (size_t next = 0; next < postponed_.size(); ++next) {
            if (drawn_.count(postponed_[next]) == 0) {
                PaintNode(std::string(postponed_[next]), "", "", 0);
            }
        }
        postponed_.clear();
    }

    void PaintNode(const std::string& name, const std::string& before, const std::string& below,
                   size_t depth) {
        const GraphNode& node = graph_.nodes.at(name);
        std::string remark;
        if (!node.needs.empty() && drawn_.count(name) > 0) {
            remark = "see above";
        } else if (!node.needs.empty() && depth == kDeepest) {
            remark = "goes on below";
            postponed_.push_back(name);
        }
        rows_.push_back({before + name, WordFor(node), {remark, Style::kFaint}});
        if (!remark.empty()) {
            return;
        }
        drawn_.insert(name);
        size_t left = node.needs.size();
        for (const std::string& needed : node.needs) {
            const bool isLast = --left == 0;
            PaintNode(needed, below + (isLast ? lines_.lastBranch : lines_.branch),
                      below + (isLast ? "  " : lines_.trunk), depth + 1);
        }
    }

    static Cell WordFor(const GraphNode& node) {
        if (!node.manifest) {
            return "not in the configuration";
        }
        if (node.state) {
            return {std::string(WordOf(*node.state)), StyleOf(*node.state)};
        }
        return node.manifest->GetIsDynamicPara() ? "template"
               : node.manifest->GetIsAutoBoot()  ? ""
                                                 : "on request";
    }

    const Graph& graph_;
    const Screen& screen_;
    const Lines& lines_;
    std::vector<Row> rows_;
    Names drawn_;
    std::vector<std::string> postponed_;
};

}  // namespace

std::string TreeOf(const Graph& graph, const Screen& screen) {
    return TreePainter(graph, screen).Paint();
}

}  // namespace GrpCtl
