// The application's side of the socket.
//
// One thread waits for all connections at once: it accepts them, cuts what they send into frames, finds the calls that
// cancellations name, and notices callers that hang up. Each call runs on a thread of its own, which writes the call's
// progress and its answer. A connection carries one call and ends with its answer; a peer that breaks the protocol,
// dawdles, or does not read costs its own connection and nothing else.
#pragma once

#include "companion/server/CallRegistry.h"
#include "companion/server/ListeningSocket.h"
#include "companion/tools/Tool.h"
#include "kit/support/Bytes.h"
#include "kit/wire/MCPWireFrames.h"
#include "server/FileDescriptor.h"
#include "server/OwnThread.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <expected>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace vostel_companion {

class CallServer final {
public:
    struct Limits {
        /// Further ones wait to be accepted. With a file open for each call, this stays below the 256 descriptors that
        /// some systems start a process with.
        std::size_t connections = 120;
        /// Fewer than connections, so that a cancellation always gets through. Further calls are told to come later.
        std::size_t calls = 104;
        /// For a peer to finish the frame that it began, or to begin one.
        std::chrono::milliseconds frame{10'000};
        /// For a peer to take a whole answer.
        std::chrono::milliseconds answer{30'000};
        /// For the calls that are cancelled at the end to have their answers taken.
        std::chrono::milliseconds farewell{2'000};
        /// Between two reports of a call's progress.
        std::chrono::milliseconds progress{200};
    };

    /// `tools` outlives the server.
    [[nodiscard]] static std::expected<std::unique_ptr<CallServer>, ListenError>
    make(ListeningSocket socket, const ToolTable& tools, vostel_mcp::ThreadStarter startThread, Limits limits);
    CallServer(const CallServer&) = delete;
    CallServer& operator=(const CallServer&) = delete;

    /// Serves until `stop`; then the socket is removed, what runs is cancelled and awaited, and `run` returns.
    void run();
    /// Callable from any thread, at any time.
    void stop();

private:
    using Time = std::chrono::steady_clock::time_point;
    using ConnectionID = std::uint64_t;

    struct Connection {
        vostel_mcp::FileDescriptor socket;
        /// What is not a whole frame yet.
        VostelMCPKit::Bytes received;
        /// When the peer's patience is used up; without meaning while a call runs.
        Time deadline;
        /// Whatever comes is thrown away, so that a peer that is still writing can read its refusal.
        bool draining = false;
        /// The peer is gone or broke the protocol; the connection ends when its call does.
        bool abandoned = false;
        /// Both set while a call runs.
        std::shared_ptr<Cancellation> call;
        std::string requestID;
    };
    CallServer(ListeningSocket socket, const ToolTable& tools, vostel_mcp::ThreadStarter startThread, Limits limits,
               vostel_mcp::FileDescriptor wakeReader, vostel_mcp::FileDescriptor wakeWriter);

    // The loop's thread:
    void serveOnce();
    void beginFarewell();
    void acceptWaiting();
    void receive(ConnectionID id);
    void processFrames(ConnectionID id, Connection& connection);
    /// False when the frame ends the connection.
    [[nodiscard]] bool handleFrame(ConnectionID id, Connection& connection, std::string_view payload);
    [[nodiscard]] bool startCall(ConnectionID id, Connection& connection, VostelMCPKit::MCPWireRequest request);
    void refuse(Connection& connection, const VostelMCPKit::MCPWireError& error);
    void hangUp(ConnectionID id, Connection& connection);
    void takeFinished();
    void dropExpired();
    [[nodiscard]] bool accepts(Time now) const;
    [[nodiscard]] int pollTimeout(Time now) const;

    // The calls' threads:
    void runCall(ConnectionID id, int socket, const VostelMCPKit::MCPWireRequest& request,
                 const std::shared_ptr<Cancellation>& cancellation);
    void wake();

    /// Null once the server stops.
    std::unique_ptr<ListeningSocket> listening_;
    const ToolTable& tools_;
    const vostel_mcp::ThreadStarter startThread_;
    const Limits limits_;
    const vostel_mcp::FileDescriptor wakeReader_;
    const vostel_mcp::FileDescriptor wakeWriter_;
    std::atomic<bool> stopping_ = false;

    // The loop's own:
    std::map<ConnectionID, Connection> connections_;
    ConnectionID nextConnection_ = 0;
    std::size_t running_ = 0;
    CallRegistry registry_;
    /// Set while the system has no descriptors left.
    std::optional<Time> acceptAgain_;
    std::optional<Time> farewellEnds_;

    std::mutex mutex_;
    /// Guarded by `mutex_`.
    std::vector<ConnectionID> finished_;
};

} // namespace vostel_companion
