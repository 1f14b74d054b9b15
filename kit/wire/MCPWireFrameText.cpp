#include "kit/wire/MCPWireFrameText.h"

#include "kit/jsonrpc/CanonicalJSON.h"
#include "kit/jsonrpc/JSONReader.h"
#include "kit/jsonrpc/JSONText.h"
#include "kit/jsonrpc/TextMember.h"
#include "kit/wire/MCPWireVersionLogic.h"

namespace VostelMCPKit {

namespace {

bool take(std::string_view& text, std::string_view expected) {
    if (!text.starts_with(expected)) return false;
    text.remove_prefix(expected.size());
    return true;
}

/// Takes a fraction as it is usually written: 0 or 1, with or without decimals.
std::optional<std::string_view> takeFraction(std::string_view& text) {
    if (!text.starts_with('0') && !text.starts_with('1')) return std::nullopt;
    const char* const end = text.data() + text.size();
    const char* at = text.data() + 1;
    if (at != end && *at == '.') at = afterDigits(at + 1, end);
    const std::string_view fraction{text.data(), at};
    if (!isCanonicalJSON(fraction)) return std::nullopt;
    text.remove_prefix(fraction.size());
    return fraction;
}

/// Takes a string without escapes, with its quotation marks.
std::optional<std::string_view> takeString(std::string_view& text) {
    const std::string_view before = text;
    if (!take(text, "\"")) return std::nullopt;
    text = {afterPlain(text.data(), text.data() + text.size()), text.end()};
    if (!take(text, "\"")) return std::nullopt;
    return before.substr(0, before.size() - text.size());
}

/// The answer to a request of another version; absent for every other document.
std::optional<MCPWireResponse> versionRefusal(const MCPValue& document) {
    if (document.string("kind") != MCPWireRequest::kind) return std::nullopt;
    const auto version = document.integer("payload", "protocolVersion");
    if (!version) return std::nullopt;
    const auto valid = MCPWireVersionLogic::validate({.requestVersion = *version, .knownVersion = wireProtocolVersion});
    if (valid) return std::nullopt;
    return MCPWireResponse{std::string{document.string("payload", "requestID").value_or("")}, valid.error()};
}

} // namespace

std::expected<MCPWireInboundFrame, MCPWireInboundFailure> readInboundFrame(std::string_view payload) {
    const auto document = readJSON(payload);
    if (!document) return std::unexpected(MCPWireInboundFailure{document.error()});
    if (auto refusal = versionRefusal(*document)) return std::unexpected(MCPWireInboundFailure{*std::move(refusal)});
    auto frame = decode<MCPWireInboundFrame>(*document);
    if (!frame) return std::unexpected(MCPWireInboundFailure{std::move(frame.error())});
    return *std::move(frame);
}

std::expected<MCPWireOutboundFrame, DecodingError> readOutboundFrame(std::string_view payload) {
    const auto value = readJSON(payload);
    if (!value) return std::unexpected(value.error());
    return decode<MCPWireOutboundFrame>(*value);
}

std::optional<MCPWireProgressText> canonicalProgress(std::string_view payload) {
    MCPWireProgressText progress;
    if (!take(payload, R"({"kind":"progress","payload":{"fraction":)")) return std::nullopt;
    const auto fraction = takeFraction(payload);
    if (!fraction) return std::nullopt;
    if (take(payload, R"(,"message":)")) {
        progress.message = takeString(payload);
        if (!progress.message) return std::nullopt;
    }
    if (!take(payload, R"(,"requestID":)")) return std::nullopt;
    const auto requestID = takeString(payload);
    if (!requestID || payload != "}}") return std::nullopt;
    progress.fraction = *fraction;
    progress.requestID = requestID->substr(1, requestID->size() - 2);
    return progress;
}

std::optional<std::string_view> canonicalResult(std::string_view payload) {
    constexpr std::string_view end = "}}";
    const bool isResponse = take(payload, R"({"kind":"response","payload":{"requestID":)") && takeString(payload) &&
                            take(payload, R"(,"result":)") && payload.ends_with(end);
    if (!isResponse) return std::nullopt;
    payload.remove_suffix(end.size());
    // Unknown members could follow the result.
    if (!isCanonicalJSON(payload)) return std::nullopt;
    return payload;
}

std::optional<Bytes> rewrittenResult(std::string_view payload) {
    auto result = findTextMember(payload, "payload", "result");
    if (!result) return std::nullopt;
    const auto frame = readOutboundFrame(result->remainder);
    if (!frame || !std::holds_alternative<MCPWireResponse>(frame->is)) return std::nullopt;
    return std::move(result->value);
}

} // namespace VostelMCPKit
