#include "kit/tools/MCPSchema.h"
#include "tests/support/JSON.h"
#include "tests/support/Table.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace VostelMCPKit {
namespace {

using vostel_tests::decoded;
using vostel_tests::json;
using vostel_tests::written;

TEST(MCPSchema, each_builder_gives_its_shape) {
    struct Row {
        const char* when;
        MCPValue schema;
        const char* expected;
    };
    const MCPValue text = MCPSchema::property(MCPSchema::Type::string);
    const Row rows[] = {
        {"a property", MCPSchema::property(MCPSchema::Type::integer), R"({"type":"integer"})"},
        {"a property with its description", MCPSchema::property(MCPSchema::Type::string, "A \"word\"."),
         R"({"description":"A \"word\".","type":"string"})"},
        {"a property with an empty description", MCPSchema::property(MCPSchema::Type::string, ""),
         R"({"description":"","type":"string"})"},
        {"an object of nothing", MCPSchema::object({}, {}, /*additionalProperties=*/false),
         R"({"additionalProperties":false,"properties":{},"type":"object"})"},
        {"an object that requires nothing", MCPSchema::object({{"b", text}, {"a", text}}, {}, false),
         R"({"additionalProperties":false,"properties":{"a":{"type":"string"},"b":{"type":"string"}},"type":"object"})"},
        {"an object that requires in the given order",
         MCPSchema::object({{"a", text}, {"b", text}}, {"b", "a"}, /*additionalProperties=*/true),
         R"({"additionalProperties":true,"properties":{"a":{"type":"string"},"b":{"type":"string"}},)"
         R"("required":["b","a"],"type":"object"})"},
        {"an array", MCPSchema::array(text), R"({"items":{"type":"string"},"type":"array"})"},
        {"an array with its description", MCPSchema::array(text, "Words."),
         R"({"description":"Words.","items":{"type":"string"},"type":"array"})"},
        {"a string with allowed values", MCPSchema::string("Where.", {"link", "file"}),
         R"({"description":"Where.","enum":["link","file"],"type":"string"})"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) { EXPECT_EQ(written(row.schema), row.expected); });
}

TEST(MCPSchema, each_type_has_the_name_that_json_schema_gives_it) {
    using Type = MCPSchema::Type;
    struct Row {
        const char* when;
        Type type;
    };
    const Row rows[] = {{"string", Type::string},   {"integer", Type::integer}, {"number", Type::number},
                        {"boolean", Type::boolean}, {"object", Type::object},   {"array", Type::array},
                        {"null", Type::null}};
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        EXPECT_EQ(written(MCPSchema::property(row.type)), R"({"type":")" + std::string{row.when} + "\"}");
    });
}

TEST(MCPSchema, a_schema_can_be_built_from_lists_made_at_run_time) {
    MCPSchema::Properties properties;
    std::vector<std::string> required;
    for (const std::string name : {"b", "a", "b"}) {
        properties.emplace_back(name,
                                MCPSchema::property(MCPSchema::Type::string, "The last " + name + " is number " +
                                                                                 std::to_string(properties.size())));
        required.push_back(name);
    }
    EXPECT_EQ(written(MCPSchema::object(properties, required, /*additionalProperties=*/false)),
              R"({"additionalProperties":false,"properties":{"a":{"description":"The last a is number 1",)"
              R"("type":"string"},"b":{"description":"The last b is number 2","type":"string"}},)"
              R"("required":["b","a","b"],"type":"object"})");
    EXPECT_EQ(written(MCPSchema::string("Where.", required)),
              R"({"description":"Where.","enum":["b","a","b"],"type":"string"})");
}

TEST(MCPSchema, is_the_bare_document_in_JSON) {
    for (const char* text : {R"({"type":"string"})", "true", "null", "[]", "7"}) {
        SCOPED_TRACE(text);
        EXPECT_EQ(written(MCPSchema{json(text)}), text);
        EXPECT_EQ(decoded<MCPSchema>(text), MCPSchema{json(text)});
    }
    EXPECT_NE(MCPSchema{true}, MCPSchema{false});
}

} // namespace
} // namespace VostelMCPKit
