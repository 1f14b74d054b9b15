#include "kit/jsonrpc/JSONReader.h"
#include "kit/jsonrpc/MCPObjectBuilder.h"
#include "kit/jsonrpc/MCPValue.h"
#include "tests/support/JSON.h"
#include "tests/support/Table.h"

#include <algorithm>
#include <concepts>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

namespace VostelMCPKit {
namespace {

using vostel_tests::json;
using vostel_tests::written;
using Kind = MCPValue::Kind;

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

// The compiler refuses values that would become a boolean or a number by accident. For the rest, see compile_fail.
static_assert(!std::constructible_from<MCPValue, void*>);
static_assert(!std::constructible_from<MCPValue, const int*>);
static_assert(!std::constructible_from<MCPValue, char>);
static_assert(!std::constructible_from<MCPValue, char32_t>);
static_assert(std::constructible_from<MCPValue, std::uint64_t>);
static_assert(std::constructible_from<MCPValue, std::int32_t>);
static_assert(std::constructible_from<MCPValue, float>);
static_assert(std::is_nothrow_copy_constructible_v<MCPValue> && std::is_nothrow_move_constructible_v<MCPValue>);
static_assert(sizeof(MCPValue) == 16);

TEST(MCPValue, has_seven_kinds_in_their_order) {
    const Kind kinds[] = {Kind::Bool, Kind::Int, Kind::Double, Kind::String, Kind::Array, Kind::Object, Kind::Null};
    for (std::size_t index = 0; index < std::size(kinds); ++index)
        EXPECT_EQ(static_cast<std::size_t>(kinds[index]), index);
}

TEST(MCPValue, is_built_from_literals_of_each_kind) {
    struct Row {
        const char* when;
        MCPValue value;
        Kind kind;
    };
    const std::string text = "text";
    const Row rows[] = {
        {"nothing", {}, Kind::Null},
        {"the null literal", nullptr, Kind::Null},
        {"a boolean", true, Kind::Bool},
        {"an integer", 7, Kind::Int},
        {"a short integer", std::int8_t{7}, Kind::Int},
        {"a zero", 0, Kind::Int},
        {"a floating-point number", 7.0, Kind::Double},
        {"a short floating-point number", 7.0F, Kind::Double},
        {"a literal", "text", Kind::String},
        {"a string", text, Kind::String},
        {"a view", std::string_view{text}, Kind::String},
        {"a list", MCPValue::array({1, "two"}), Kind::Array},
        {"an unsigned integer", 7U, Kind::Int},
        {"the largest integer", std::uint64_t{INT64_MAX}, Kind::Int},
        {"the size of a container", std::size_t{7}, Kind::Int},
        {"a null pointer to text", static_cast<const char*>(nullptr), Kind::Null},
        {"pairs", MCPValue::object({{"a", 1}}), Kind::Object},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        EXPECT_EQ(row.value.kind(), row.kind);
        EXPECT_EQ(row.value.isNull(), row.kind == Kind::Null);
    });
}

TEST(MCPValue, an_unsigned_integer_keeps_its_value_or_cannot_be_written) {
    EXPECT_EQ(MCPValue{std::uint64_t{INT64_MAX}}, MCPValue{INT64_MAX});
    EXPECT_EQ(MCPValue{std::uint8_t{255}}, MCPValue{255});
    for (const std::uint64_t tooLarge : {std::uint64_t{INT64_MAX} + 1, UINT64_MAX}) {
        Bytes text;
        EXPECT_EQ(writeJSON(MCPValue{tooLarge}, text), (std::expected<void, EncodingError>{std::unexpect}));
        EXPECT_EQ(MCPValue{tooLarge}.asInt(), std::nullopt);
    }
}

TEST(MCPObjectBuilder, collects_members_whose_keys_are_known_at_run_time) {
    MCPObjectBuilder builder;
    for (const std::string name : {"b", "a"}) builder.add(name, name.size());
    const std::optional<std::string> known = "text";
    builder.addIfPresent("known", known).addIfPresent("unknown", std::optional<double>{});
    EXPECT_EQ(written(builder.take()), R"({"a":1,"b":1,"known":"text"})");
    EXPECT_EQ(written(builder.take()), "{}");
}

TEST(MCPValue, each_accessor_is_absent_for_other_kinds) {
    struct Row {
        const char* when;
        MCPValue value;
        std::optional<bool> asBool;
        std::optional<std::int64_t> asInt;
        std::optional<double> asDouble;
        std::optional<std::string_view> asString;
    };
    const Row rows[] = {
        {"null", nullptr, {}, {}, {}, {}},
        {"true", true, true, {}, {}, {}},
        {"false", false, false, {}, {}, {}},
        {"an integer can be read as a double", 7, {}, 7, 7.0, {}},
        {"the highest integer",
         std::numeric_limits<std::int64_t>::max(),
         {},
         std::numeric_limits<std::int64_t>::max(),
         9223372036854775808.0,
         {}},
        {"a double is never an integer", 7.0, {}, {}, 7.0, {}},
        {"an empty string", "", {}, {}, {}, ""},
        {"a string of digits", "7", {}, {}, {}, "7"},
        {"an array", MCPValue::array({7}), {}, {}, {}, {}},
        {"an object", MCPValue::object({{"a", 7}}), {}, {}, {}, {}},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        EXPECT_EQ(row.value.asBool(), row.asBool);
        EXPECT_EQ(row.value.asInt(), row.asInt);
        EXPECT_EQ(row.value.asDouble(), row.asDouble);
        EXPECT_EQ(row.value.asString(), row.asString);
        EXPECT_EQ(row.value.asArray().has_value(), row.value.kind() == Kind::Array);
        EXPECT_EQ(row.value.asObject().has_value(), row.value.kind() == Kind::Object);
        EXPECT_EQ(row.value["a"] != nullptr, row.value.kind() == Kind::Object);
    });
}

