// Joins camera and lidar. Ready when both have delivered.

#include "examples/rover/rover.h"

int main() {
    bool isReady = false;
    return Rover::Run("fusion", 50000, [&isReady](long) {
        const double distance = Rover::Get("lidar");
        Rover::Put("fusion", distance + Rover::Get("camera") / 1000.0);
        if (!isReady && distance > 0) {
            isReady = true;
            Rover::Notify("READY=1");
        }
    });
}
