#include "companion/socket/CallServer.h"

#include "companion/socket/FrameSender.h"
#include "companion/socket/ProgressThrottle.h"
#include "companion/support/InQuotes.h"
#include "kit/support/match.h"
#include "kit/support/present.h"
#include "kit/tools/MCPCallResult.h"
#include "kit/wire/MCPWireFrameText.h"
#include "kit/wire/MCPWireFraming.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
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
/// How long the loop leaves a short resource of the system alone.
constexpr std::chrono::milliseconds respite{100};
/// The loop never waits for a peer: what does not fit into the socket's buffer is not sent.
constexpr std::chrono::milliseconds atOnce{0};
constexpr const char* busy = "Vostel is busy with too many calls at the moment; please try again later.";

MCPWireResponse responseTo(std::string requestID, const MCPToolOutcome& outcome) {
    return {std::move(requestID), encode(MCPCallResult::rendering(outcome))};
}

/// The answer as bytes; one that cannot be sent becomes the failure that says so.
Bytes encodedAnswer(const std::string& requestID, const MCPToolOutcome& outcome) {
    auto bytes = MCPWireFraming::encode(MCPWireOutboundFrame{responseTo(requestID, outcome)});
    if (bytes && bytes->size() <= MCPWireFraming::maxFrameLength + MCPWireFraming::headerLength)
        return *std::move(bytes);
    const MCPWireOutboundFrame failure{responseTo(requestID, failedOutcome("The result is too large to be sent."))};
    return MCPWireFraming::encode(failure).value();
}

} // namespace

std::expected<std::unique_ptr<CallServer>, ListenError>
CallServer::make(ListeningSocket socket, const ToolTable& tools, posix::ThreadStarter startThread, Limits limits) {
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0) return std::unexpected(ListenError{ListenError::System{"create a pipe", errno}});
    for (const int end : ends) {
        ::fcntl(end, F_SETFD, FD_CLOEXEC);
        ::fcntl(end, F_SETFL, O_NONBLOCK);
    }
    return std::unique_ptr<CallServer>{new CallServer{std::move(socket), tools, std::move(startThread), limits,
                                                      posix::FileDescriptor{ends[0]}, posix::FileDescriptor{ends[1]}}};
}

CallServer::CallServer(ListeningSocket socket, const ToolTable& tools, posix::ThreadStarter startThread, Limits limits,
                       posix::FileDescriptor wakeReader, posix::FileDescriptor wakeWriter)
    : listening_{std::make_unique<ListeningSocket>(std::move(socket))}, tools_{tools},
      startThread_{std::move(startThread)}, limits_{limits}, wakeReader_{std::move(wakeReader)},
      wakeWriter_{std::move(wakeWriter)} {}

bool CallServer::run() {
    while (!stopping_) serveOnce();
    beginFarewell();
    while (running_ > 0 && std::chrono::steady_clock::now() < leaves_) serveOnce();
    return running_ == 0;
}

void CallServer::stop() {
    stopping_ = true;
    wake();
}

void CallServer::serveOnce() {
    const Time now = std::chrono::steady_clock::now();
    std::vector<pollfd> waiting{{wakeReader_.get(), POLLIN, 0}};
    std::vector<ConnectionID> waitingIDs;
    if (accepts(now)) waiting.push_back({listening_->descriptor(), POLLIN, 0});
    const std::size_t firstConnection = waiting.size();
    for (const auto& [id, connection] : connections_) {
        // Deliberate: a connection that was hung up is not looked at again, or it would be ready for ever.
        if (connection.abandoned) continue;
        waiting.push_back({connection.socket.get(), POLLIN, 0});
        waitingIDs.push_back(id);
    }

    if (::poll(waiting.data(), static_cast<nfds_t>(waiting.size()), pollTimeout(now)) < 0) {
        if (errno != EINTR) std::this_thread::sleep_for(respite);
        return;
    }
    takeFinished();
    startWaiting();
    if (firstConnection == 2 && waiting[1].revents != 0) acceptWaiting();
    for (std::size_t i = 0; i < waitingIDs.size(); ++i) {
        if (waiting[firstConnection + i].revents == 0) continue;
        receive(waitingIDs[i]);
        startWaiting();
    }
    answerCancelled();
    dropExpired();
}

bool CallServer::accepts(Time now) const {
    return listening_ && connections_.size() < limits_.connections && (!acceptAgain_ || now >= *acceptAgain_);
}

/// Until the first moment at which something is to be done without being asked.
int CallServer::pollTimeout(Time now) const {
    std::optional<Time> first = farewellEnds_;
    const auto consider = [&](Time time) { first = first ? std::min(*first, time) : time; };
    if (leaves_) consider(*leaves_);
    if (acceptAgain_ && now < *acceptAgain_) consider(*acceptAgain_);
    for (const auto& [id, connection] : connections_) {
        if (!connection.call) consider(connection.deadline);
    }
    if (!first) return -1;
    return static_cast<int>(
        std::max<std::int64_t>(std::chrono::ceil<std::chrono::milliseconds>(*first - now).count(), 0));
}

void CallServer::beginFarewell() {
    listening_.reset();
    registry_.cancelAll();
    answerCancelled();
    std::erase_if(connections_, [](const auto& entry) { return !entry.second.call; });
    farewellEnds_ = std::chrono::steady_clock::now() + limits_.farewell;
    leaves_ = *farewellEnds_ + limits_.leaving;
}

