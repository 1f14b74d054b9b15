#include "kit/tools/MCPSchema.h"

#include "kit/jsonrpc/MCPObjectBuilder.h"

namespace VostelMCPKit {

namespace {

const char* name(MCPSchema::Type type) {
    switch (type) {
    case MCPSchema::Type::string:
        return "string";
    case MCPSchema::Type::integer:
        return "integer";
    case MCPSchema::Type::number:
        return "number";
    case MCPSchema::Type::boolean:
        return "boolean";
    case MCPSchema::Type::object:
        return "object";
    case MCPSchema::Type::array:
        return "array";
    case MCPSchema::Type::null:
        return "null";
    }
    std::unreachable();
}

} // namespace

MCPValue MCPSchema::property(Type type, std::optional<std::string_view> description) {
    return MCPObjectBuilder{}.add("type", name(type)).addIfPresent("description", description).take();
}

MCPValue MCPSchema::object(Properties properties, const std::vector<std::string>& required, bool additionalProperties) {
    MCPObjectBuilder schemas;
    for (auto& [name, schema] : properties) schemas.add(name, std::move(schema));
    MCPObjectBuilder document;
    document.add("type", name(Type::object))
        .add("properties", schemas.take())
        .add("additionalProperties", additionalProperties);
    if (!required.empty()) document.add("required", encode(required));
    return document.take();
}

MCPValue MCPSchema::array(MCPValue items, std::optional<std::string_view> description) {
    return MCPObjectBuilder{}
        .add("type", name(Type::array))
        .add("items", std::move(items))
        .addIfPresent("description", description)
        .take();
}

MCPValue MCPSchema::string(std::string_view description, const std::vector<std::string>& allowedValues) {
    return MCPValue::object(
        {{"type", name(Type::string)}, {"description", description}, {"enum", encode(allowedValues)}});
}

} // namespace VostelMCPKit
