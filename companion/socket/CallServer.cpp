#include "companion/socket/CallServer.h"

#include "companion/socket/FrameSender.h"
#include "companion/socket/ProgressThrottle.h"
#include "companion/support/InQuotes.h"
#include "kit/support/match.h"
#include "kit/support/unwrap.h"
#include "kit/tools/MCPToolOutcome.h"
#include "kit/wire/MCPWireAnswer.h"
#include "kit/wire/MCPWireFrameText.h"
#include "kit/wire/MCPWireFraming.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <poll.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace vostel_companion {

using namespace VostelMCPKit;

namespace {

constexpr posix::ThreadName callThread{"com.vostel.vostel.tool-call", "tool-call"};
constexpr std::size_t readSize = 65'536;
/// The pause before the loop asks again for a resource that the system did not have.
constexpr std::chrono::milliseconds retryDelay{100};
/// The loop never waits for a peer. What does not fit into the socket's buffer is not sent.
constexpr std::chrono::milliseconds noWait{0};
constexpr const char* busy = "Vostel is busy with too many calls at the moment; please try again later.";

} // namespace

std::expected<std::unique_ptr<CallServer>, ListenError>
CallServer::make(ListeningSocket socket, const ToolTable& tools, posix::ThreadStarter startThread, Limits limits) {
    auto wakePipe = posix::WakePipe::make();
    if (!wakePipe) return std::unexpected(ListenError{posix::SystemError{"create a pipe", wakePipe.error()}});
    return std::unique_ptr<CallServer>{
        new CallServer{std::move(socket), tools, std::move(startThread), limits, *std::move(wakePipe)}};
}

CallServer::CallServer(ListeningSocket socket, const ToolTable& tools, posix::ThreadStarter startThread, Limits limits,
                       posix::WakePipe wakePipe)
    : listening_{std::make_unique<ListeningSocket>(std::move(socket))}, tools_{tools},
      startThread_{std::move(startThread)}, limits_{limits}, wakePipe_{std::move(wakePipe)} {}

bool CallServer::run() {
    while (!stopping_) serveOnce();
    beginDraining();
    while (running_ > 0 && std::chrono::steady_clock::now() < exitDeadline_) serveOnce();
    return running_ == 0;
}

void CallServer::stop() {
    stopping_ = true;
    wakePipe_.wake();
}

void CallServer::serveOnce() {
    const Time now = std::chrono::steady_clock::now();
    std::vector<pollfd> waiting{{wakePipe_.reader().get(), POLLIN, 0}};
    std::vector<ConnectionID> waitingIDs;
    if (accepts(now)) waiting.push_back({listening_->descriptor(), POLLIN, 0});
    const std::size_t firstConnection = waiting.size();
    for (const auto& [id, connection] : connections_) {
        // Deliberate: an abandoned connection is not polled, because it would always be ready.
        if (connection.abandoned) continue;
        waiting.push_back({connection.socket.get(), POLLIN, 0});
        waitingIDs.push_back(id);
    }

    if (::poll(waiting.data(), static_cast<nfds_t>(waiting.size()), pollTimeout(now)) < 0) {
        if (errno != EINTR) std::this_thread::sleep_for(retryDelay);
        return;
    }
    takeFinished();
    startWaiting();
    if (firstConnection == 2 && waiting[1].revents != 0) acceptWaiting();
    for (std::size_t i = 0; i < waitingIDs.size(); ++i) {
        if (waiting[firstConnection + i].revents == 0) continue;
        receive(waitingIDs[i]);
        startWaiting();
        // Deliberate: accepts after each connection that was read, so that new connections do not wait for all of them.
        // See the backlog in ListeningSocket.
        if (accepts(now)) acceptWaiting();
    }
    answerCancelled();
    dropExpired();
}

bool CallServer::accepts(Time now) const {
    return listening_ && connections_.size() < limits_.connections && (!acceptAgain_ || now >= *acceptAgain_);
}

/// Until the first deadline.
int CallServer::pollTimeout(Time now) const {
    std::optional<Time> first = drainEnds_;
    const auto consider = [&](Time time) { first = first ? std::min(*first, time) : time; };
    if (exitDeadline_) consider(*exitDeadline_);
    if (acceptAgain_ && now < *acceptAgain_) consider(*acceptAgain_);
    for (const auto& [id, connection] : connections_) {
        if (!connection.call) consider(connection.deadline);
    }
    if (!first) return -1;
    return static_cast<int>(
        std::max<std::int64_t>(std::chrono::ceil<std::chrono::milliseconds>(*first - now).count(), 0));
}

