// A JSON Schema document, and builders for the few shapes that the tool catalogue uses.
#pragma once

#include "kit/jsonrpc/Codec.h"

#include <initializer_list>
#include <optional>
#include <string_view>
#include <utility>

namespace VostelMCPKit {

struct MCPSchema {
    /// The document itself, normally an object.
    MCPValue value;

    using Properties = std::initializer_list<std::pair<std::string_view, MCPValue>>;

    [[nodiscard]] static MCPValue property(std::string_view type, std::optional<std::string_view> description = {});
    /// `required` holds names of properties in the order to write them; when it is empty the schema has no such key.
    [[nodiscard]] static MCPValue object(Properties properties, std::initializer_list<MCPValue> required,
                                         bool additionalProperties);
    [[nodiscard]] static MCPValue array(MCPValue items, std::optional<std::string_view> description = {});
    [[nodiscard]] static MCPValue string(std::string_view description, std::initializer_list<MCPValue> allowedValues);

    bool operator==(const MCPSchema&) const = default;
};

/// The bare document, without a wrapper.
template <>
struct Codec<MCPSchema> {
    static MCPValue encode(const MCPSchema& schema) { return schema.value; }
    static std::expected<MCPSchema, DecodingError> decode(const MCPValue& value) { return MCPSchema{value}; }
};

} // namespace VostelMCPKit
