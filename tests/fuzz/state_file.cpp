// A file of system states.

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>

#include "daemons/grpownerd/state_table.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    static const int file = memfd_create("states", MFD_CLOEXEC);
    if (ftruncate(file, static_cast<off_t>(size)) != 0 || pwrite(file, bytes, size, 0) < 0) {
        std::abort();
    }
    (void)GrpOwnerDaemon::ReadStateFile("/proc/self/fd/" + std::to_string(file), {}, {});
    return 0;
}
