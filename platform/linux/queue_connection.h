#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "platform/linux/shared_pools.h"
#include "platform/messaging_service.h"

namespace GrpOwnerLinux {

/// One reader of a queue: its socket, and the blocks that it has.
///
/// A thread of its own calls Serve, which calls the operations; Enqueue is called by any thread,
/// from within the operations too. The mutex guards what is sent, so that events leave in order and
/// a return cannot overtake its event's entry; sending never blocks, and no operation is called
/// under it.
class QueueConnection {
public:
    /// Takes the socket over.
    /// @param name of the queue
    QueueConnection(int socket, std::string name, uint64_t handle);
    ~QueueConnection();
    QueueConnection(const QueueConnection&) = delete;
    QueueConnection& operator=(const QueueConnection&) = delete;

    /// Opens the reader's file, takes back what the reader returns until it goes away or sends
    /// something else, and closes the file.
    void Serve(const IAMQueueOperations& operations);

    /// Tells the reader why it is not served.
    void Refuse(int32_t code, std::string_view reason);

    /// See IAMDataEnqueue; -EPIPE when the reader has gone.
    int Enqueue(uint64_t pool, uint64_t block);

private:
    void Greet();
    void TakeReturns();
    bool TakeBack(uint64_t sequence);
    void End();
    int GreetLocked();
    int SendLocked(const PlacedBlock& placed);

    const int socket_;
    const std::string name_;
    IamQfsMgrFile file_;

    std::mutex mutex_;
    bool isGreeted_ = false;
    bool isOver_ = false;
    uint64_t lastSequence_ = 0;
    std::shared_ptr<const SharedMemory> memory_;  // of which the reader has the descriptor
    std::map<uint64_t, uint64_t> blocks_;         // which the reader has, by sequence
};

}  // namespace GrpOwnerLinux
