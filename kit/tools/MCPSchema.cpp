#include "kit/tools/MCPSchema.h"

namespace VostelMCPKit {

MCPValue MCPSchema::property(std::string_view type, std::optional<std::string_view> description) {
    if (!description) return MCPValue::object({{"type", type}});
    return MCPValue::object({{"type", type}, {"description", *description}});
}

MCPValue MCPSchema::object(Properties properties, const std::vector<std::string>& required, bool additionalProperties) {
    std::vector<MCPValue::Member> schemas;
    schemas.reserve(properties.size());
    for (auto& [name, schema] : properties) schemas.push_back({name, std::move(schema)});
    std::vector<MCPValue::Member> members{{"type", "object"},
                                          {"properties", MCPValue::object(std::move(schemas))},
                                          {"additionalProperties", additionalProperties}};
    if (!required.empty()) members.push_back({"required", encode(required)});
    return MCPValue::object(std::move(members));
}

MCPValue MCPSchema::array(MCPValue items, std::optional<std::string_view> description) {
    std::vector<MCPValue::Member> members{{"type", "array"}, {"items", std::move(items)}};
    if (description) members.push_back({"description", *description});
    return MCPValue::object(std::move(members));
}

MCPValue MCPSchema::string(std::string_view description, const std::vector<std::string>& allowedValues) {
    return MCPValue::object({{"type", "string"}, {"description", description}, {"enum", encode(allowedValues)}});
}

} // namespace VostelMCPKit