void CallServer::acceptWaiting() {
    acceptAgain_.reset();
    while (connections_.size() < limits_.connections) {
        auto socket = listening_->accept();
        const Time now = std::chrono::steady_clock::now();
        if (socket) {
            Connection& connection = connections_[nextConnection_++];
            connection.socket = *std::move(socket);
            connection.deadline = now + limits_.frame;
            continue;
        }
        switch (socket.error()) {
        case EACCES:       // somebody else's process; it has been closed
        case ECONNABORTED: // gone before its turn
        case EINTR:
            continue;
        case EAGAIN:
            return;
        default:
            acceptAgain_ = now + respite;
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
    if (count <= 0) return hangUp(id, connection);
    if (connection.draining) return;
    connection.received.grow(static_cast<std::size_t>(count));
    processFrames(id, connection);
}

void CallServer::processFrames(ConnectionID id, Connection& connection) {
    std::string_view rest = connection.received.text();
    while (true) {
        const auto frame = MCPWireFraming::extractFrame(rest);
        if (!frame) {
            if (connection.call) return hangUp(id, connection);
            return refuse(connection, frame.error());
        }
        const auto& whole = *frame;
        if (!whole) break;
        if (!handleFrame(connection, whole->payload)) return hangUp(id, connection);
        connection.deadline = std::chrono::steady_clock::now() + limits_.frame;
        rest = whole->remainder;
    }
    if (rest.empty()) {
        connection.received = {};
    } else {
        connection.received.removePrefix(connection.received.size() - rest.size());
    }
}

bool CallServer::handleFrame(Connection& connection, std::string_view payload) {
    auto frame = readInboundFrame(payload);
    if (!frame) {
        const auto* refusal = std::get_if<MCPWireResponse>(&frame.error().is);
        if (refusal == nullptr || connection.call) return false;
        if (const auto bytes = MCPWireFraming::encode(MCPWireOutboundFrame{*refusal}))
            std::ignore = sendFrame(connection.socket.get(), *bytes, atOnce);
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
        turnAway(connection, busy);
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
        turnAway(connection, busy);
        forget(id);
    }
}

bool CallServer::startCall(ConnectionID id, Connection& connection) {
    Waiting turn = present(std::exchange(connection.waiting, std::nullopt));
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
        turnAway(connection, "The call was cancelled.");
        forget(id);
    }
}

void CallServer::turnAway(const Connection& connection, const char* sentence) {
    const Bytes answer = encodedAnswer(connection.requestID, failedOutcome(sentence));
    std::ignore = sendFrame(connection.socket.get(), answer, atOnce);
}

/// A frame that is too long to be read: the peer is told, and given time to finish writing before it listens.
void CallServer::refuse(Connection& connection, const MCPWireError& error) {
    if (const auto bytes = MCPWireFraming::encode(MCPWireOutboundFrame{MCPWireResponse{{}, error}}))
        std::ignore = sendFrame(connection.socket.get(), *bytes, atOnce);
    connection.received = {};
    connection.draining = true;
    connection.deadline = std::chrono::steady_clock::now() + limits_.frame;
}

void CallServer::hangUp(ConnectionID id, Connection& connection) {
    if (!connection.call || connection.waiting) return forget(id);
    connection.abandoned = true;
    connection.received = {};
    // First, because the call's thread may be waiting for the peer, and must not answer one that broke the protocol.
    ::shutdown(connection.socket.get(), SHUT_RDWR);
    connection.call->cancel();
}

void CallServer::forget(ConnectionID id) {
    const auto found = connections_.find(id);
    registry_.remove(found->second.requestID, found->second.call);
    connections_.erase(found);
}

void CallServer::takeFinished() {
    std::array<char, 256> ignored;
    while (::read(wakeReader_.get(), ignored.data(), ignored.size()) > 0) {}
    std::vector<ConnectionID> finished;
    {
        const std::lock_guard lock{mutex_};
        finished.swap(finished_);
    }
    for (const ConnectionID id : finished) {
        forget(id);
        --running_;
    }
}

void CallServer::dropExpired() {
    const Time now = std::chrono::steady_clock::now();
    std::erase_if(connections_, [&](const auto& entry) { return !entry.second.call && entry.second.deadline <= now; });
    if (!farewellEnds_ || now < *farewellEnds_) return;
    farewellEnds_.reset();
    // By now there is no connection without a running call, so this erases none.
    for (auto& [id, connection] : connections_) hangUp(id, connection);
}

void CallServer::runCall(ConnectionID id, int socket, const MCPWireRequest& request,
                         const std::shared_ptr<Cancellation>& cancellation) {
    ProgressThrottle throttle{limits_.progress, {}};
    bool isBroken = false;
    const auto progress = [&](double fraction) {
        if (isBroken || !throttle.admits(fraction, std::chrono::steady_clock::now())) return;
        const MCPWireOutboundFrame report{MCPWireProgress{request.requestID, fraction, std::nullopt}};
        const auto bytes = MCPWireFraming::encode(report);
        // A report that finds no room is left out; a peer that cannot even take a begun one gets no more work.
        isBroken = bytes && sendFrameIfRoom(socket, *bytes, limits_.answer) == Sending::failed;
        if (isBroken) cancellation->cancel();
    };
    const auto tool = tools_.find(request.tool);
    const MCPToolOutcome outcome = tool == tools_.end()
                                       ? failedOutcome("There is no tool named " + inQuotes(request.tool) + ".")
                                       : tool->second(ToolCall{request.arguments, *cancellation, progress});
    // Whether or not it arrives, the connection ends with it. Behind half a report it would be read as the other half.
    if (!isBroken) std::ignore = sendFrame(socket, encodedAnswer(request.requestID, outcome), limits_.answer);

    // Once the loop has taken the end of the last call, the server may be gone: nothing is touched afterwards.
    const std::lock_guard lock{mutex_};
    finished_.push_back(id);
    wake();
}

void CallServer::wake() {
    // A full pipe wakes as well as another byte would.
    std::ignore = ::write(wakeWriter_.get(), "", 1);
}

} // namespace vostel_companion