void CallServer::beginDraining() {
    listening_.reset();
    registry_.cancelAll();
    answerCancelled();
    std::erase_if(connections_, [](const auto& entry) { return !entry.second.call; });
    drainEnds_ = std::chrono::steady_clock::now() + limits_.drainTimeout;
    exitDeadline_ = *drainEnds_ + limits_.exitTimeout;
}

void CallServer::acceptWaiting() {
    acceptAgain_.reset();
    while (connections_.size() < limits_.connections) {
        auto socket = listening_->accept();
        const Time now = std::chrono::steady_clock::now();
        if (socket) {
            Connection& connection = connections_[nextConnection_++];
            connection.socket = *std::move(socket);
            connection.deadline = now + limits_.frameTimeout;
            continue;
        }
        switch (socket.error().errorNumber) {
        case EACCES:       // a process of another user; the connection is closed
        case ECONNABORTED: // closed by the peer before it was accepted
        case EINTR:
            continue;
        case EAGAIN:
            return;
        default:
            acceptAgain_ = now + retryDelay;
            return;
        }
    }
}

void CallServer::receive(ConnectionID id) {
    const auto found = connections_.find(id);
    if (found == connections_.end()) return;
    Connection& connection = found->second;
    if (connection.abandoned) return;
    const ssize_t count = ::recv(connection.socket.get(), connection.received.room(readSize), readSize, MSG_DONTWAIT);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (count <= 0) return closeConnection(id, connection);
    if (connection.discarding) return;
    connection.received.grow(static_cast<std::size_t>(count));
    processFrames(id, connection);
}

void CallServer::processFrames(ConnectionID id, Connection& connection) {
    while (true) {
        const auto payload = connection.received.next();
        if (!payload) {
            if (connection.call) return closeConnection(id, connection);
            return rejectFrame(connection, payload.error());
        }
        const auto& whole = *payload;
        if (!whole) break;
        if (!handleFrame(connection, *whole)) return closeConnection(id, connection);
        connection.deadline = std::chrono::steady_clock::now() + limits_.frameTimeout;
    }
    // Frees the buffer, because a thousand connections may wait for their calls.
    if (connection.received.empty()) connection.received = {};
}

bool CallServer::handleFrame(Connection& connection, std::string_view payload) {
    auto frame = readInboundFrame(payload);
    if (!frame) {
        const auto* refusal = std::get_if<MCPWireResponse>(&frame.error().is);
        if (refusal == nullptr || connection.call) return false;
        std::ignore = sendFrame(connection.socket.get(), MCPWireAnswer::encode(*refusal), noWait);
        return false;
    }
    return match(
        std::move(frame->is),
        [&](MCPWireRequest&& request) { return takeCall(connection, {std::move(request), payload.size()}); },
        [&](MCPWireCancellation&& cancellation) {
            registry_.cancel(cancellation.requestID, std::chrono::steady_clock::now());
            return true;
        });
}

bool CallServer::takeCall(Connection& connection, Waiting waiting) {
    if (connection.call) return false;
    connection.requestID = waiting.request.requestID;
    if (running_ == limits_.calls && !hasRoomFor(waiting)) {
        rejectCall(connection, busy);
        return false;
    }
    connection.call = std::make_shared<Cancellation>();
    connection.waiting = std::move(waiting);
    registry_.add(connection.requestID, connection.call, std::chrono::steady_clock::now());
    return true;
}

bool CallServer::hasRoomFor(const Waiting& more) const {
    std::size_t calls = 1;
    std::size_t bytes = more.size;
    for (const auto& [id, connection] : connections_) {
        if (!connection.waiting) continue;
        ++calls;
        bytes += connection.waiting->size;
    }
    return calls <= limits_.waitingCalls && bytes <= limits_.waitingBytes;
}

void CallServer::startWaiting() {
    for (auto entry = connections_.begin(); entry != connections_.end() && running_ < limits_.calls;) {
        auto& [id, connection] = *entry++;
        if (!connection.waiting || startCall(id, connection)) continue;
        rejectCall(connection, busy);
        eraseConnection(id);
    }
}

