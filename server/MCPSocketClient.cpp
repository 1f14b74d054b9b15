#include "server/MCPSocketClient.h"

#include "kit/support/match.h"
#include "kit/support/outOfMemory.h"
#include "kit/support/unwrap.h"
#include "kit/wire/MCPWireFrameText.h"
#include "kit/wire/MCPWireFraming.h"
#include "kit/wire/MCPWireVersionLogic.h"
#include "posix/UnixSocket.h"

#include <algorithm>
#include <sys/socket.h>

namespace vostel_mcp {

using namespace VostelMCPKit;

namespace {

using Failure = MCPSocketClient::Failure;
using Answer = MCPSocketClient::Answer;
using Outcome = std::expected<Answer, Failure>;
using Reports = std::vector<MCPProgressReports>;

constexpr posix::ThreadName socketClientThread{"com.vostel.vostel-mcp.socket-client", "socket-client"};
constexpr posix::ThreadName socketPollThread{"com.vostel.vostel-mcp.socket-poll", "socket-poll"};
constexpr std::size_t readLength = 65'536;
/// Each waiting call holds this much memory, and a thousand calls may wait. A short answer fits.
constexpr std::size_t firstReadLength = 512;
/// A payload of at least this many bytes is handled as text if possible, because its MCPValue would take much memory.
constexpr std::size_t largePayload = 65'536;

Failure failure(auto reason) { return Failure{std::move(reason)}; }

std::expected<Bytes, Failure> orFailure(std::expected<Bytes, EncodingError> frame) {
    if (!frame) return std::unexpected(failure(frame.error()));
    return *std::move(frame);
}

std::expected<Bytes, Failure> frameOf(MCPSocketClient::Call call) {
    if (!call.arguments) return orFailure(MCPWireFraming::encode(MCPWireInboundFrame{std::move(call.request)}));
    return orFailure(MCPWireFraming::encode(std::move(call.request), *std::move(call.arguments)));
}

std::expected<void, Failure> writeAll(int socket, Bytes frame) {
    if (const auto written = posix::UnixSocket::writeAll(socket, frame.span()); !written) {
        return std::unexpected(failure(written.error()));
    }
    return {};
}

/// The result of withinMemory when there is not enough memory.
constexpr auto noMemory = [] { return std::unexpected(failure(MCPSocketClient::OutOfMemory{})); };

/// Writing the frame may take long. Meanwhile, only the frame is in memory, not the call that it was made of.
std::expected<void, Failure> writeRequest(int socket, MCPSocketClient::Call call, CallCancellation& cancellation,
                                          MemoryTrimmer& memory) {
    auto frame = withinMemory([&] { return frameOf(std::move(call)); }, noMemory);
    if (!frame) return std::unexpected(frame.error());
    if (!cancellation.mayBeginRequest()) return std::unexpected(failure(MCPSocketClient::Cancelled{}));
    const std::size_t length = frame->size();
    auto written = writeAll(socket, *std::move(frame));
    cancellation.endRequest();
    memory.release(length);
    return written;
}

/// The last element of `reports` if it belongs to the call, otherwise a new one.
MCPProgressReports& ofCall(std::string_view requestID, Reports& reports) {
    if (reports.empty() || reports.back().requestID() != requestID) reports.emplace_back(std::string{requestID});
    return reports.back();
}

/// Reads the frames of the application. Deliberate: not an MCPWireFrameBuffer, because the answer keeps the memory in
/// which it was received.
class FrameReader final {
public:
    explicit FrameReader(int socket) : socket_{socket} {}

    /// The answer; absent when more bytes must be read first. Adds the progress before it to `reports`. Call it no more
    /// after an answer.
    std::expected<std::optional<Answer>, Failure> nextPending(Reports& reports) {
        for (;;) {
            const auto cut = MCPWireFraming::extractFrame(pending_.text());
            if (!cut) return std::unexpected(failure(cut.error()));
            const auto& whole = *cut;
            if (!whole) return std::nullopt;
            if (const auto report = canonicalProgress(whole->payload)) {
                ofCall(report->requestID, reports).add(*report);
            } else {
                auto answer = read(whole->payload, reports);
                if (!answer || *answer) return answer;
            }
            pending_.removePrefix(pending_.size() - whole->remainder.size());
        }
    }

