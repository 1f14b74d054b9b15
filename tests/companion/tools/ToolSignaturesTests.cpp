// The records of the tools have the keys and types that the catalogue announces to clients.
#include "companion/tools/ToolSignatures.h"
#include "kit/tools/MCPToolCatalogue.h"
#include "tests/support/JSON.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <vector>

namespace vostel_companion {

using vostel_tests::written;
using VostelMCPKit::MCPTool;
using VostelMCPKit::MCPValue;

namespace {

MCPValue typed(const char* type) { return MCPValue::object({{"type", type}}); }

/// The schema of a field or record: its types, its keys and which of them are required.
template <class Record>
struct Schema;

template <>
struct Schema<std::string> {
    static MCPValue value() { return typed("string"); }
};
template <>
struct Schema<double> {
    static MCPValue value() { return typed("number"); }
};
template <VostelMCPKit::MCPInteger Integer>
struct Schema<Integer> {
    static MCPValue value() { return typed("integer"); }
};
template <>
struct Schema<bool> {
    static MCPValue value() { return typed("boolean"); }
};
template <class Element>
struct Schema<std::vector<Element>> {
    static MCPValue value() { return MCPValue::object({{"type", "array"}, {"items", Schema<Element>::value()}}); }
};

/// Collects the keys of a record. It is used in the place of a JSON writer.
struct SchemaKeys {
    std::vector<MCPValue::Member> properties;
    std::vector<MCPValue> required;

    template <class Field>
    void operator()(const char* key, const Field& /*field*/) {
        properties.push_back({key, Schema<Field>::value()});
        required.emplace_back(key);
    }
    template <class Field>
    void operator()(const char* key, const std::optional<Field>& /*field*/) {
        properties.push_back({key, Schema<Field>::value()});
    }
};

template <class Record>
struct Schema {
    static MCPValue value() {
        SchemaKeys keys;
        const Record record;
        Record::codingKeys(record, keys);
        std::vector<MCPValue::Member> members{
            {"type", "object"}, {"properties", MCPValue::object(keys.properties)}, {"additionalProperties", false}};
        if (!keys.required.empty()) members.push_back({"required", MCPValue::array(keys.required)});
        return MCPValue::object(std::move(members));
    }
};

enum class Required { kept, leftOut };

/// `schema` without descriptions and allowed values, because a record does not have them. For results also without
/// `required`, because the catalogue announces it only for arguments.
MCPValue reduced(const MCPValue& schema, Required required) { // NOLINT(misc-no-recursion)
    std::vector<MCPValue::Member> members;
    const auto keywords = schema.asObject();
    for (const MCPValue::Member& keyword : keywords.value()) {
        if (keyword.key() == "description" || keyword.key() == "enum") continue;
        if (keyword.key() == "required" && required == Required::leftOut) continue;
        MCPValue value = keyword.value;
        if (keyword.key() == "items") value = reduced(value, required);
        if (keyword.key() == "properties") {
            std::vector<MCPValue::Member> properties;
            const auto named = value.asObject();
            for (const MCPValue::Member& property : named.value())
                properties.push_back({property.key(), reduced(property.value, required)});
            value = MCPValue::object(std::move(properties));
        }
        members.push_back({keyword.key(), std::move(value)});
    }
    return MCPValue::object(std::move(members));
}

struct Announced {
    std::string arguments;
    std::string result;
};

Announced announced(const std::string& name) {
    for (const MCPTool& tool : VostelMCPKit::MCPToolCatalogue::tools(/*youTubeAvailable=*/true)) {
        if (tool.name != name) continue;
        return {written(reduced(tool.inputSchema.value, Required::kept)),
                written(reduced(tool.outputSchema.value().value, Required::leftOut))};
    }
    return {};
}

template <class... Signatures>
void expectAnnounced() {
    const auto expectOne = []<class Signature>(const Signature*) {
        SCOPED_TRACE(Signature::name);
        const Announced schemas = announced(Signature::name);
        EXPECT_EQ(written(Schema<typename Signature::Arguments>::value()), schemas.arguments);
        EXPECT_EQ(written(reduced(Schema<typename Signature::Result>::value(), Required::leftOut)), schemas.result);
    };
    (expectOne(static_cast<const Signatures*>(nullptr)), ...);

    std::set<std::string> names;
    for (const MCPTool& tool : VostelMCPKit::MCPToolCatalogue::tools(/*youTubeAvailable=*/true))
        names.insert(tool.name);
    EXPECT_EQ(names, (std::set<std::string>{Signatures::name...}));
}

} // namespace

TEST(ToolSignatures, have_the_keys_and_types_of_the_announced_schemas) {
    expectAnnounced<TranscribeFile, TranscribeURL, HistoryList, TranscriptsList, RecordingsList, RecordingGet,
                    VocabularyList, VocabularyAdd, VocabularyRemove, ModelsList, ModelInstall, ModelRemove>();
}

TEST(ToolSignatures, the_schema_of_a_record_has_its_nested_and_required_keys) {
    EXPECT_EQ(written(Schema<TranscribeFile::Arguments>::value()),
              R"({"additionalProperties":false,"properties":{"language":{"type":"string"},"path":{"type":"string"}},)"
              R"("required":["path"],"type":"object"})");
    EXPECT_EQ(written(Schema<ModelsList::Result>::value()),
              R"({"additionalProperties":false,"properties":{"models":{"items":{"additionalProperties":false,)"
              R"("properties":{"displayName":{"type":"string"},"identifier":{"type":"string"},)"
              R"("installed":{"type":"boolean"}},"required":["identifier","displayName","installed"],)"
              R"("type":"object"},"type":"array"}},"required":["models"],"type":"object"})");
}

} // namespace vostel_companion
