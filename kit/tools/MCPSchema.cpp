#include "kit/tools/MCPSchema.h"

#include "kit/jsonrpc/MCPObjectBuilder.h"

namespace VostelMCPKit {

MCPValue MCPSchema::property(std::string_view type, std::optional<std::string_view> description) {
    return MCPObjectBuilder{}.add("type", type).addIfPresent("description", description).take();
}

MCPValue MCPSchema::object(Properties properties, const std::vector<std::string>& required, bool additionalProperties) {
    MCPObjectBuilder schemas;
    for (auto& [name, schema] : properties) schemas.add(name, std::move(schema));
    MCPObjectBuilder document;
    document.add("type", "object").add("properties", schemas.take()).add("additionalProperties", additionalProperties);
    if (!required.empty()) document.add("required", encode(required));
    return document.take();
}

MCPValue MCPSchema::array(MCPValue items, std::optional<std::string_view> description) {
    return MCPObjectBuilder{}
        .add("type", "array")
        .add("items", std::move(items))
        .addIfPresent("description", description)
        .take();
}

MCPValue MCPSchema::string(std::string_view description, const std::vector<std::string>& allowedValues) {
    return MCPValue::object({{"type", "string"}, {"description", description}, {"enum", encode(allowedValues)}});
}

} // namespace VostelMCPKit
