// What an application says of itself.

#include <cstddef>
#include <cstdint>

#include "daemons/grpownerd/notify_message.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    (void)GrpOwnerDaemon::ParseNotifyMessage({reinterpret_cast<const char*>(bytes), size});
    return 0;
}
