// What the reader says of start configurations: a line for each, "good" or "bad".
#include <platform/linux/host.h>

#include <cstdio>

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        const auto read =
            GrpOwnerLinux::LoadConfiguration(argv[i], {{"BIN", "/b"}, {"DATA", "/d"}});
        std::puts(read.Ok() ? "good" : "bad");
    }
}
