#include "kit/wire/MCPWireFraming.h"

#include <cstdlib>
#include <limits>
#include <tuple>

namespace VostelMCPKit::MCPWireFraming {

namespace {

/// Writes the payload in place, so that a large result is not copied.
std::expected<Bytes, EncodingError> framed(const auto& record) {
    // Room for a short call, which then allocates once.
    constexpr std::size_t usual = 512;
    Bytes frame;
    std::ignore = frame.room(usual);
    frame.grow(headerLength);
    if (const auto isWritten = writeJSON(record, frame); !isWritten) return std::unexpected(isWritten.error());
    writeHeader(frame.size() - headerLength, frame.data());
    return frame;
}

} // namespace

void writeHeader(std::size_t length, char* destination) {
    if (length > std::numeric_limits<std::uint32_t>::max()) std::abort();
    for (std::size_t byte = 0; byte < headerLength; ++byte) {
        destination[byte] = static_cast<char>(length >> 8 * (headerLength - 1 - byte) & 0xFF);
    }
}

std::expected<Bytes, EncodingError> encode(const MCPWireInboundFrame& frame) { return framed(frame); }

std::expected<Bytes, EncodingError> encode(const MCPWireOutboundFrame& frame) { return framed(frame); }

std::expected<Bytes, EncodingError> encode(MCPWireRequest request, Bytes arguments) {
    request.arguments = nullptr;
    auto frame = encode(MCPWireInboundFrame{std::move(request)});
    if (!frame) return frame;
    // `arguments` is the first member of the payload, so the first occurrence of its key is the member itself. The text
    // around its null value is the text around any arguments.
    constexpr std::string_view key = R"("arguments":)";
    constexpr std::string_view placeholder = "null";
    const std::size_t headLength = frame->text().find(key) + key.size();
    arguments.append(frame->text().substr(headLength + placeholder.size()));
    arguments.prepend(frame->text().substr(0, headLength));
    writeHeader(arguments.size() - headerLength, arguments.data());
    return arguments;
}

Bytes encode(std::string_view payload) {
    Bytes frame;
    writeHeader(payload.size(), frame.room(headerLength + payload.size()));
    frame.grow(headerLength);
    frame.append(payload);
    return frame;
}

std::expected<std::optional<Frame>, MCPWireError> extractFrame(std::string_view buffer) {
    if (buffer.size() < headerLength) return std::nullopt;
    std::uint32_t length = 0;
    for (const char byte : buffer.substr(0, headerLength)) length = length << 8 | static_cast<unsigned char>(byte);
    if (length > maxFrameLength) {
        return std::unexpected(MCPWireError{MCPWireError::FrameTooLarge{.declared = length, .limit = maxFrameLength}});
    }
    if (buffer.size() - headerLength < length) return std::nullopt;
    return Frame{buffer.substr(headerLength, length), buffer.substr(headerLength + length)};
}

} // namespace VostelMCPKit::MCPWireFraming
