// Counts what the others have left in the data directory.

#include "examples/rover/rover.h"

int main() {
    return Rover::Run("logger", 500000, [](long tick) {
        std::printf("logger: tick %ld, the rover's clock says %.0f\n", tick, Rover::Get("clock"));
    });
}
