#include "bench/stub/StubApplication.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>
#include <utility>

namespace vostel_bench {

namespace {

constexpr std::size_t headerBytes = 4;
constexpr std::size_t requestIDBytes = 36;
constexpr std::size_t progressChunkFrames = 1024;
constexpr std::string_view responseEnd = "}}";

std::string frameHeader(std::size_t payloadBytes) {
    std::string header;
    for (const unsigned shift : {24U, 16U, 8U, 0U}) header += static_cast<char>((payloadBytes >> shift) & 0xFFU);
    return header;
}

std::string progressFrame(const Workload::Tool& tool, std::size_t index) {
    const std::string payload = R"({"kind":"progress","payload":{"fraction":0.)" +
                                Workload::progressDigits(index, tool.progressFrames) + R"(,"requestID":")" +
                                std::string(requestIDBytes, '?') + "\"}}";
    return frameHeader(payload.size()) + payload;
}

/// The text in quotes after `key`. Only both ends are searched, because arguments in between may be large.
std::string_view stringAfter(std::string_view payload, std::string_view key) {
    constexpr std::size_t reach = 1024;
    const std::size_t tail = payload.size() > reach ? payload.size() - reach : 0;
    for (const std::string_view part : {payload.substr(0, reach), payload.substr(tail)}) {
        const std::size_t at = part.find(key);
        if (at == std::string_view::npos) continue;
        const std::string_view value = part.substr(at + key.size());
        return value.substr(0, value.find('"'));
    }
    return {};
}

int sendFlags() {
#ifdef MSG_NOSIGNAL
    return MSG_NOSIGNAL;
#else
    return 0;
#endif
}

} // namespace

StubApplication::StubApplication(int listener)
    : listener_(listener), largeArguments_("\"arguments\":" + Workload::largeArgumentsJSON()) {}

const StubApplication::Answer* StubApplication::answerOf(std::string_view toolName) {
    const Workload::Tool* tool = Workload::toolNamed(toolName);
    if (tool == nullptr) return nullptr;
    const auto [found, isNew] = answers_.try_emplace(tool->name);
    Answer& answer = found->second;
    if (!isNew) return &answer;
    answer.tool = tool;
    answer.json = Workload::result(*tool).sent;
    for (std::size_t index = 0; index < tool->progressFrames; ++index) {
        const std::string frame = progressFrame(*tool, index);
        answer.progressFrameBytes = frame.size();
        answer.progressIDOffset = frame.find('?');
        answer.progress += frame;
    }
    return &answer;
}

StubApplication::~StubApplication() {
    for (const auto& [socket, connection] : active_) ::close(socket);
    for (const auto& [socket, connection] : delayed_) ::close(socket);
    ::close(listener_);
}

void StubApplication::serve(int stopWhenClosed) {
    std::vector<pollfd> watched;
    for (;;) {
        watched.assign({{.fd = stopWhenClosed, .events = POLLIN, .revents = 0},
                        {.fd = listener_, .events = POLLIN, .revents = 0}});
        for (const auto& [socket, connection] : active_) {
            const short event = connection->writing ? POLLOUT : POLLIN;
            watched.push_back({.fd = socket, .events = event, .revents = 0});
        }
        ::poll(watched.data(), static_cast<nfds_t>(watched.size()), millisecondsToNextAnswer());

        if (watched[0].revents != 0) return;
        for (std::size_t index = 2; index < watched.size(); ++index) {
            if (watched[index].revents == 0) continue;
            Connection& connection = *active_.at(watched[index].fd);
            if (connection.writing)
                send(connection);
            else
                receive(connection);
        }
        if (watched[1].revents != 0) acceptAll();
        answerDue();
    }
}

void StubApplication::acceptAll() {
    for (;;) {
        const int socket = ::accept(listener_, nullptr, nullptr);
        if (socket < 0) return;
        ::fcntl(socket, F_SETFL, O_NONBLOCK);
#ifdef SO_NOSIGPIPE
        const int on = 1;
        ::setsockopt(socket, SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof on);
#endif
        auto connection = std::make_unique<Connection>();
        connection->socket = socket;
        active_.emplace(socket, std::move(connection));
    }
}

void StubApplication::receive(Connection& connection) {
    constexpr std::size_t firstRead = 4096;
    if (connection.received.empty()) connection.received.resize(firstRead);
    const ssize_t count = ::read(connection.socket, connection.received.data() + connection.receivedBytes,
                                 connection.received.size() - connection.receivedBytes);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (count <= 0) return drop(connection.socket);
    connection.receivedBytes += static_cast<std::size_t>(count);
    if (receivedWholeFrame(connection)) takeRequest(connection);
}

bool StubApplication::receivedWholeFrame(Connection& connection) {
    if (connection.receivedBytes < headerBytes) return false;
    std::size_t payloadBytes = 0;
    for (std::size_t index = 0; index < headerBytes; ++index) {
        payloadBytes = payloadBytes << 8U | static_cast<unsigned char>(connection.received[index]);
    }
    connection.received.resize(std::max(connection.received.size(), headerBytes + payloadBytes));
    return connection.receivedBytes >= headerBytes + payloadBytes;
}

