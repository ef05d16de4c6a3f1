#include "daemons/procmgrd/children.h"

#include <sys/wait.h>

namespace ProcMgrDaemon {

void Children::ReapEnded() {
    int status = 0;
    for (pid_t pid = 0; (pid = waitpid(-1, &status, WNOHANG)) > 0;) {
        const auto found = handlers_.find(pid);
        if (found == handlers_.end()) {
            continue;  // somebody else's child, inherited over an exec of ours
        }
        // Out of the table first: the handler may start the next process, under the same number.
        const EndHandler handler = std::move(found->second);
        handlers_.erase(found);
        handler(status);
    }
}

}  // namespace ProcMgrDaemon
