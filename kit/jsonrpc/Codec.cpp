#include "kit/jsonrpc/Codec.h"

#include "kit/jsonrpc/JSONReader.h"
#include "kit/jsonrpc/JSONTextAccess.h"
#include "kit/jsonrpc/JSONWriter.h"

namespace VostelMCPKit {

MCPValue throughText(MCPValue value) {
    if (!JSONTextAccess::changesWhenWritten(value)) return value;
    Bytes text;
    if (!writeJSON(value, text)) return value;
    auto read = readJSON(text.text());
    return read ? *std::move(read) : value;
}

std::unexpected<DecodingError> integerOutside(std::int64_t least, std::uint64_t most) {
    std::string expected = "an integer from " + std::to_string(least) + " to " + std::to_string(most);
    return std::unexpected(DecodingError{DecodingError::TypeMismatch{std::move(expected)}});
}

std::expected<bool, DecodingError> Codec<bool>::decode(const MCPValue& value) {
    if (const auto content = value.asBool()) return *content;
    return typeMismatch("a boolean");
}

std::expected<double, DecodingError> Codec<double>::decode(const MCPValue& value) {
    if (const auto content = value.asDouble()) return *content;
    return typeMismatch("a number");
}

std::expected<std::string, DecodingError> Codec<std::string>::decode(const MCPValue& value) {
    if (const auto content = value.asString()) return std::string{*content};
    return typeMismatch("a string");
}

KeyReader::KeyReader(const MCPValue& object) : object_{object} {
    if (object.kind() != MCPValue::Kind::Object) error_ = DecodingError{DecodingError::TypeMismatch{"an object"}};
}

const MCPValue* KeyReader::required(std::string_view key) {
    const MCPValue* value = found(key);
    if (value == nullptr && !error_) error_ = DecodingError{DecodingError::KeyNotFound{}, std::string{key}};
    return value;
}

} // namespace VostelMCPKit