TEST(MCPValue, a_key_finds_its_member_also_when_that_is_null) {
    const MCPValue value = json(R"({"a":null,"b":1})");
    ASSERT_NE(value["a"], nullptr);
    EXPECT_EQ(*value["a"], MCPValue{});
    EXPECT_EQ(*value["b"], MCPValue{1});
    for (const char* key : {"c", "", "A", "aa", "a\xCC\x88"}) EXPECT_EQ(value[key], nullptr) << key;
    EXPECT_EQ((*value["b"])["b"], nullptr);
}

TEST(MCPValue, a_path_of_keys_finds_the_value_at_its_end) {
    const MCPValue params = json(R"({"_meta":{"progressToken":7,"none":null},"name":"n","list":[{"a":1}]})");
    EXPECT_EQ(*params.find("_meta", "progressToken"), 7);
    EXPECT_EQ(params.find("_meta"), params["_meta"]);
    EXPECT_TRUE(params.find("_meta", "none")->isNull());
    EXPECT_EQ(params.find("_meta", "other"), nullptr);
    EXPECT_EQ(params.find("other", "progressToken"), nullptr);
    EXPECT_EQ(params.find("name", "progressToken"), nullptr);
    EXPECT_EQ(params.find("_meta", "none", "deeper"), nullptr);
    EXPECT_EQ(params.find("list", "a"), nullptr);
}

TEST(MCPValue, a_path_of_keys_reads_a_scalar_or_nothing) {
    const MCPValue value = json(R"({"in":{"text":"t","int":7,"real":1.5,"flag":true,"none":null}})");
    EXPECT_EQ(value.string("in", "text"), "t");
    EXPECT_EQ(value.integer("in", "int"), 7);
    EXPECT_EQ(value.number("in", "real"), 1.5);
    EXPECT_EQ(value.number("in", "int"), 7.0);
    EXPECT_EQ(value.boolean("in", "flag"), true);

    EXPECT_EQ(value.string("in", "int"), std::nullopt);
    EXPECT_EQ(value.integer("in", "real"), std::nullopt);
    EXPECT_EQ(value.number("in", "text"), std::nullopt);
    EXPECT_EQ(value.boolean("in", "none"), std::nullopt);
    EXPECT_EQ(value.string("out", "text"), std::nullopt);
    EXPECT_EQ(value.string("in", "other"), std::nullopt);
    EXPECT_EQ(MCPValue{}.integer("in"), std::nullopt);
}