bool CallServer::startCall(ConnectionID id, Connection& connection) {
    Waiting turn = unwrap(std::exchange(connection.waiting, std::nullopt));
    auto work = [this, id, socket = connection.socket.get(), cancellation = connection.call,
                 request = std::move(turn.request)] { runCall(id, socket, request, cancellation); };
    const bool isStarted = startThread_(callThread, std::move(work)).has_value();
    if (isStarted) ++running_;
    return isStarted;
}

void CallServer::answerCancelled() {
    for (auto entry = connections_.begin(); entry != connections_.end();) {
        const auto& [id, connection] = *entry++;
        if (!connection.waiting || !connection.call->isCancelled()) continue;
        rejectCall(connection, "The call was cancelled.");
        eraseConnection(id);
    }
}

void CallServer::rejectCall(const Connection& connection, const char* sentence) {
    const Bytes answer = MCPWireAnswer::encode(connection.requestID, MCPToolOutcome::failed(sentence));
    std::ignore = sendFrame(connection.socket.get(), answer, noWait);
}

/// Answers a frame that is too long. The connection stays open for a while, so that the peer can finish writing and
/// read the answer.
void CallServer::rejectFrame(Connection& connection, const MCPWireError& error) {
    const Bytes answer = MCPWireAnswer::encode(MCPWireResponse{{}, error});
    std::ignore = sendFrame(connection.socket.get(), answer, noWait);
    connection.received = {};
    connection.discarding = true;
    connection.deadline = std::chrono::steady_clock::now() + limits_.frameTimeout;
}

void CallServer::closeConnection(ConnectionID id, Connection& connection) {
    if (!connection.call || connection.waiting) return eraseConnection(id);
    connection.abandoned = true;
    connection.received = {};
    // Before the cancellation: the thread of the call may be waiting for the peer and must not answer it any more.
    ::shutdown(connection.socket.get(), SHUT_RDWR);
    connection.call->cancel();
}

void CallServer::eraseConnection(ConnectionID id) {
    const auto found = connections_.find(id);
    registry_.remove(found->second.requestID, found->second.call);
    connections_.erase(found);
}

void CallServer::takeFinished() {
    wakePipe_.drain();
    std::vector<ConnectionID> finished;
    {
        const std::lock_guard lock{mutex_};
        finished.swap(finished_);
    }
    for (const ConnectionID id : finished) {
        eraseConnection(id);
        --running_;
    }
}

void CallServer::dropExpired() {
    const Time now = std::chrono::steady_clock::now();
    std::erase_if(connections_, [&](const auto& entry) { return !entry.second.call && entry.second.deadline <= now; });
    if (!drainEnds_ || now < *drainEnds_) return;
    drainEnds_.reset();
    // Every connection left has a running call, so this erases none while iterating.
    for (auto& [id, connection] : connections_) closeConnection(id, connection);
}

void CallServer::runCall(ConnectionID id, int socket, const MCPWireRequest& request,
                         const std::shared_ptr<Cancellation>& cancellation) {
    ProgressThrottle throttle{limits_.progressInterval, {}};
    bool isBroken = false;
    const auto progress = [&](const Progress& now) {
        if (isBroken || !throttle.admits(now.fraction, std::chrono::steady_clock::now())) return;
        const auto message = now.message.empty() ? std::nullopt : std::optional{now.message};
        const MCPWireOutboundFrame report{MCPWireProgress{request.requestID, now.fraction, message}};
        const auto bytes = MCPWireFraming::encode(report);
        // If the socket has no room, the report is left out. If the peer does not read the rest of a report, the call
        // is cancelled.
        isBroken = bytes && sendFrameIfRoom(socket, *bytes, limits_.answerTimeout) == Sending::failed;
        if (isBroken) cancellation->cancel();
    };
    const auto tool = tools_.find(request.tool);
    const MCPToolOutcome outcome =
        tool == tools_.end()
            ? MCPToolOutcome::failed("There is no tool named " + inQuotes(request.tool) + ".")
            : tool->second(ToolCall{request.arguments, *cancellation, progress, request.clientInfo.name});
    // The connection ends after the answer, even if it was not delivered. If a report was sent in part, no answer is
    // sent: the peer would read it as the rest of the report.
    if (!isBroken) {
        std::ignore = sendFrame(socket, MCPWireAnswer::encode(request.requestID, outcome), limits_.answerTimeout);
    }

    // The loop may destroy the server once it has seen the last call end, so this is the thread's last access to it.
    const std::lock_guard lock{mutex_};
    finished_.push_back(id);
    wakePipe_.wake();
}

} // namespace vostel_companion
