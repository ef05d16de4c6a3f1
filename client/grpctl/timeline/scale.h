#pragma once
// From times to places. Long times in which nothing happens are shown as a narrow gap.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "client/grpctl/timeline/story.h"

namespace GrpCtl::Timeline {

struct Tick {
    double x = 0;
    std::string words;
};

/// A quiet time that is not shown at its length.
struct Quiet {
    int64_t begin = 0;
    int64_t end = 0;
    double x = 0;
    double width = 0;
};

class Scale {
public:
    /// @param left, width where the picture of the times goes
    Scale(const Story& story, double left, double width);

    double X(int64_t when) const;
    const std::vector<Quiet>& Quiets() const { return quiets_; }
    std::vector<Tick> Ticks() const;

private:
    /// A stretch of time that is shown evenly.
    struct Piece {
        int64_t begin = 0;
        int64_t end = 0;
        double x = 0;
        double width = 0;
    };

    void TicksOf(const Piece& piece, int64_t step, std::vector<Tick>& ticks) const;

    int64_t zero_ = 0;
    std::vector<Piece> pieces_;  // with the quiet ones
    std::vector<Quiet> quiets_;
    double perNanosecond_ = 0;
};

}  // namespace GrpCtl::Timeline
