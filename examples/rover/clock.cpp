// The rover's time, in tenths of a second.

#include "examples/rover/rover.h"

int main() {
    return Rover::Run("clock", 100000,
                      [](long tick) { Rover::Put("clock", static_cast<double>(tick)); });
}
