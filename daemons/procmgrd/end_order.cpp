#include "daemons/procmgrd/end_order.h"

#include <vector>

namespace ProcMgrDaemon {

std::set<std::string> FreeToEnd(const Depends& depends, const std::set<std::string>& alive) {
    std::set<std::string> needed;  // whatever is reached from something alive
    std::vector<std::string> open(alive.begin(), alive.end());
    while (!open.empty()) {
        const auto found = depends.find(open.back());
        open.pop_back();
        if (found == depends.end()) {
            continue;
        }
        for (const std::string& dependency : found->second) {
            // What is alive has been an entry point already.
            if (needed.insert(dependency).second && alive.count(dependency) == 0) {
                open.push_back(dependency);
            }
        }
    }
    std::set<std::string> free;
    for (const std::string& name : alive) {
        if (needed.count(name) == 0) {
            free.insert(name);
        }
    }
    return free.empty() ? alive : free;
}

}  // namespace ProcMgrDaemon