TEST(MCPValue, absent_params_read_like_null) {
    const std::optional<MCPValue> absent;
    const std::optional<MCPValue> params = json(R"({"name":"n"})");
    EXPECT_TRUE(orNull(absent).isNull());
    EXPECT_EQ(orNull(absent).string("name"), std::nullopt);
    EXPECT_EQ(&orNull(params), &*params);
}

TEST(MCPValue, loops_run_over_elements_and_members_and_over_nothing_in_other_kinds) {
    const MCPValue value = json(R"({"list":[1,2,3],"none":[]})");
    std::int64_t sum = 0;
    for (const MCPValue& element : value.find("list")->elements()) sum += element.asInt().value_or(0);
    EXPECT_EQ(sum, 6);
    EXPECT_EQ(value.find("list")->elements().size(), 3U);
    EXPECT_EQ(value.find("list")->elements()[2], 3);
    std::string keys;
    for (const MCPValue::Member& member : value.members()) keys += member.key();
    EXPECT_EQ(keys, "listnone");

    EXPECT_TRUE(value.find("none")->elements().empty());
    EXPECT_TRUE(value.elements().empty());
    EXPECT_TRUE(value.find("list")->members().empty());
    EXPECT_TRUE(MCPValue{"text"}.members().empty());
}

TEST(MCPValue, a_loop_may_run_over_a_temporary) {
    std::string keys;
    // The temporary value is destroyed before the first iteration.
    for (const MCPValue::Member& member : readJSON(R"({"a":1,"a key of more than fifteen bytes":2})")->members())
        keys += member.key();
    EXPECT_EQ(keys, "aa key of more than fifteen bytes");
    std::size_t length = 0;
    for (const MCPValue& element : json(R"(["a string of more than fifteen bytes","b"])").elements())
        length += element.asString()->size();
    EXPECT_EQ(length, 36U);
}

TEST(MCPValue, every_key_of_a_large_object_is_found) {
    std::vector<MCPValue::Member> members;
    for (int index = 0; index < 1'000; ++index) {
        members.push_back({(index % 2 == 0 ? "Key" : "key") + std::to_string(index * 7'919 % 1'000), index});
    }
    const MCPValue object = MCPValue::object(members);
    ASSERT_EQ(object.asObject()->size(), 1'000U);
    for (const auto& member : members) {
        const MCPValue* found = object[member.key()];
        ASSERT_NE(found, nullptr);
        EXPECT_EQ(*found, member.value);
    }
    EXPECT_EQ(object["Key1001"], nullptr);
}

TEST(MCPValue, members_are_in_output_order_however_they_were_added) {
    std::vector<MCPValue::Member> members{{"b", 1}, {"A", 2}, {"a10", 3}, {"a2", 4}, {"_", 5}};
    std::ranges::sort(members, {}, [](const MCPValue::Member& member) { return std::string{member.key()}; });
    const auto byKey = [](const MCPValue::Member& left, const MCPValue::Member& right) {
        return left.key() < right.key();
    };
    do {
        EXPECT_EQ(written(MCPValue::object(members)), R"({"_":5,"A":2,"a2":4,"a10":3,"b":1})");
    } while (std::next_permutation(members.begin(), members.end(), byKey));
}

TEST(MCPValue, of_members_with_one_key_the_last_one_wins) {
    const MCPValue value = MCPValue::object(std::vector<MCPValue::Member>{{"a", 1}, {"b", 2}, {"a", 3}, {"a", 4}});
    EXPECT_EQ(written(value), R"({"a":4,"b":2})");
    EXPECT_EQ(written(MCPObjectBuilder{}.add("b", 1).add("a", 2).add("b", 3).take()), R"({"a":2,"b":3})");
    EXPECT_EQ(written(MCPValue::object(std::vector<MCPValue::Member>{})), "{}");
}

TEST(MCPValueDeathTest, two_equal_keys_in_a_literal_end_the_process) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(std::ignore = MCPValue::object({{"a", 1}, {"a", 2}}), "");
    EXPECT_EQ(MCPValue::object({{"a", 1}, {"A", 2}}).members().size(), 2U);
}

