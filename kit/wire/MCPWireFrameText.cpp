#include "kit/wire/MCPWireFrameText.h"

#include "kit/jsonrpc/CanonicalJSON.h"
#include "kit/jsonrpc/JSONNumber.h"
#include "kit/jsonrpc/JSONReader.h"
#include "kit/jsonrpc/JSONText.h"
#include "kit/support/ASCII.h"
#include "kit/support/unwrap.h"
#include "kit/wire/MCPWireVersionLogic.h"

#include <algorithm>

namespace VostelMCPKit {

namespace {

bool take(std::string_view& text, std::string_view expected) {
    if (!text.starts_with(expected)) return false;
    text.remove_prefix(expected.size());
    return true;
}

/// Takes a fraction as it is usually written: 0 or 1, with or without decimals.
bool takeFraction(std::string_view& text, double& fraction) {
    if (!text.starts_with('0') && !text.starts_with('1')) return false;
    auto end = text.begin() + 1;
    if (end != text.end() && *end == '.') {
        const auto firstDecimal = end + 1;
        end = std::find_if_not(firstDecimal, text.end(), isASCIIDigit);
        if (end == firstDecimal) return false;
    }
    const auto value = numberFromDecimal({text.begin(), end});
    if (!value) return false;
    fraction = unwrap(value->asDouble());
    text.remove_prefix(static_cast<std::size_t>(end - text.begin()));
    return true;
}

/// Takes a string without escapes.
bool takeString(std::string_view& text, std::string& string) {
    if (!take(text, "\"")) return false;
    const char* end = afterPlain(text.data(), text.data() + text.size());
    string.assign(text.data(), end);
    text.remove_prefix(string.size());
    return take(text, "\"");
}

/// Progress in the form that our own encoder writes; absent for any other text, valid or not.
std::optional<MCPWireProgress> readPlainProgress(std::string_view text) {
    MCPWireProgress progress;
    const bool isPlain = take(text, R"({"kind":"progress","payload":{"fraction":)") &&
                         takeFraction(text, progress.fraction) &&
                         (!take(text, R"(,"message":)") || takeString(text, progress.message.emplace())) &&
                         take(text, R"(,"requestID":)") && takeString(text, progress.requestID) && text == "}}";
    if (!isPlain) return std::nullopt;
    return progress;
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
    if (auto progress = readPlainProgress(payload)) return MCPWireOutboundFrame{*std::move(progress)};
    const auto value = readJSON(payload);
    if (!value) return std::unexpected(value.error());
    return decode<MCPWireOutboundFrame>(*value);
}

std::optional<std::string_view> canonicalResult(std::string_view payload) {
    constexpr std::string_view end = "}}";
    std::string requestID;
    const bool isResponse = take(payload, R"({"kind":"response","payload":{"requestID":)") &&
                            takeString(payload, requestID) && take(payload, R"(,"result":)") && payload.ends_with(end);
    if (!isResponse) return std::nullopt;
    payload.remove_suffix(end.size());
    // Members that are not known could follow the result.
    if (!isCanonicalJSON(payload)) return std::nullopt;
    return payload;
}

std::optional<Bytes> rewrittenResult(std::string_view payload) {
    Bytes text;
    if (!appendCanonicalJSON(payload, text)) return std::nullopt;
    const auto result = canonicalResult(text.text());
    if (!result) return std::nullopt;
    text.removePrefix(static_cast<std::size_t>(result->data() - text.data()));
    text.truncate(result->size());
    return text;
}

} // namespace VostelMCPKit
