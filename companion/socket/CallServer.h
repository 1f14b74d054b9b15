// The application's side of the socket.
//
// One thread polls all connections. It accepts them, reads frames, delivers cancellations and notices callers that hang
// up. Each call runs on a thread of its own, which writes the call's progress and its answer. When `Limits::calls` run,
// further calls wait in their connections. A connection carries one call and ends with its answer. A peer that breaks
// the protocol, is slow or does not read loses its own connection and disturbs no other.
#pragma once

#include "companion/socket/CallRegistry.h"
#include "companion/socket/ListeningSocket.h"
#include "companion/support/Tool.h"
#include "kit/wire/MCPWireFrameBuffer.h"
#include "kit/wire/MCPWireFrames.h"
#include "posix/BlockingThread.h"
#include "posix/FileDescriptor.h"
#include "posix/WakePipe.h"

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
        /// Open connections. Each has a descriptor, and a running call may use some more. Further connections wait to
        /// be accepted.
        std::size_t connections = 1200;
        /// Calls that run at once. Further calls wait.
        std::size_t calls = 104;
        /// Calls that wait at once. Further calls are rejected as busy. `calls` and `waitingCalls` together are fewer
        /// than `connections`, so that a cancellation always finds a free connection.
        std::size_t waitingCalls = 1000;
        /// The total size of the waiting requests, to bound memory. A request that exceeds it is rejected as busy.
        std::size_t waitingBytes = std::size_t{256} << 20;
        /// How long a peer may take to begin and finish a frame.
        std::chrono::milliseconds frameTimeout{10'000};
        /// How long a peer may take to read a whole answer.
        std::chrono::milliseconds answerTimeout{30'000};
        /// On shutdown: how long cancelled calls may take to deliver their answers.
        std::chrono::milliseconds drainTimeout{2'000};
        /// After that: how long the threads of the calls may take to finish. Some are blocked in system calls.
        std::chrono::milliseconds exitTimeout{3'000};
        /// The shortest time between two reports of a call's progress.
        std::chrono::milliseconds progressInterval{200};
    };

    /// `tools` outlives the server.
    [[nodiscard]] static std::expected<std::unique_ptr<CallServer>, ListenError>
    make(ListeningSocket socket, const ToolTable& tools, posix::ThreadStarter startThread, Limits limits);
    CallServer(const CallServer&) = delete;
    CallServer& operator=(const CallServer&) = delete;

    /// Serves until `stop`. Then it removes the socket, cancels the running calls and waits for them for a few seconds.
    /// Returns whether all calls have ended. If not, nothing that calls use may be destroyed, this server included;
    /// `run` may be called again to continue waiting.
    [[nodiscard]] bool run();
    /// Callable from any thread, at any time.
    void stop();

private:
    using Time = std::chrono::steady_clock::time_point;
    using ConnectionID = std::uint64_t;

    /// A request whose call has not been started.
    struct Waiting {
        VostelMCPKit::MCPWireRequest request;
        /// The size of its frame, in bytes.
        std::size_t size = 0;
    };
    struct Connection {
        posix::FileDescriptor socket;
        VostelMCPKit::MCPWireFrameBuffer received;
        /// When the connection is closed unless a frame has arrived. Not used once there is a call.
        Time deadline;
        /// All further input is discarded, so that a peer that is still writing can read why it was rejected.
        bool discarding = false;
        /// The peer has disconnected or broken the protocol. The connection is erased when its call ends.
        bool abandoned = false;
        /// Both are set once the request has arrived.
        std::shared_ptr<Cancellation> call;
        std::string requestID;
        /// Set until the call runs. Deliberate: there is no other queue. The connection that was accepted first is
        /// next.
        std::optional<Waiting> waiting;
    };
    CallServer(ListeningSocket socket, const ToolTable& tools, posix::ThreadStarter startThread, Limits limits,
               posix::WakePipe wakePipe);

    // The loop's thread:
    void serveOnce();
    void beginDraining();
    void acceptWaiting();
    void receive(ConnectionID id);
    void processFrames(ConnectionID id, Connection& connection);
    /// False when the frame ends the connection.
    [[nodiscard]] bool handleFrame(Connection& connection, std::string_view payload);
    [[nodiscard]] bool takeCall(Connection& connection, Waiting waiting);
    [[nodiscard]] bool hasRoomFor(const Waiting& more) const;
    /// Starts waiting calls as long as the limit allows.
    void startWaiting();
    /// False if no thread could be started.
    [[nodiscard]] bool startCall(ConnectionID id, Connection& connection);
    void answerCancelled();
    /// Answers a call that will not run. The answer is dropped if the peer does not take it at once.
    static void rejectCall(const Connection& connection, const char* sentence);
    void rejectFrame(Connection& connection, const VostelMCPKit::MCPWireError& error);
    void closeConnection(ConnectionID id, Connection& connection);
    void eraseConnection(ConnectionID id);
    void takeFinished();
    void dropExpired();
    [[nodiscard]] bool accepts(Time now) const;
    [[nodiscard]] int pollTimeout(Time now) const;

    // The calls' threads:
    void runCall(ConnectionID id, int socket, const VostelMCPKit::MCPWireRequest& request,
                 const std::shared_ptr<Cancellation>& cancellation);

    /// Null once the server stops.
    std::unique_ptr<ListeningSocket> listening_;
    const ToolTable& tools_;
    const posix::ThreadStarter startThread_;
    const Limits limits_;
    const posix::WakePipe wakePipe_;
    std::atomic<bool> stopping_ = false;

    // The loop's own:
    std::map<ConnectionID, Connection> connections_;
    ConnectionID nextConnection_ = 0;
    std::size_t running_ = 0;
    CallRegistry registry_;
    /// When to accept again. Set after the system ran out of descriptors.
    std::optional<Time> acceptAgain_;
    std::optional<Time> drainEnds_;
    /// When `run` stops waiting for calls. Set once the server stops.
    std::optional<Time> exitDeadline_;

    std::mutex mutex_;
    /// Guarded by `mutex_`.
    std::vector<ConnectionID> finished_;
};

} // namespace vostel_companion