    /// Deliberate: after any end of the stream and any error, also an interrupted read, the answer is lost.
    std::expected<void, Failure> read() {
        const std::size_t length = pending_.capacity() == 0 ? firstReadLength : readLength;
        const ssize_t count = ::recv(socket_, pending_.room(length), length, 0);
        if (count <= 0) return std::unexpected(failure(MCPSocketClient::ClientError::connectionClosedUnexpectedly));
        pending_.grow(static_cast<std::size_t>(count));
        received_ += static_cast<std::size_t>(count);
        return {};
    }

    /// How many bytes were read.
    [[nodiscard]] std::size_t received() const { return received_; }

private:
    /// The answer in `payload`; absent for progress, which is added to `reports`.
    std::expected<std::optional<Answer>, Failure> read(std::string_view payload, Reports& reports) {
        if (const auto result = canonicalResult(payload)) return Answer{takeText(*result)};
        if (payload.size() >= largePayload) {
            if (auto result = rewrittenResult(payload)) return Answer{*std::move(result)};
        }
        auto frame = readOutboundFrame(payload);
        if (!frame) return std::unexpected(failure(std::move(frame.error())));
        if (const auto* report = std::get_if<MCPWireProgress>(&frame->is)) {
            ofCall(report->requestID, reports).add(*report);
            return std::nullopt;
        }
        const auto& outcome = std::get<MCPWireResponse>(frame->is).outcome;
        if (const auto* error = std::get_if<MCPWireError>(&outcome)) return Answer{*error};
        return Answer{takeText(std::get<MCPValue>(outcome))};
    }

    /// Cuts the pending bytes down to `result`, which is a part of them, without moving it.
    Bytes takeText(std::string_view result) {
        pending_.removePrefix(static_cast<std::size_t>(result.data() - pending_.data()));
        pending_.truncate(result.size());
        return std::move(pending_);
    }
    /// Writes the text of `result` over its frame, so that a large result needs no more memory.
    Bytes takeText(const MCPValue& result) {
        // Room for the part of the line that comes before the result.
        constexpr std::size_t headLength = 64;
        pending_.truncate(std::min(headLength, pending_.size()));
        pending_.removePrefix(pending_.size());
        // Cannot fail: a value that was read holds only finite numbers.
        std::ignore = writeJSON(result, pending_);
        return std::move(pending_);
    }

