#include "kit/jsonrpc/MCPRequestID.h"

namespace VostelMCPKit {

MCPRequestID::MCPRequestID(const MCPRequestID& other)
    : is{match(
          other.is, [](const std::string& text) { return decltype(is){std::string{text}}; },
          [](std::int64_t number) { return decltype(is){number}; })} {}

std::string MCPRequestID::text() const {
    return match(
        is, [](const std::string& string) { return string; },
        [](std::int64_t number) { return std::to_string(number); });
}

MCPValue Codec<MCPRequestID>::encode(const MCPRequestID& id) {
    return std::visit([](const auto& content) { return MCPValue{content}; }, id.is);
}

std::expected<MCPRequestID, DecodingError> Codec<MCPRequestID>::decode(const MCPValue& value) {
    if (const auto number = value.asInt()) return MCPRequestID{*number};
    if (const auto string = value.asString()) return MCPRequestID{std::string{*string}};
    return std::unexpected(
        DecodingError{DecodingError::DataCorrupted{"Идентификатор запроса не является ни строкой, ни числом"}});
}

} // namespace VostelMCPKit
