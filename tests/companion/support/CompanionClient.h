// A client of the companion's socket. It can also break the protocol, which vostel-mcp never does.
#pragma once

#include "kit/wire/MCPWireFrameBuffer.h"
#include "kit/wire/MCPWireFrames.h"
#include "posix/FileDescriptor.h"

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vostel_tests {

class CompanionClient final {
public:
    /// Connects to the socket of the companion whose Application Support folder this is.
    explicit CompanionClient(const std::filesystem::path& applicationSupportDirectory);
    CompanionClient(const CompanionClient&) = delete;
    CompanionClient& operator=(const CompanionClient&) = delete;

    [[nodiscard]] bool connected() const { return socket_.get() >= 0; }

    void request(std::string_view tool, const VostelMCPKit::MCPValue& arguments, std::string requestID = "A");
    void cancel(std::string requestID);
    void sendFrame(std::string_view payload);
    /// Sends raw bytes. Stops early if the companion closes the connection.
    void sendBytes(std::string_view bytes);
    void hangUp();

    /// The next frame within half a minute. Absent if the companion closed the connection.
    [[nodiscard]] std::optional<VostelMCPKit::MCPWireOutboundFrame> next();
    /// The response to the call. Progress before it is kept.
    [[nodiscard]] std::optional<VostelMCPKit::MCPWireResponse> response();
    /// Whether the companion closes the connection without sending anything.
    [[nodiscard]] bool isClosed();

    [[nodiscard]] const std::vector<double>& progress() const { return progress_; }
    /// The message of each report. May be empty.
    [[nodiscard]] const std::vector<std::string>& messages() const { return messages_; }

private:
    posix::FileDescriptor socket_;
    VostelMCPKit::MCPWireFrameBuffer received_;
    std::vector<double> progress_;
    std::vector<std::string> messages_;
};

/// The text of a response without the fence; empty if it has none.
[[nodiscard]] std::string textOf(const std::optional<VostelMCPKit::MCPWireResponse>& response);
[[nodiscard]] bool isFailure(const std::optional<VostelMCPKit::MCPWireResponse>& response);

} // namespace vostel_tests
