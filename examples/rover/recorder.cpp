// Records the camera for as long as somebody asks for it; its parameters say what for.

#include "examples/rover/rover.h"

int main() {
    const char* subject = std::getenv("GRPOWNER_PARA_0_0");
    return Rover::Run("recorder", 1000000, [subject](long second) {
        std::printf("recorder: second %ld of %s, frame %.0f\n", second,
                    subject == nullptr ? "everything" : subject, Rover::Get("camera"));
    });
}
