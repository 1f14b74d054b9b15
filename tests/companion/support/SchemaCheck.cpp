#include "tests/companion/support/SchemaCheck.h"

#include "kit/tools/MCPToolCatalogue.h"

#include <algorithm>

namespace vostel_tests {

using VostelMCPKit::MCPValue;

namespace {

bool isOfType(const MCPValue& value, std::string_view type) {
    using Kind = MCPValue::Kind;
    const Kind kind = value.kind();
    if (type == "object") return kind == Kind::Object;
    if (type == "array") return kind == Kind::Array;
    if (type == "string") return kind == Kind::String;
    if (type == "boolean") return kind == Kind::Bool;
    if (type == "integer") return kind == Kind::Int;
    return type == "number" && (kind == Kind::Int || kind == Kind::Double);
}

std::string objectMismatch(const MCPValue& value, const MCPValue& schema) {
    const auto members = value.asObject();
    if (const MCPValue* required = schema["required"]) {
        const auto names = required->asArray();
        for (const MCPValue& name : names.value()) {
            if (value[*name.asString()] == nullptr) return "lacks " + std::string{*name.asString()};
        }
    }
    for (const MCPValue::Member& member : members.value()) {
        const MCPValue* property = (*schema["properties"])[member.key()];
        if (property == nullptr) return "has the undeclared member " + std::string{member.key()};
        if (const std::string inner = mismatch(member.value, *property); !inner.empty()) {
            return std::string{member.key()} + ": " + inner;
        }
    }
    return {};
}

} // namespace

std::string mismatch(const MCPValue& value, const MCPValue& schema) {
    constexpr std::string_view known[] = {"type", "properties", "required", "items", "additionalProperties",
                                          "enum", "description"};
    const auto keywords = schema.asObject();
    for (const MCPValue::Member& keyword : keywords.value()) {
        if (std::ranges::find(known, keyword.key()) == std::end(known)) {
            return "unknown keyword " + std::string{keyword.key()};
        }
    }
    if (!isOfType(value, *schema["type"]->asString()))
        return "is not of type " + std::string{*schema["type"]->asString()};
    if (schema["properties"] != nullptr) return objectMismatch(value, schema);
    if (const MCPValue* items = schema["items"]) {
        const auto elements = value.asArray();
        for (const MCPValue& element : elements.value()) {
            if (const std::string inner = mismatch(element, *items); !inner.empty()) return "an element " + inner;
        }
    }
    if (const MCPValue* allowed = schema["enum"]) {
        const auto values = allowed->asArray();
        if (std::ranges::find(*values, value) == values->end()) return "is not among the allowed values";
    }
    return {};
}

MCPValue outputSchema(const std::string& name) {
    for (const auto& tool : VostelMCPKit::MCPToolCatalogue::tools(/*youTubeAvailable=*/true)) {
        if (tool.name == name) return tool.outputSchema.value().value;
    }
    return {};
}

} // namespace vostel_tests
