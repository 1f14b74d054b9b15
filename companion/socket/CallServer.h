// The application's side of the socket.
//
// One thread waits for all connections at once: it accepts them, cuts what they send into frames, finds the calls that
// cancellations name, and notices callers that hang up. Each call runs on a thread of its own, which writes the call's
// progress and its answer; beyond so many calls the next ones wait in their connections for their turn. A connection
// carries one call and ends with its answer; a peer that breaks the protocol, dawdles, or does not read costs its own
// connection and nothing else.
#pragma once

#include "companion/socket/CallRegistry.h"
#include "companion/socket/ListeningSocket.h"
#include "companion/tools/Tool.h"
#include "kit/support/Bytes.h"
#include "kit/wire/MCPWireFrames.h"
#include "posix/BlockingThread.h"
#include "posix/FileDescriptor.h"

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
        /// Each has a descriptor, and each call that runs may have some more. Further ones wait to be accepted.
        std::size_t connections = 1200;
        /// Running at once; further ones wait their turn.
        std::size_t calls = 104;
        /// Waiting at once; further ones are told to come later. Together with `calls` fewer than connections, so that
        /// a cancellation always gets through.
        std::size_t waitingCalls = 1000;
        /// Of the requests that wait, as they came: one that makes it more is told to come later, for memory's sake.
        std::size_t waitingBytes = std::size_t{256} << 20;
        /// For a peer to finish the frame that it began, or to begin one.
        std::chrono::milliseconds frame{10'000};
        /// For a peer to take a whole answer.
        std::chrono::milliseconds answer{30'000};
        /// For the calls that are cancelled at the end to have their answers taken.
        std::chrono::milliseconds farewell{2'000};
        /// After the farewell, for the calls to notice that they are cancelled: some wait for the system meanwhile.
        std::chrono::milliseconds leaving{3'000};
        /// Between two reports of a call's progress.
        std::chrono::milliseconds progress{200};
    };

    /// `tools` outlives the server.
    [[nodiscard]] static std::expected<std::unique_ptr<CallServer>, ListenError>
    make(ListeningSocket socket, const ToolTable& tools, posix::ThreadStarter startThread, Limits limits);
    CallServer(const CallServer&) = delete;
    CallServer& operator=(const CallServer&) = delete;

    /// Serves until `stop`; then the socket is removed, what runs is cancelled and awaited for a few seconds, and `run`
    /// returns. Whether all calls have ended: while one has not, nothing that calls use may be destroyed, this server
    /// included. `run` may be called again to wait on.
    [[nodiscard]] bool run();
    /// Callable from any thread, at any time.
    void stop();

private:
    using Time = std::chrono::steady_clock::time_point;
    using ConnectionID = std::uint64_t;

    /// A request whose turn has not come.
    struct Waiting {
        VostelMCPKit::MCPWireRequest request;
        /// Of its frame, in bytes.
        std::size_t size = 0;
    };
    struct Connection {
        posix::FileDescriptor socket;
        /// What is not a whole frame yet.
        VostelMCPKit::Bytes received;
        /// When the peer's patience is used up; without meaning once there is a call.
        Time deadline;
        /// Whatever comes is thrown away, so that a peer that is still writing can read its refusal.
        bool draining = false;
        /// The peer is gone or broke the protocol; the connection ends when its call does.
        bool abandoned = false;
        /// Both set from the request on.
        std::shared_ptr<Cancellation> call;
        std::string requestID;
        /// Set until the call runs. Deliberate: there is no line besides this, the one that connected first is next.
        std::optional<Waiting> waiting;
    };
    CallServer(ListeningSocket socket, const ToolTable& tools, posix::ThreadStarter startThread, Limits limits,
               posix::FileDescriptor wakeReader, posix::FileDescriptor wakeWriter);

    // The loop's thread:
    void serveOnce();
    void beginFarewell();
    void acceptWaiting();
    void receive(ConnectionID id);
    void processFrames(ConnectionID id, Connection& connection);
    /// False when the frame ends the connection.
    [[nodiscard]] bool handleFrame(Connection& connection, std::string_view payload);
    [[nodiscard]] bool takeCall(Connection& connection, Waiting waiting);
    [[nodiscard]] bool hasRoomFor(const Waiting& more) const;
    /// As many as may run.
    void startWaiting();
    /// False when there is no thread for it.
    [[nodiscard]] bool startCall(ConnectionID id, Connection& connection);
    void answerCancelled();
    /// Answers a call that will not run, as far as the peer takes that at once.
    static void turnAway(const Connection& connection, const char* sentence);
    void refuse(Connection& connection, const VostelMCPKit::MCPWireError& error);
    void hangUp(ConnectionID id, Connection& connection);
    void forget(ConnectionID id);
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
    const posix::ThreadStarter startThread_;
    const Limits limits_;
    const posix::FileDescriptor wakeReader_;
    const posix::FileDescriptor wakeWriter_;
    std::atomic<bool> stopping_ = false;

    // The loop's own:
    std::map<ConnectionID, Connection> connections_;
    ConnectionID nextConnection_ = 0;
    std::size_t running_ = 0;
    CallRegistry registry_;
    /// Set while the system has no descriptors left.
    std::optional<Time> acceptAgain_;
    std::optional<Time> farewellEnds_;
    /// When the calls that still run are left to themselves; set once the server stops.
    std::optional<Time> leaves_;

    std::mutex mutex_;
    /// Guarded by `mutex_`.
    std::vector<ConnectionID> finished_;
};

} // namespace vostel_companion
