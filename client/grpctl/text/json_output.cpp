#include "client/grpctl/text/json_output.h"

#include "client/grpctl/text/screen.h"

namespace GrpCtl {

namespace {

// Texts from outside may be no UTF-8.
constexpr auto kReplace = Json::error_handler_t::replace;

}  // namespace

Json NewObject() {
    return Json{{"schema", 1}};
}

void PutJson(const Json& object) {
    Put(object.dump(2, ' ', false, kReplace) + "\n");
}

void PutJsonLine(const Json& object) {
    Put(object.dump(-1, ' ', false, kReplace) + "\n");
}

}  // namespace GrpCtl
