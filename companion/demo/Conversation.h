// Talks to vostel-mcp as an AI client does, and prints every line.
#pragma once

#include "companion/demo/Child.h"
#include "kit/jsonrpc/MCPMessages.h"
#include "kit/support/PosixError.h"

#include <cstdint>
#include <expected>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace vostel_companion {

/// Runs the server as a child process. Standard output shows every message. Not thread-safe.
class Conversation final {
public:
    /// Starts `server` with this process's environment.
    [[nodiscard]] static std::expected<std::unique_ptr<Conversation>, VostelMCPKit::PosixError>
    begin(const std::string& server);

    Conversation(const Conversation&) = delete;
    Conversation& operator=(const Conversation&) = delete;

    /// Sends a request and waits for its response. Prints both, and the progress in between. Fails with a sentence if
    /// the server ends or answers with an error.
    [[nodiscard]] std::expected<VostelMCPKit::MCPValue, std::string> ask(std::string_view method,
                                                                         VostelMCPKit::MCPValue params);
    void notify(std::string_view method);

    /// Calls a tool with a progress token.
    [[nodiscard]] std::expected<VostelMCPKit::MCPValue, std::string> call(std::string_view tool,
                                                                          VostelMCPKit::MCPValue arguments);

private:
    explicit Conversation(std::unique_ptr<Child> server) : server_{std::move(server)} {}

    template <class Message>
    void send(const Message& message);
    std::expected<VostelMCPKit::MCPValue, std::string> receive();

    const std::unique_ptr<Child> server_;
    std::int64_t lastID_ = 0;
};

} // namespace vostel_companion