TEST(MCPValue, taken_elements_are_those_of_the_array) {
    const std::string longText(100, 'x');
    std::vector<MCPValue> elements{1, longText, MCPValue::array({2})};
    const MCPValue copied = MCPValue::array(elements);
    const MCPValue taken = MCPValue::takingArray(elements);
    EXPECT_EQ(copied, taken);
    EXPECT_EQ(written(taken), "[1,\"" + longText + "\",[2]]");
}

TEST(MCPValue, strings_of_every_length_are_kept) {
    for (std::size_t length = 0; length <= 40; ++length) {
        const std::string text(length, '\0');
        const MCPValue value{text};
        EXPECT_EQ(value.kind(), Kind::String);
        EXPECT_EQ(value.asString(), text);
        const MCPValue copy = value;
        EXPECT_EQ(copy.asString(), text);
        EXPECT_EQ(copy, MCPValue{std::string_view{text}});
        EXPECT_NE(copy, MCPValue{text + "a"});
    }
}

TEST(MCPValue, copies_and_moves_keep_the_value) {
    const std::string_view texts[] = {
        "null", "true", "1", "1.5", "\"short\"", "\"longer than sixteen bytes\"", "[1,[2]]", "{\"a\":{\"b\":[]}}"};
    for (const auto text : texts) {
        SCOPED_TRACE(text);
        MCPValue original = json(text);
        MCPValue copy = original;
        EXPECT_EQ(written(copy), text);
        MCPValue moved = std::move(original);
        EXPECT_EQ(written(moved), text);
        EXPECT_TRUE(original.isNull()); // NOLINT(bugprone-use-after-move): a moved-from value is null.
        original = copy;
        EXPECT_EQ(written(original), text);
        copy = MCPValue::array({original, original});
        original = 7;
        EXPECT_EQ(written(copy), "[" + std::string{text} + "," + std::string{text} + "]");
        MCPValue& same = copy;
        copy = same;
        copy = std::move(same);
        EXPECT_EQ(copy.asArray()->size(), 2U);
        copy = MCPValue{copy.asArray()->front()};
        EXPECT_EQ(written(copy), text);
    }
}

