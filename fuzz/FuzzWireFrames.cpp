#include "fuzz/fuzz.h"
#include "kit/jsonrpc/MCPLine.h"
#include "kit/wire/MCPCancellationRegistry.h"
#include "kit/wire/MCPProgressReports.h"
#include "kit/wire/MCPWireFraming.h"

#include <utility>

using namespace VostelMCPKit;

namespace {

template <class Frame>
void decodeAndEncode(const MCPValue& value) {
    const auto frame = decode<Frame>(value);
    if (!frame) {
        require(!frame.error().description().empty(), "a failure says why");
        return;
    }
    // The second text may differ from the first: a large double is written with an exponent and, being integral, read
    // back as an integer.
    const auto again = decode<Frame>(readBack(written(encode(*frame))));
    require(again.has_value(), "a frame that was encoded can be decoded");
    const std::string text = written(encode(*again));
    const auto last = decode<Frame>(readBack(text));
    require(last.has_value() && written(encode(*last)) == text, "a frame reads back unchanged");
}

/// Progress that is relayed as text must give the same line as decoded progress.
void checkProgress(std::string_view payload, const std::expected<MCPWireOutboundFrame, DecodingError>& frame) {
    const auto* report = frame ? std::get_if<MCPWireProgress>(&frame->is) : nullptr;
    const auto parts = canonicalProgress(payload);
    if (report == nullptr) return require(!parts, "only progress has the parts of progress");
    MCPCancellationRegistry registry;
    const std::string wireID = registry.registerCall("1", MCPValue{report->requestID}, UUID{});
    const auto notification = registry.progressNotification(wireID, report->fraction, report->message);
    // Not `written(encode(*notification))`: encode reads a large integral double back as an integer.
    Bytes line;
    require(appendLine(*notification, line).has_value(), "a notification of progress can be written");
    const std::string_view expected = line.text();
    const auto lineOf = [&](const auto& added) {
        MCPProgressReports reports{wireID};
        reports.add(added);
        const Bytes lines = reports.lines(*registry.progressNotification(wireID, 0, {}));
        return std::string{lines.text()};
    };
    require(lineOf(*report) == expected, "a line of progress is that of its notification");
    if (!parts) return;
    require(parts->requestID == report->requestID, "progress as text names the same call");
    require(lineOf(*parts) == expected, "progress as text has the line of its notification");
}

void checkPayload(std::string_view payload) {
    const auto value = readJSON(payload);
    const auto frame = readOutboundFrame(payload);
    require(frame == (value ? decode<MCPWireOutboundFrame>(*value) : std::unexpected(value.error())),
            "a frame means what its document means");
    checkProgress(payload, frame);
    const auto inbound = readInboundFrame(payload);
    const bool isAnswered = !inbound && std::holds_alternative<MCPWireResponse>(inbound.error().is);
    const auto decoded = value ? decode<MCPWireInboundFrame>(*value) : std::unexpected(value.error());
    require(isAnswered || inbound.has_value() == decoded.has_value(), "a frame of our version means its document");
    if (!value) return;
    decodeAndEncode<MCPWireOutboundFrame>(*value);
    decodeAndEncode<MCPWireInboundFrame>(*value);
}

void checkStream(std::string_view buffer) {
    for (;;) {
        const auto cut = MCPWireFraming::extractFrame(buffer);
        if (!cut) {
            require(buffer.size() >= MCPWireFraming::headerLength, "only a whole header can be refused");
            return;
        }
        if (!*cut) return;
        const auto [payload, remainder] = **cut;
        const std::size_t length = MCPWireFraming::headerLength + payload.size();
        require(length + remainder.size() == buffer.size(), "a frame and its remainder are the whole buffer");
        const Bytes again = MCPWireFraming::encode(payload);
        require(again.text() == buffer.substr(0, length), "a frame is written as it was read");
        // A frame that comes in pieces is the same frame, and never one too early.
        for (std::size_t arrived = 0; arrived < length; arrived += 1 + length / 16) {
            const auto early = MCPWireFraming::extractFrame(buffer.substr(0, arrived));
            require(early.has_value() && !early->has_value(), "a part of a frame is not a frame");
        }
        checkPayload(payload);
        buffer = remainder;
    }
}

} // namespace

void check(std::string_view text) {
    checkStream(text);
    // The fuzzer rarely finds a valid header by chance, so this adds one.
    checkPayload(text);
    Bytes framed = MCPWireFraming::encode(text);
    framed.append(text);
    checkStream(framed.text());
}
