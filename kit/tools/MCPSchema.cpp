#include "kit/tools/MCPSchema.h"

namespace VostelMCPKit {

MCPValue MCPSchema::property(std::string_view type, std::optional<std::string_view> description) {
    if (!description) return MCPValue::object({{"type", type}});
    return MCPValue::object({{"type", type}, {"description", *description}});
}

MCPValue MCPSchema::object(Properties properties, std::initializer_list<MCPValue> required, bool additionalProperties) {
    std::vector<MCPValue::Member> members{{"type", "object"},
                                          {"properties", MCPValue::object(properties)},
                                          {"additionalProperties", additionalProperties}};
    if (required.size() > 0) members.push_back({"required", MCPValue::array(required)});
    return MCPValue::object(std::move(members));
}

MCPValue MCPSchema::array(MCPValue items, std::optional<std::string_view> description) {
    std::vector<MCPValue::Member> members{{"type", "array"}, {"items", std::move(items)}};
    if (description) members.push_back({"description", *description});
    return MCPValue::object(std::move(members));
}

MCPValue MCPSchema::string(std::string_view description, std::initializer_list<MCPValue> allowedValues) {
    return MCPValue::object(
        {{"type", "string"}, {"description", description}, {"enum", MCPValue::array(allowedValues)}});
}

} // namespace VostelMCPKit