TEST(MCPValue, equals_only_the_same_kind_with_the_same_payload) {
    // The values of one row equal each other, and differ from those of all other rows.
    const std::vector<std::vector<MCPValue>> rows{
        {nullptr, MCPValue{}, json("null")},
        {true, json("true")},
        {false, json("false")},
        {1, json("1"), json("1.0"), json("10e-1")},
        {0, json("-0")},
        {1.0, 1.0F},
        {0.0, -0.0},
        {1.5, json("1.5"), json("15e-1")},
        {"", json("\"\"")},
        {"1", json(R"("\u0031")")},
        {"true"},
        {"é", json(R"("\u00e9")")},
        {"e\xCC\x81"},
        {std::string(100, 'x'), json("\"" + std::string(100, 'x') + "\"")},
        {std::string(99, 'x') + "y"},
        {MCPValue::array({}), json("[]")},
        {MCPValue::array({nullptr})},
        {MCPValue::array({1, 2}), json("[1,2]")},
        {MCPValue::array({2, 1})},
        {MCPValue::array({1, 2, 3})},
        {MCPValue::array({1.0, 2})},
        {MCPValue::array({MCPValue::array({1}), MCPValue::array({})})},
        {MCPValue::array({MCPValue::array({}), MCPValue::array({1})})},
        {MCPValue::object({}), json("{}")},
        {MCPValue::object({{"a", nullptr}}), json(R"({"a":null})")},
        {MCPValue::object({{"b", nullptr}})},
        {MCPValue::object({{"a", 1}, {"b", 2}}), json(R"({"b":2,"a":1})")},
        {MCPValue::object({{"a", 2}, {"b", 1}})},
        {MCPValue::object({{"a", 1}, {"b", 2}, {"c", 3}})},
        {MCPValue::object({{"A", 1}, {"b", 2}})},
        {MCPValue::array({"a", 1, "b", 2})},
        {json(R"({"a":[{"b":[1,{"c":2}]}]})"), json(R"({"a":[{"b":[1,{"c":2.0}]}]})")},
        {json(R"({"a":[{"b":[1,{"c":3}]}]})")},
    };
    for (std::size_t left = 0; left < rows.size(); ++left) {
        for (std::size_t right = 0; right < rows.size(); ++right) {
            for (const MCPValue& ours : rows[left]) {
                for (const MCPValue& theirs : rows[right]) {
                    EXPECT_EQ(ours == theirs, left == right) << left << " " << right;
                    EXPECT_TRUE(left != right || ours.hash() == theirs.hash()) << left;
                }
            }
        }
    }
}

TEST(MCPValue, not_a_number_equals_nothing) {
    const MCPValue value = notANumber;
    EXPECT_NE(value, value);
    const MCPValue array = MCPValue::array({1, notANumber});
    EXPECT_NE(array, array);
    const MCPValue object = MCPValue::object({{"a", array}});
    EXPECT_NE(object, object);
}

TEST(MCPValue, similar_values_have_different_hashes) {
    const char* texts[] = {"null",
                           "true",
                           "false",
                           "0",
                           "1",
                           "\"\"",
                           "\"1\"",
                           "[]",
                           "{}",
                           "[[]]",
                           "[{}]",
                           "[1,2]",
                           "[2,1]",
                           "[[1],2]",
                           "[1,[2]]",
                           "[[1,2]]",
                           "[\"a\",1]",
                           "1.5",
                           "2.5",
                           "[1.5]",
                           "[[],[]]",
                           "[[[]]]",
                           "{\"a\":1}",
                           "{\"a\":2}",
                           "{\"b\":1}",
                           "{\"a\":[1,2]}",
                           "{\"a\":[2,1]}",
                           "{\"a\":\"b\"}",
                           "{\"b\":\"a\"}"};
    std::vector<std::size_t> hashes;
    for (const char* text : texts) hashes.push_back(std::hash<MCPValue>{}(json(text)));
    std::ranges::sort(hashes);
    EXPECT_EQ(std::ranges::adjacent_find(hashes), hashes.end());
}

TEST(MCPValue, equal_values_hash_equally_also_when_built_in_another_order) {
    EXPECT_EQ(MCPValue{0.0}.hash(), MCPValue{-0.0}.hash());
    EXPECT_EQ(json(R"({"b":[0.5,{"d":1,"c":2}],"a":"x"})").hash(),
              json(R"({"a":"x","b":[5e-1,{"c":2,"d":1}]})").hash());
}

