#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/connection_server.h"
#include "platform/linux/host.h"
#include "platform/linux/virtual_file_frame.h"
#include "platform/linux/virtual_file_rights.h"
#include "platform/messaging_service.h"

namespace GrpOwnerLinux {

/// A virtual file that is offered. Constant, and kept by its server: connections use it until the
/// last moment of the process.
struct OfferedFile {
    std::string name;
    const IAMFileOperations* operations = nullptr;
    int32_t timeoutMs = 0;
    VirtualFileOptions options;
    uint32_t ownUser = 0;
    std::string facts;  // of the greeting
};

/// One open file: a client's socket and who the client is. Everything runs on the thread that calls
/// Serve or Refuse; nothing is shared with other connections but the constant file.
class VirtualFileConnection : public ServedConnection {
public:
    /// Takes the socket over.
    VirtualFileConnection(int socket, const OfferedFile& file);
    ~VirtualFileConnection() override;
    VirtualFileConnection(const VirtualFileConnection&) = delete;
    VirtualFileConnection& operator=(const VirtualFileConnection&) = delete;

    VirtualFileRights Rights() const override { return rights_; }
    bool IsOwn() const override;

    /// Opens the file, carries out the client's requests one after the other until it goes away,
    /// and closes the file.
    void Serve() override;

    void Refuse(int32_t code, std::string_view reason) override;

private:
    template <typename Header>
    bool Send(Header header, const void* bytes, size_t length) const;
    bool Greet(VirtualFileRights rights, std::string_view facts);
    bool ServeRequest(IAMMgrFile& file);
    bool Handle(IAMMgrFile& file, size_t received);
    bool Call(IAMMgrFile& file, const VirtualFileRequest& request);
    bool AnswerRefusal(uint32_t sequence, int32_t code, std::string_view reason);

    const int socket_;
    const OfferedFile& file_;
    std::optional<PeerCredentials> peer_;
    VirtualFileRights rights_ = VirtualFileRights::kNone;
    std::vector<uint8_t> packet_;
};

}  // namespace GrpOwnerLinux
