#pragma once

#include <string>
#include <vector>

#include "client/grpctl/text/failure.h"
#include "client/grpctl/text/interrupt.h"
#include "client/grpctl/text/screen.h"
#include "client/grpctl/typed/options.h"
#include "client/ss_client.h"

namespace GrpCtl {

/// One command's connection to the owner. Ctrl-C ends its waits from here on.
class Session {
public:
    explicit Session(const Options& options);

    GrpOwnerClient::SsClient& Client() { return client_; }
    const GrpOwnerClient::Facts& Facts() const { return client_.GetFacts(); }
    const Options& GetOptions() const { return options_; }
    const std::string& Socket() const { return socket_; }
    int InterruptDescriptor() const { return interrupt_.Descriptor(); }

private:
    const Options& options_;
    const std::string socket_;
    GrpOwnerClient::SsClient client_;
    Interrupt interrupt_;
};

/// The socket of the owner that is meant.
std::string FindOwnerSocket(const Options& options);

/// Of all owners that can be seen.
std::vector<std::string> OwnerNames();

/// The socket of the event queue of this name; without a name the only one there is.
std::string FindQueueSocket(const Options& options, const std::string& name);

}  // namespace GrpCtl