    const int socket_;
    std::size_t received_ = 0;
    /// The received bytes that belong to no complete frame yet.
    Bytes pending_;
};

/// Reads until the first response on the connection.
Outcome readAnswer(FrameReader& reader, const MCPSocketClient::Progress& progress) {
    for (;;) {
        Reports reports;
        auto answer = withinMemory([&] { return reader.nextPending(reports); }, noMemory);
        // Passes the reports on before the next read and before the end of the exchange.
        if (!reports.empty()) progress(std::move(reports));
        if (!answer) return std::unexpected(std::move(answer.error()));
        if (auto& received = *answer) return *std::move(received);
        const auto read = withinMemory([&] { return reader.read(); }, noMemory);
        if (!read) return std::unexpected(read.error());
    }
}

/// The whole conversation of one call. Blocks until the response.
Outcome exchange(posix::FileDescriptor socket, MCPSocketClient::Call call, const MCPSocketClient::Progress& progress,
                 CallCancellation& cancellation, MemoryTrimmer& memory) {
    const auto written = writeRequest(socket.get(), std::move(call), cancellation, memory);
    if (!written) return std::unexpected(written.error());
    FrameReader reader{socket.get()};
    Outcome outcome = readAnswer(reader, progress);
    memory.release(reader.received());
    return outcome;
}

} // namespace

std::string MCPSocketClient::Failure::description() const {
    return match(
        is,
        [](ClientError) { return std::string{"Vostel closed the connection before it answered. Please try again."}; },
        [](Cancelled) { return std::string{"The call was cancelled."}; },
        [](OutOfMemory) { return std::string{"There is not enough memory for the call and its answer."}; },
        [](const ConnectError& error) { return error.errorDescription(); },
        [](const PosixError& error) { return "Vostel could not be reached: " + error.systemText() + "."; },
        [](const MCPWireError& error) { return error.description(); },
        [](const DecodingError& error) {
            return "Vostel sent an answer that could not be read: " + error.description() + ".";
        },
        [](EncodingError) {
            return std::string{"The call could not be sent because an argument is not a finite number."};
        });
}

std::expected<std::unique_ptr<MCPSocketClient>, ConnectError>
MCPSocketClient::make(const std::filesystem::path& applicationSupportDirectory, MCPAppLauncher launcher,
                      System system) {
    std::string path = MCPConnectLogic::socketPath(applicationSupportDirectory);
    if (auto fits = MCPConnectLogic::validateSocketPathLength(path); !fits) {
        return std::unexpected(std::move(fits.error()));
    }
    return std::unique_ptr<MCPSocketClient>{
        new MCPSocketClient{std::move(path), std::move(launcher), std::move(system)}};
}

MCPSocketClient::MCPSocketClient(std::string socketPath, MCPAppLauncher launcher, System system)
    : socketPath_{std::move(socketPath)}, launcher_{std::move(launcher)}, system_{std::move(system)} {}

Task<Outcome> MCPSocketClient::send(Call call, Progress progress, std::shared_ptr<CallCancellation> cancellation) {
    auto socket = co_await connectOnce(/*pending=*/nullptr);
    if (!socket) {
        if (!cancellation->mayLaunch()) co_return std::unexpected(failure(Cancelled{}));
        // Every reason for a failed connect has the same remedy: start the application.
        socket = co_await launchAndWait();
        if (!socket) co_return std::unexpected(std::move(socket.error()));
    }
    auto work = [&] { return exchange(*std::move(socket), std::move(call), progress, *cancellation, system_.memory); };
    Outcome outcome = co_await posix::runBlocking(system_.startThread, socketClientThread, work);
    if (!outcome) co_return outcome;
    const auto* error = std::get_if<MCPWireError>(&*outcome);
    // Deliberate: a version mismatch is a failure of the call here, an oversized frame stays inside the answer.
    if (error != nullptr && std::holds_alternative<MCPWireError::VersionMismatch>(error->is)) {
        co_return std::unexpected(failure(*error));
    }
    co_return outcome;
}

Task<MCPSocketClient::Connected> MCPSocketClient::connectOnce(PendingCancellations* pending) {
    auto work = [this, pending]() -> Connected {
        bool isHeld = false;
        std::function<void()> beforeWaiting;
        if (pending != nullptr) {
            beforeWaiting = [&] {
                isHeld = true;
                pending->held();
            };
        }
        auto socket = system_.connect(socketPath_, beforeWaiting);
        if (isHeld) pending->released();
        if (!socket) return std::unexpected(failure(socket.error()));
        return *std::move(socket);
    };
    return posix::runBlocking(system_.startThread, socketClientThread, work);
}

Task<MCPSocketClient::Connected> MCPSocketClient::launchAndWait() {
    auto launched = co_await launcher_.launchHostApplication();
    if (!launched) co_return std::unexpected(failure(std::move(launched.error())));
    auto work = [this] { return waitForSocket(); };
    co_return co_await posix::runBlocking(system_.startThread, socketPollThread, work);
}

MCPSocketClient::Connected MCPSocketClient::waitForSocket() const {
    const auto start = system_.now();
    for (;;) {
        if (auto socket = system_.connect(socketPath_, {})) return *std::move(socket);
        const std::chrono::duration<double> elapsed = system_.now() - start;
        if (!MCPConnectLogic::shouldContinuePolling({.elapsed = elapsed, .ceiling = MCPConnectLogic::pollingCeiling})) {
            return std::unexpected(failure(ConnectError{ConnectError::TimedOutWaitingForApp{elapsed}}));
        }
        system_.sleep(MCPConnectLogic::pollingInterval);
    }
}

Task<void> MCPSocketClient::cancel(std::string requestID, PendingCancellations& pending) {
    auto socket = co_await connectOnce(&pending);
    if (!socket) co_return;
    auto work = [&]() -> std::expected<void, Failure> {
        auto frame = MCPWireFraming::encode(MCPWireInboundFrame{MCPWireCancellation{wireProtocolVersion, requestID}});
        return writeAll(socket->get(), unwrap(std::move(frame)));
    };
    std::ignore = co_await posix::runBlocking(system_.startThread, socketClientThread, work);
}

} // namespace vostel_mcp
