#include "client/grpctl/text/input.h"

#include <fstream>
#include <iostream>
#include <iterator>

#include "client/grpctl/text/failure.h"

namespace GrpCtl {

std::vector<uint8_t> ReadInput(const std::string& path) {
    std::ifstream file;
    if (path != "-") {
        file.open(path, std::ios::binary);
    }
    std::istream& input = path == "-" ? std::cin : file;
    std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(input)), {});
    if (path != "-" && !file.is_open()) {
        throw Failure{kWrongUsage, "cannot read " + path, "", ""};
    }
    return bytes;
}

}  // namespace GrpCtl
