// A start configuration.

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "platform/linux/host.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    static const int file = memfd_create("configuration", MFD_CLOEXEC);
    if (ftruncate(file, static_cast<off_t>(size)) != 0 || pwrite(file, bytes, size, 0) < 0) {
        std::abort();
    }
    const auto configuration = GrpOwnerLinux::LoadConfiguration(
        "/proc/self/fd/" + std::to_string(file), {{"NAME", "value"}});
    (void)GrpOwnerLinux::RenderDiagnostics(configuration.diagnostics);
    return 0;
}
