// Sends one tool call to the application over a connection of its own, and receives its progress and its response. When
// no process listens, it launches the application, once per call, and waits for the socket to appear.
//
// Each blocking operation runs on a thread of its own, so coroutines never block. The client has no mutable state: one
// instance serves any number of calls at once.
#pragma once

#include "kit/jsonrpc/DecodingError.h"
#include "kit/jsonrpc/JSONWriter.h"
#include "kit/wire/MCPProgressReports.h"
#include "kit/wire/MCPWireFrames.h"
#include "posix/BlockingThread.h"
#include "posix/FileDescriptor.h"
#include "server/CallCancellation.h"
#include "server/MCPAppLauncher.h"
#include "server/MemoryTrimmer.h"
#include "server/PendingCancellations.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace vostel_mcp {

class MCPSocketClient final {
public:
    /// The application closed the connection, or reading failed, before a response had arrived.
    enum class ClientError { connectionClosedUnexpectedly };

    /// The client cancelled the call before its request was written.
    struct Cancelled {
        bool operator==(const Cancelled&) const = default;
    };

    /// There is not enough memory for the call or its answer.
    struct OutOfMemory {
        bool operator==(const OutOfMemory&) const = default;
    };

    /// Why a call got no response.
    struct Failure {
        std::variant<ClientError, Cancelled, OutOfMemory, VostelMCPKit::ConnectError, VostelMCPKit::PosixError,
                     VostelMCPKit::MCPWireError, VostelMCPKit::DecodingError, VostelMCPKit::EncodingError>
            is;

        /// A sentence for the user.
        [[nodiscard]] std::string description() const;

        bool operator==(const Failure&) const = default;
    };

    /// What is sent to the application.
    struct Call {
        VostelMCPKit::MCPWireRequest request;
        /// The JSON text of the arguments, as our writer writes it. If present, `request.arguments` is ignored.
        std::optional<VostelMCPKit::Bytes> arguments = {};
    };

    /// The application's answer: the JSON text of the result, as our writer writes it, or why it refused the call. A
    /// result stays text, because the server does not read it.
    using Answer = std::variant<VostelMCPKit::Bytes, VostelMCPKit::MCPWireError>;

    /// Receives the progress reports of a connection in order, all reports of one read together. Usually they belong to
    /// one call. Called on the thread of the exchange, which reads on when it returns. So a slow client slows down the
    /// application, and reports do not pile up in our memory.
    using Progress = std::function<void(std::vector<VostelMCPKit::MCPProgressReports>)>;

    /// The system functions that the client uses. A test passes its own.
    struct System {
        /// Calls `beforeWaiting`, if there is one, before it waits for the application to accept.
        std::function<std::expected<posix::FileDescriptor, VostelMCPKit::PosixError>(
            const std::string& path, const std::function<void()>& beforeWaiting)>
            connect;
        posix::ThreadStarter startThread;
        std::function<std::chrono::steady_clock::time_point()> now;
        std::function<void(std::chrono::duration<double>)> sleep;
        MemoryTrimmer& memory;
    };

    /// Fails when the socket's path does not fit a socket address.
    [[nodiscard]] static std::expected<std::unique_ptr<MCPSocketClient>, VostelMCPKit::ConnectError>
    make(const std::filesystem::path& applicationSupportDirectory, MCPAppLauncher launcher, System system);

    /// If `cancellation` is cancelled before the request is written, the call is not sent.
    [[nodiscard]] VostelMCPKit::Task<std::expected<Answer, Failure>>
    send(Call call, Progress progress, std::shared_ptr<CallCancellation> cancellation);

    /// Tells the application that the client cancelled a call. Marks the cancellation as held in `pending` while the
    /// application accepts no connection. Never launches the application. Reports no failure.
    [[nodiscard]] VostelMCPKit::Task<void> cancel(std::string requestID, PendingCancellations& pending);

private:
    using Connected = std::expected<posix::FileDescriptor, Failure>;

    MCPSocketClient(std::string socketPath, MCPAppLauncher launcher, System system);

    VostelMCPKit::Task<Connected> connectOnce(PendingCancellations* pending);
    VostelMCPKit::Task<Connected> launchAndWait();
    Connected waitForSocket() const;

    const std::string socketPath_;
    const MCPAppLauncher launcher_;
    const System system_;
};

} // namespace vostel_mcp
