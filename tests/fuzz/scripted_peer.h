#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

namespace GrpOwnerFuzz {

/// The packets that an input stands for; a backslash and anything but a backslash part them.
std::vector<std::string> PacketsOf(const uint8_t* bytes, size_t size);

/// Sends as many of the packets as the socket takes at once.
/// @param descriptor goes with the second packet unless it is -1
void SendPackets(int socket, const std::vector<std::string>& packets, int descriptor = -1);

/// A pair of sockets of packets. What is not taken is closed at the end.
struct SocketPair {
    SocketPair();
    ~SocketPair();

    /// Says all of it and that there is no more to come.
    void Say(const std::vector<std::string>& packets) const;

    int ours = -1;
    int theirs = -1;  // to be taken over
};

/// A directory with a socket on which whoever connects next hears these packets and then the end.
class ScriptedPeer {
public:
    ScriptedPeer();
    ~ScriptedPeer();

    /// Starts to wait for the one who connects. Ended by Join.
    void Expect(std::vector<std::string> packets, int descriptor = -1);
    void Join() { thread_.join(); }

    const std::string& Directory() const { return directory_; }
    std::string Path() const { return directory_ + "/peer.pipe"; }

private:
    std::string directory_;
    int listener_ = -1;
    std::thread thread_;
};

}  // namespace GrpOwnerFuzz
