#include "tests/companion/support/CompanionClient.h"

#include "kit/connect/MCPConnectLogic.h"
#include "kit/jsonrpc/JSONReader.h"
#include "kit/jsonrpc/JSONWriter.h"
#include "kit/wire/MCPWireFraming.h"
#include "kit/wire/MCPWireVersionLogic.h"
#include "posix/UnixSocket.h"

#include <sys/socket.h>
#include <sys/time.h>

namespace vostel_tests {

using namespace VostelMCPKit;

namespace {

std::string text(const MCPValue& value) {
    Bytes bytes;
    std::ignore = writeJSON(value, bytes);
    return std::string{bytes.text()};
}

} // namespace

CompanionClient::CompanionClient(const std::filesystem::path& applicationSupportDirectory) {
    auto connected = posix::UnixSocket::connect(MCPConnectLogic::socketPath(applicationSupportDirectory));
    if (!connected) return;
    socket_ = *std::move(connected);
    const timeval timeout{120, 0};
    ::setsockopt(socket_.get(), SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
}

void CompanionClient::request(std::string_view tool, const MCPValue& arguments, std::string requestID) {
    sendFrame(text(encode(MCPWireInboundFrame{
        MCPWireRequest{wireProtocolVersion, {"a test", {}}, std::string{tool}, arguments, std::move(requestID)}})));
}

void CompanionClient::cancel(std::string requestID) {
    sendFrame(text(encode(MCPWireInboundFrame{MCPWireCancellation{wireProtocolVersion, std::move(requestID)}})));
}

void CompanionClient::sendFrame(std::string_view payload) {
    const Bytes frame = MCPWireFraming::encode(payload);
    sendBytes(frame.text());
}

void CompanionClient::sendBytes(std::string_view bytes) {
    std::ignore = posix::UnixSocket::writeAll(socket_.get(), std::as_bytes(std::span{bytes}));
}

void CompanionClient::hangUp() { socket_ = {}; }

std::optional<MCPWireOutboundFrame> CompanionClient::next() {
    while (true) {
        const auto payload = received_.next();
        if (!payload) return std::nullopt;
        if (*payload) {
            const auto value = readJSON(**payload);
            const auto decoded = value ? decode<MCPWireOutboundFrame>(*value) : typeMismatch("JSON");
            if (!decoded) return std::nullopt;
            return *decoded;
        }
        constexpr std::size_t length = 65'536;
        const ssize_t count = ::recv(socket_.get(), received_.room(length), length, 0);
        if (count <= 0) return std::nullopt;
        received_.grow(static_cast<std::size_t>(count));
    }
}

std::optional<MCPWireResponse> CompanionClient::response() {
    while (auto frame = next()) {
        if (auto* response = std::get_if<MCPWireResponse>(&frame->is)) return std::move(*response);
        const auto& report = std::get<MCPWireProgress>(frame->is);
        progress_.push_back(report.fraction);
        messages_.push_back(report.message.value_or(""));
    }
    return std::nullopt;
}

bool CompanionClient::isClosed() {
    char byte = 0;
    const ssize_t count = ::recv(socket_.get(), &byte, 1, 0);
    return count == 0 || (count < 0 && errno == ECONNRESET);
}

std::string textOf(const std::optional<MCPWireResponse>& response) {
    const MCPValue* result = response ? std::get_if<MCPValue>(&response->outcome) : nullptr;
    const MCPValue* content = result != nullptr ? (*result)["content"] : nullptr;
    if (content == nullptr || !content->asArray() || content->asArray()->empty()) return {};
    std::string whole{content->asArray()->front()["text"]->asString().value_or("")};
    constexpr std::string_view begin = "-----BEGIN UNTRUSTED TOOL OUTPUT-----\n";
    constexpr std::string_view end = "\n-----END UNTRUSTED TOOL OUTPUT-----";
    const std::size_t fence = whole.find(begin);
    if (fence == std::string::npos) return whole;
    whole.erase(0, fence + begin.size());
    return whole.substr(0, whole.size() - end.size());
}

bool isFailure(const std::optional<MCPWireResponse>& response) {
    const MCPValue* result = response ? std::get_if<MCPValue>(&response->outcome) : nullptr;
    return result != nullptr && *(*result)["isError"] == MCPValue{true};
}

} // namespace vostel_tests
