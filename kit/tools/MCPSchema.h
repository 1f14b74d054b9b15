// A JSON Schema document, and builders for the few shapes that the tool catalogue uses.
//
//     MCPSchema::object({{"path", MCPSchema::property(MCPSchema::Type::string, "Absolute path.")}}, {"path"},
//                       /*additionalProperties=*/false)
//
// The builders are thread-safe and return a document that can be nested in another one. Their lists may be written in
// braces or built at run time. All text is UTF-8.
#pragma once

#include "kit/jsonrpc/Codec.h"

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace VostelMCPKit {

/// A plain value.
struct MCPSchema {
    /// The types of JSON Schema, each with its name there.
    enum class Type {
        /// Any text.
        string,
        /// A number without a fraction.
        integer,
        /// Any number.
        number,
        /// true or false.
        boolean,
        /// With members; see object().
        object,
        /// With elements; see array().
        array,
        /// Only null.
        null
    };

    /// The document itself, normally an object.
    MCPValue value;

    /// Names and their schemas, in any order. Of two equal names the last one counts.
    using Properties = std::vector<std::pair<std::string, MCPValue>>;

    /// A value of `type`, with no other condition.
    [[nodiscard]] static MCPValue property(Type type, std::optional<std::string_view> description = {});
    /// An object. `required` lists names of properties, in the order to write them. An empty list leaves the key out.
    [[nodiscard]] static MCPValue object(Properties properties, const std::vector<std::string>& required,
                                         bool additionalProperties);
    /// An array whose elements all follow the schema `items`.
    [[nodiscard]] static MCPValue array(MCPValue items, std::optional<std::string_view> description = {});
    /// One of the given texts.
    [[nodiscard]] static MCPValue string(std::string_view description, const std::vector<std::string>& allowedValues);

    bool operator==(const MCPSchema&) const = default;
};

/// The bare document, without a wrapper. Every JSON value can be read as one.
template <>
struct Codec<MCPSchema> {
    static MCPValue encode(const MCPSchema& schema) { return schema.value; }
    static std::expected<MCPSchema, DecodingError> decode(const MCPValue& value) { return MCPSchema{value}; }
};

} // namespace VostelMCPKit
