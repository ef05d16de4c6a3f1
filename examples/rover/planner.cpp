// Decides where to go. Ready with its first decision.

#include "examples/rover/rover.h"

int main() {
    return Rover::Run("planner", 200000, [](long tick) {
        const double distance = Rover::Get("fusion");
        std::printf("planner: obstacle at %.2f m, %s\n", distance,
                    distance < 2.0 ? "turning left" : "going ahead");
        if (tick == 0) {
            Rover::Notify("READY=1");
        }
    });
}