void StubApplication::takeRequest(Connection& connection) {
    const std::string_view payload =
        std::string_view{connection.received}.substr(headerBytes, connection.receivedBytes - headerBytes);
    if (stringAfter(payload, "\"kind\":\"") != "request") return drop(connection.socket);

    connection.requestID = stringAfter(payload, "\"requestID\":\"");
    const Answer* found = answerOf(stringAfter(payload, "\"tool\":\""));
    if (found == nullptr || connection.requestID.size() != requestIDBytes) return drop(connection.socket);

    connection.answer = found;
    connection.refusal = faultOf(payload, *found);
    const std::string head = R"({"kind":"response","payload":{"requestID":")" + connection.requestID + R"(","result":)";
    const std::string& result = connection.refusal.empty() ? found->json : connection.refusal;
    connection.responseHead = frameHeader(head.size() + result.size() + responseEnd.size()) + head;
    connection.received = {};
    connection.writing = true;
    if (found->tool->delay == std::chrono::milliseconds{0}) return send(connection);

    const int socket = connection.socket;
    delayed_.insert(active_.extract(socket));
    waiting_.push_back({Clock::now() + found->tool->delay, socket});
}

std::string StubApplication::faultOf(std::string_view payload, const Answer& answer) const {
    const char* fault = nullptr;
    const std::size_t arguments = payload.find("\"arguments\":");
    if (payload.find("\"protocolVersion\":4") == std::string_view::npos)
        fault = "no protocol version 4";
    else if (arguments == std::string_view::npos)
        fault = "no arguments";
    else if (answer.tool->sendsLargeArguments && !payload.substr(arguments).starts_with(largeArguments_))
        fault = "the large arguments were changed on their way";
    if (fault == nullptr) return {};
    return R"({"content":[{"text":")" + std::string{fault} + R"(","type":"text"}],"isError":true})";
}

void StubApplication::send(Connection& connection) {
    if (sendProgress(connection) && sendResponse(connection)) drop(connection.socket);
}

bool StubApplication::sendProgress(Connection& connection) {
    const Answer& answer = *connection.answer;
    while (connection.progressSent < answer.progress.size()) {
        const std::size_t firstFrame = connection.progressSent / answer.progressFrameBytes;
        const std::size_t start = firstFrame * answer.progressFrameBytes;
        scratch_.assign(answer.progress, start, progressChunkFrames * answer.progressFrameBytes);
        for (std::size_t at = answer.progressIDOffset; at < scratch_.size(); at += answer.progressFrameBytes) {
            std::memcpy(scratch_.data() + at, connection.requestID.data(), requestIDBytes);
        }
        const std::string_view rest = std::string_view{scratch_}.substr(connection.progressSent - start);
        const ssize_t count = ::send(connection.socket, rest.data(), rest.size(), sendFlags());
        if (count < 0 && (errno == EAGAIN || errno == EINTR)) return false;
        if (count < 0) return true;
        connection.progressSent += static_cast<std::size_t>(count);
    }
    return true;
}

bool StubApplication::sendResponse(Connection& connection) {
    const std::string_view result = connection.refusal.empty() ? connection.answer->json : connection.refusal;
    const std::string_view pieces[] = {connection.responseHead, result, responseEnd};
    for (;;) {
        iovec rest[std::size(pieces)];
        int count = 0;
        std::size_t skip = connection.responseSent;
        for (const std::string_view piece : pieces) {
            const std::size_t skipped = std::min(skip, piece.size());
            skip -= skipped;
            if (skipped == piece.size()) continue;
            rest[count] = {.iov_base = const_cast<char*>(piece.data()) + skipped, .iov_len = piece.size() - skipped};
            ++count;
        }
        if (count == 0) return true;

        msghdr message{};
        message.msg_iov = rest;
        message.msg_iovlen = static_cast<decltype(message.msg_iovlen)>(count);
        const ssize_t sent = ::sendmsg(connection.socket, &message, sendFlags());
        if (sent < 0 && (errno == EAGAIN || errno == EINTR)) return false;
        if (sent < 0) return true;
        connection.responseSent += static_cast<std::size_t>(sent);
    }
}

void StubApplication::answerDue() {
    const Clock::time_point now = Clock::now();
    while (!waiting_.empty() && waiting_.front().due <= now) {
        const int socket = waiting_.front().socket;
        waiting_.pop_front();
        active_.insert(delayed_.extract(socket));
        send(*active_.at(socket));
    }
}

void StubApplication::drop(int socket) {
    active_.erase(socket);
    ::close(socket);
}

int StubApplication::millisecondsToNextAnswer() const {
    if (waiting_.empty()) return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(waiting_.front().due - Clock::now());
    return static_cast<int>(std::max(left.count(), decltype(left.count()){0}));
}

} // namespace vostel_bench
