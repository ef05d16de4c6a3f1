#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace WirePages {

/// As `hexdump -C` shows them.
std::string Dump(const std::string& bytes);

/// A page of docs/wire and the fences on it. A fence begins with its kind and its name:
///   hex NAME    bytes, as Dump shows them
///   reads NAME  what a reader makes of bytes, a line each: NAME OF A HEX FENCE -> WORDS, or
///               "PAYLOAD" -> WORDS, with \n, \0 and \xHH in the payload
class Page {
public:
    /// @throw std::runtime_error when there is no such page
    explicit Page(const std::string& name);

    /// Empty, and a failure of the test, when there is none of this name.
    std::string Text(const std::string& fence) const;
    std::string Bytes(const std::string& fence) const;

    using Reader = std::function<std::string(const std::string& record)>;
    using Wrapper = std::function<std::string(const std::string& payload)>;

    /// Expects of each line that the reader makes of it what stands there.
    /// @param wrap makes the record of a payload
    void Check(const std::string& fence, const Wrapper& wrap, const Reader& read) const;

private:
    const std::string name_;
    std::map<std::string, std::vector<std::string>> fences_;
};

}  // namespace WirePages
