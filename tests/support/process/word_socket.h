#pragma once

#include <string>

namespace ProcessTest {

/// A socket as NOTIFY_SOCKET names it: hears the words of those who have its path.
class WordSocket {
public:
    explicit WordSocket(const std::string& path);
    ~WordSocket();
    WordSocket(const WordSocket&) = delete;
    WordSocket& operator=(const WordSocket&) = delete;

    /// The next word; empty after a minute without.
    std::string Hear() const;

private:
    int socket_;
};

}  // namespace ProcessTest
