#include "kit/jsonrpc/Codec.h"

#include "kit/jsonrpc/JSONReader.h"
#include "kit/jsonrpc/JSONTextAccess.h"
#include "kit/jsonrpc/JSONWriter.h"

#include <cstddef>
#include <cstring>
#include <iterator>

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

void RecordWriter::moveInOrder(std::string_view key, std::size_t start) {
    const std::size_t length = out_.size() - start;
    auto place = members_.end();
    std::size_t larger = 0;
    for (; place != members_.begin() + static_cast<std::ptrdiff_t>(first_); --place) {
        const Member& before = *std::prev(place);
        if (keyOrder(before.key, key) < 0) break;
        larger += before.length;
    }
    members_.insert(place, {std::string{key}, length});
    if (larger == 0) return;
    // Those with larger keys wait after the text meanwhile. They are short in our records.
    char* const aside = out_.room(larger);
    char* const target = out_.data() + start - larger;
    std::memcpy(aside, target, larger);
    std::memmove(target, target + larger, length);
    std::memcpy(target + length, aside, larger);
}

void RecordWriter::endObject() {
    // Drops the comma after the last member.
    if (members_.size() > first_) out_.truncate(out_.size() - 1);
    out_.append('}');
    members_.erase(members_.begin() + static_cast<std::ptrdiff_t>(first_), members_.end());
}

} // namespace VostelMCPKit
