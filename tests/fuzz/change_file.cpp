// A change set in a file.

#include "client/grpctl/change/change_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    (void)GrpCtl::ParseChangeFile("file", std::string(bytes, bytes + size));
    return 0;
}
