// Cuts a stream of bytes into the lines of the stdio transport: one JSON-RPC message each, ended by a line feed.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace VostelMCPKit {

/// A plain value, not thread-safe. A line is kept in memory, at any length, until its line feed arrives.
///
///     for (const std::string& line : buffer.append(received)) handle(line);
class MCPLineBuffer {
public:
    /// Takes the next bytes and returns the lines that they complete, without their line feeds. A carriage return is a
    /// character like any other. A line that is not UTF-8 is dropped.
    [[nodiscard]] std::vector<std::string> append(std::string_view data);

private:
    /// Everything after the last line feed.
    std::string pending_;
};

} // namespace VostelMCPKit