TEST(KeyOrder, ignores_letter_case_and_compares_digit_runs_by_value) {
    struct Row {
        const char* when;
        std::vector<std::string> ascending;
    };
    const Row rows[] = {
        {"nothing before something", {"", "a", "aa", "ab", "b"}},
        {"the members of an error", {"code", "data", "message"}},
        {"the members of a response", {"error", "id", "jsonrpc", "result"}},
        {"the members of a request", {"id", "jsonrpc", "method", "params"}},
        {"an underscore before letters", {"_meta", "annotations", "description"}},
        {"an underscore before letters of either case", {"_", "A", "B"}},
        {"between capital and small letters, too", {"[", "]", "^", "`", "a", "Z"}},
        {"letter case ignored", {"a", "B", "c", "D"}},
        {"letter case only decides between equals", {"A", "a", "AA", "Aa", "aA", "aa"}},
        {"letter case within a word", {"endTime", "startedAt", "startTime"}},
        {"digits by value", {"a1", "a2", "a9", "a10", "a11", "a100"}},
        {"digits before letters", {"1", "2", "10", "a"}},
        {"digits and signs", {"a", "a ", "a-1", "a.1", "a1", "a:1", "aB"}},
        {"several runs of digits", {"1.2.9", "1.2.10", "1.10.1", "2.0.0"}},
        {"leading zeros do not count at first", {"a01", "a1", "a002", "a2"}},
        {"leading zeros only decide between equals", {"a0", "a00", "a01b", "a1b", "a1c"}},
        {"zeros only", {"a0", "a1"}},
        {"the rest decides before leading zeros", {"a1a", "a01b", "a1c"}},
        {"more digits than any integer holds",
         {"a99999999999999999999", "a100000000000000000000", "a100000000000000000001"}},
        {"a run of digits before its continuation", {"a1", "a1b", "a10", "a10b"}},
        {"letters beyond ASCII after those of ASCII", {"z", "è", "É", "ê"}},
        {"accents and letter case", {"É", "é", "Éa", "éB"}},
        {"Cyrillic in either case", {"А", "а", "Б", "б", "Я", "я"}},
        {"Greek, the sigma at the end of a word too", {"Σ", "ς", "σ", "Τ"}},
        {"the Kelvin sign compares like a k", {"K", "k", "\xE2\x84\xAA", "l"}},
        {"the fourth byte", {"\xEF\xBF\xBF", "😀", "😁"}},
        {"digits of other scripts are letters", {"a9", "a10", "a٢", "a٣"}},
        {"a space first", {" ", "!", "/", "0", "A"}},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        for (std::size_t left = 0; left < row.ascending.size(); ++left) {
            for (std::size_t right = 0; right < row.ascending.size(); ++right) {
                const int expected = left < right ? -1 : (left > right ? 1 : 0);
                EXPECT_EQ(keyOrder(row.ascending[left], row.ascending[right]), expected)
                    << row.ascending[left] << " " << row.ascending[right];
            }
        }
    });
}

TEST(KeyOrder, is_a_total_order) {
    // Compares all texts of up to three of these pieces with each other.
    const std::string_view pieces[] = {"a", "A", "_", "0", "1", "00", "9", "É", "é", "-"};
    std::vector<std::string> keys{""};
    for (const auto first : pieces) {
        keys.emplace_back(first);
        for (const auto second : pieces) {
            keys.push_back(std::string{first}.append(second));
            keys.push_back(std::string{first}.append(second).append("b"));
        }
    }
    std::ranges::sort(keys);
    keys.erase(std::ranges::unique(keys).begin(), keys.end());
    std::ranges::sort(keys,
                      [](const std::string& left, const std::string& right) { return keyOrder(left, right) < 0; });
    for (std::size_t left = 0; left < keys.size(); ++left) {
        for (std::size_t right = 0; right < keys.size(); ++right) {
            const int expected = left < right ? -1 : (left > right ? 1 : 0);
            ASSERT_EQ(keyOrder(keys[left], keys[right]), expected) << keys[left] << " " << keys[right];
        }
    }
}

TEST(MCPValue, empty_arrays_and_objects_are_values_like_any_other) {
    MCPValue copy;
    {
        const auto read = readJSON("[[],{},[],{\"a\":{}}]");
        ASSERT_TRUE(read);
        copy = *read;
    }
    const MCPValue empty = MCPValue::object({});
    EXPECT_EQ(copy,
              MCPValue::array({MCPValue::array({}), empty, MCPValue::array({}), MCPValue::object({{"a", empty}})}));
    EXPECT_NE(MCPValue::array({}), empty);
    EXPECT_EQ(copy.hash(), MCPValue{copy}.hash());
}

} // namespace
} // namespace VostelMCPKit
