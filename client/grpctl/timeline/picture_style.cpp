#include "client/grpctl/timeline/picture_style.h"

#include "client/grpctl/timeline/words.h"

namespace GrpCtl::Timeline {

namespace {

// One line a class: in the light, in the dark.
struct Colour {
    const char* selector;
    const char* property;
    const char* light;
    const char* dark;
};

// clang-format off
constexpr Colour kColours[] = {
    {".page",               "fill",   "#ffffff", "#0d1117"},
    {"text",                "fill",   "#1f2328", "#e6edf3"},
    {".faint,.tick",        "fill",   "#59636e", "#9198a1"},
    {".grid",               "stroke", "#e3e7ec", "#21262d"},
    {".stripe",             "fill",   "#f6f8fa", "#12171e"},
    {".waiting",            "stroke", "#8c959f", "#6e7681"},
    {".starting,.amber",    "fill",   "#f0a52c", "#d9922b"},
    {".running",            "fill",   "#b4e0c3", "#1d5236"},
    {".took",               "stroke", "#b4e0c3", "#1d5236"},
    {".violet",             "fill",   "#9a86d9", "#8169cf"},
    {".hatch",              "stroke", "#9a5b00", "#5c3700"},
    {".dots",               "stroke", "#5b459f", "#d3c6ff"},
    {".cause",              "stroke", "#a5adb6", "#575f69"},
    {".chain",              "stroke", "#0a58ca", "#6cb0ff"},
    {".edge",               "stroke", "#0a58ca", "#6cb0ff"},
    {".head,.main",         "fill",   "#0a58ca", "#6cb0ff"},
    {".bad",                "stroke", "#c4141f", "#ff7b72"},
    {".halo",               "stroke", "#ffffff", "#0d1117"},
    {".hole",               "fill",   "#ffffff", "#0d1117"},
    {".quiet",              "fill",   "#ffffff", "#0d1117"},
    {".cut",                "stroke", "#8c959f", "#6e7681"},
    {".request",            "fill",   "#dde7f5", "#1c2b41"},
    {".failed",             "fill",   "#f9d5d3", "#4a1d1d"},
};
// clang-format on

constexpr char kShapes[] =
    R"svg(text{font-family:system-ui,-apple-system,"Segoe UI","DejaVu Sans",sans-serif}
.title{font-size:17px;font-weight:600}
.faint,.legend{font-size:12px}
.tick{font-size:11px;text-anchor:middle}
.quiet-time{font-style:italic}
.small,.took{font-size:10.5px}
.took{stroke-width:3;stroke-linejoin:round;paint-order:stroke}
.main{font-weight:600}
.name{text-anchor:end}
.grid,.cause,.chain,.edge,.cut,.waiting,.bad,.halo,.hatch,.dots{fill:none}
.waiting{stroke-width:1.5;stroke-dasharray:2 3}
.cause{stroke-width:1}
.chain{stroke-width:1.8}
.edge{stroke-width:1.8}
.cut{stroke-dasharray:4 3}
.quiet{opacity:.82}
.bad{stroke-width:2;stroke-linejoin:round;stroke-linecap:round}
.halo{stroke-width:5;stroke-linecap:round;stroke-linejoin:round}
.hatch{stroke-width:2}
.dots{stroke-width:2}
.restarting{fill:url(#lines)}
.stopping{fill:url(#across)}
)svg";

// Each around its own middle.
constexpr char kDefinitions[] = R"svg(<defs>
<pattern id="lines" width="6" height="6" patternUnits="userSpaceOnUse"><rect class="amber" width="6" height="6"/><path class="hatch" d="M-1 7L7 -1M-1 1L1 -1M5 7L7 5"/></pattern>
<pattern id="across" width="6" height="6" patternUnits="userSpaceOnUse"><rect class="violet" width="6" height="6"/><path class="dots" d="M-1 -1L7 7M-1 5L1 7M5 -1L7 1"/></pattern>
<g id="crash"><path class="halo" d="M-4-4L4 4M-4 4L4-4"/><path class="bad" d="M-4-4L4 4M-4 4L4-4"/></g>
<g id="end"><path class="bad hole" d="M-3.5-3.5H3.5V3.5H-3.5Z"/></g>
<g id="start-failed"><path class="bad hole" d="M0-5L5 4H-5Z"/></g>
<g id="not-restarted"><circle class="bad hole" r="4.5"/><path class="bad" d="M-3 3L3-3"/></g>
<g id="heartbeat-lost"><path class="bad hole" d="M0-5L5 0L0 5L-5 0Z"/></g>
<g id="heartbeat-back"><path class="edge hole" d="M0-5L5 0L0 5L-5 0Z"/></g>
</defs>
)svg";

}  // namespace

std::string StyleOfPicture(double nameFont) {
    std::string light;
    std::string dark;
    for (const Colour& colour : kColours) {
        const std::string start = std::string(colour.selector) + "{" + colour.property + ":";
        light += start + colour.light + "}\n";
        dark += start + colour.dark + "}\n";
    }
    return std::string("<style>\n") + kShapes + ".name{font-size:" + ShowFixed(nameFont, 1) +
           "px}\n" + light + "@media (prefers-color-scheme:dark){\n" + dark + "}\n</style>\n" +
           kDefinitions;
}

std::string_view StyleOf(Stage stage) {
    switch (stage) {
        case Stage::kWaiting:
            return "waiting";
        case Stage::kStarting:
            return "starting";
        case Stage::kRestarting:
            return "restarting";
        case Stage::kRunning:
            return "running";
        case Stage::kStopping:
            break;
    }
    return "stopping";
}

std::string_view ShapeOf(MarkKind kind) {
    switch (kind) {
        case MarkKind::kCrash:
            return "crash";
        case MarkKind::kEnd:
            return "end";
        case MarkKind::kStartFailed:
            return "start-failed";
        case MarkKind::kNotRestarted:
            return "not-restarted";
        case MarkKind::kHeartBeatLost:
            return "heartbeat-lost";
        case MarkKind::kHeartBeatBack:
            break;
    }
    return "heartbeat-back";
}

std::string_view WordOf(MarkKind kind) {
    switch (kind) {
        case MarkKind::kCrash:
            return "crash";
        case MarkKind::kEnd:
            return "end by itself";
        case MarkKind::kStartFailed:
            return "start failed";
        case MarkKind::kNotRestarted:
            return "not restarted";
        case MarkKind::kHeartBeatLost:
            return "heartbeat lost";
        case MarkKind::kHeartBeatBack:
            break;
    }
    return "heartbeat back";
}

}  // namespace GrpCtl::Timeline
