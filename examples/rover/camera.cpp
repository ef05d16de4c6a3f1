// Sees an obstacle come and go. Beats for as long as it makes frames: --fps N of them a second.

#include "examples/rover/rover.h"

int main(int argc, char** argv) {
    const long fps = argc > 2 && std::strcmp(argv[1], "--fps") == 0 ? std::atol(argv[2]) : 10;
    const long framesPerSecond = fps > 0 ? fps : 10;
    return Rover::Run("camera", static_cast<useconds_t>(1000000 / framesPerSecond), [](long frame) {
        Rover::Put("camera", static_cast<double>(frame % 100));
        Rover::Notify("WATCHDOG=1");
    });
}
