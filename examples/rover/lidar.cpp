// Measures the distance to whatever is ahead, in metres.

#include "examples/rover/rover.h"

int main() {
    return Rover::Run("lidar", 50000, [](long scan) {
        Rover::Put("lidar", 5.0 - static_cast<double>(scan % 80) / 20.0);
    });
}
