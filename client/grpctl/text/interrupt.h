#pragma once

namespace GrpCtl {

/// Turns SIGINT and SIGTERM into a descriptor that becomes readable, for the rest of the process: a
/// wait can then be given up in order and with a word.
class Interrupt {
public:
    Interrupt();
    ~Interrupt();
    Interrupt(const Interrupt&) = delete;
    Interrupt& operator=(const Interrupt&) = delete;

    /// -1 when there is none to be had; the signals end the process at once then.
    int Descriptor() const { return fd_; }

private:
    int fd_ = -1;
};

}  // namespace GrpCtl
