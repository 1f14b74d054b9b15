#include "kit/jsonrpc/Codec.h"
#include "tests/support/JSON.h"
#include "tests/support/Table.h"

#include <gtest/gtest.h>
#include <string>

namespace VostelMCPKit {
namespace {

using vostel_tests::decoded;
using vostel_tests::written;

struct Inner {
    std::int64_t number = 0;

    static void codingKeys(auto& self, auto& key) { key("number", self.number); }
    bool operator==(const Inner&) const = default;
};

struct Circle {
    static constexpr std::string_view kind = "circle";
    double radius;

    static void codingKeys(auto& self, auto& key) { key("radius", self.radius); }
    bool operator==(const Circle&) const = default;
};

struct Square {
    static constexpr std::string_view kind = "square";
    double side;

    static void codingKeys(auto& self, auto& key) { key("side", self.side); }
    bool operator==(const Square&) const = default;
};

/// Uses every word that a list of keys can say.
struct Record {
    std::string name;
    std::optional<std::string> note;
    std::optional<MCPValue> params;
    bool flag = true;
    bool hidden = false;
    std::vector<Inner> list;
    std::variant<MCPValue, Inner> either;

    static void codingKeys(auto& self, auto& key) {
        key.constant("version", "1");
        key("name", self.name);
        key("note", self.note);
        key.absentAsNull("params", self.params);
        key.absentAsDefault("flag", self.flag);
        key.nested("_meta", "hidden", self.hidden);
        key("list", self.list);
        key.exactlyOne("value", "inner", self.either, "one of the two");
    }
    bool operator==(const Record&) const = default;
};

struct Beside {
    std::variant<Circle, Square> is;
    static void codingKeys(auto& self, auto& key) { key.oneOf("kind", self.is); }
    bool operator==(const Beside&) const = default;
};

struct Inside {
    std::variant<Circle, Square> is;
    static void codingKeys(auto& self, auto& key) { key.oneOf("kind", "payload", self.is); }
    bool operator==(const Inside&) const = default;
};

using Error = DecodingError;
template <class T>
std::expected<T, Error> failed(auto reason) {
    return std::unexpected(Error{std::move(reason)});
}

TEST(Codec, reads_scalars_of_their_type_alone) {
    EXPECT_EQ(decoded<bool>("true"), true);
    EXPECT_EQ(decoded<bool>("1"), failed<bool>(Error::TypeMismatch{"", "a boolean"}));
    EXPECT_EQ(decoded<std::int64_t>("1.0"), 1);
    EXPECT_EQ(decoded<std::int64_t>("1.5"), failed<std::int64_t>(Error::TypeMismatch{"", "an integer"}));
    EXPECT_EQ(decoded<std::int64_t>("true"), failed<std::int64_t>(Error::TypeMismatch{"", "an integer"}));
    EXPECT_EQ(decoded<double>("7"), 7.0);
    EXPECT_EQ(decoded<double>("\"7\""), failed<double>(Error::TypeMismatch{"", "a number"}));
    EXPECT_EQ(decoded<std::string>("\"7\""), "7");
    EXPECT_EQ(decoded<std::string>("7"), failed<std::string>(Error::TypeMismatch{"", "a string"}));
    EXPECT_EQ(decoded<MCPValue>("[1]"), MCPValue::array({1}));
    EXPECT_EQ(decoded<std::vector<bool>>("[true,false]"), (std::vector<bool>{true, false}));
    EXPECT_EQ(decoded<std::vector<bool>>("{}"), failed<std::vector<bool>>(Error::TypeMismatch{"", "an array"}));
    EXPECT_EQ(decoded<std::vector<bool>>("[1]"), failed<std::vector<bool>>(Error::TypeMismatch{"", "a boolean"}));
}

TEST(Codec, writes_and_reads_every_key_of_a_record) {
    struct Row {
        const char* when;
        Record record;
        const char* text;
    };
    const Row rows[] = {
        {"everything there",
         {"n", "x", 7, false, true, {{1}, {2}}, Inner{3}},
         R"({"_meta":{"hidden":true},"flag":false,"inner":{"number":3},"list":[{"number":1},{"number":2}],"name":"n",)"
         R"("note":"x","params":7,"version":"1"})"},
        {"everything that can be left out, except params, which come back as null",
         {"", {}, MCPValue{}, true, false, {}, MCPValue{}},
         R"({"_meta":{"hidden":false},"flag":true,"list":[],"name":"","params":null,"value":null,"version":"1"})"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        EXPECT_EQ(written(row.record), row.text);
        EXPECT_EQ(decoded<Record>(row.text), row.record);
    });
    const Record absent{"", {}, {}, true, false, {}, 1};
    EXPECT_EQ(written(absent), R"({"_meta":{"hidden":false},"flag":true,"list":[],"name":"","value":1,"version":"1"})");
}

TEST(Codec, reads_what_may_be_missing_as_its_key_says) {
    struct Row {
        const char* when;
        const char* text;
    };
    const Row rows[] = {
        {"missing", R"({"name":"n","list":[],"value":1})"},
        {"null", R"({"name":"n","list":[],"value":1,"note":null,"params":null,"flag":null,"_meta":{"hidden":null}})"},
        {"an outer member without the inner", R"({"name":"n","list":[],"value":1,"_meta":{}})"},
        {"an outer member that is no object", R"({"name":"n","list":[],"value":1,"_meta":"hidden"})"},
        {"an outer member that is null", R"({"name":"n","list":[],"value":1,"_meta":null})"},
        {"another constant", R"({"name":"n","list":[],"value":1,"version":"2"})"},
        {"unknown keys", R"({"name":"n","list":[],"value":1,"Name":7,"extra":{"name":1}})"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        EXPECT_EQ(decoded<Record>(row.text), (Record{"n", {}, MCPValue{}, true, false, {}, 1}));
    });
}

TEST(Codec, the_first_key_that_fails_decides) {
    struct Row {
        const char* when;
        const char* text;
        Error expected;
    };
    const Error oneOfTheTwo{Error::DataCorrupted{"value", "one of the two"}};
    const Row rows[] = {
        {"no object", "[]", {Error::TypeMismatch{"", "an object"}}},
        {"null", "null", {Error::TypeMismatch{"", "an object"}}},
        {"a constant that is no string", R"({"version":1,"name":1})", {Error::TypeMismatch{"version", "a string"}}},
        {"a constant that is null", R"({"version":null})", {Error::TypeMismatch{"version", "a string"}}},
        {"a missing key", R"({"note":1})", {Error::KeyNotFound{"name"}}},
        {"a required key that is null", R"({"name":null,"note":1})", {Error::TypeMismatch{"name", "a string"}}},
        {"an optional of another type", R"({"name":"n","note":1})", {Error::TypeMismatch{"note", "a string"}}},
        {"a default of another type", R"({"name":"n","flag":0})", {Error::TypeMismatch{"flag", "a boolean"}}},
        {"an inner member of another type",
         R"({"name":"n","_meta":{"hidden":"yes"}})",
         {Error::TypeMismatch{"hidden", "a boolean"}}},
        {"no list", R"({"name":"n"})", {Error::KeyNotFound{"list"}}},
        {"an element of another type",
         R"({"name":"n","list":[{"number":1},7]})",
         {Error::TypeMismatch{"list", "an object"}}},
        {"a key missing in an element", R"({"name":"n","list":[{}]})", {Error::KeyNotFound{"number"}}},
        {"both of two", R"({"name":"n","list":[],"value":1,"inner":{"number":1}})", oneOfTheTwo},
        {"both of two, null", R"({"name":"n","list":[],"value":null,"inner":null})", oneOfTheTwo},
        {"neither of two", R"({"name":"n","list":[]})", oneOfTheTwo},
        {"one of two, of another type",
         R"({"name":"n","list":[],"inner":null})",
         {Error::TypeMismatch{"inner", "an object"}}},
        {"one of two, incomplete", R"({"name":"n","list":[],"inner":{}})", {Error::KeyNotFound{"number"}}},
    };
    vostel_tests::forEachRow(
        rows, [&](const Row& row) { EXPECT_EQ(decoded<Record>(row.text), failed<Record>(row.expected.is)); });
}

TEST(Codec, a_kind_names_the_case_whose_keys_stand_beside_it) {
    EXPECT_EQ(written(Beside{Circle{0.5}}), R"({"kind":"circle","radius":0.5})");
    EXPECT_EQ(decoded<Beside>(R"({"kind":"circle","radius":0.5,"side":"ignored"})"), (Beside{Circle{0.5}}));
    EXPECT_EQ(decoded<Beside>(R"({"side":2,"kind":"square"})"), (Beside{Square{2}}));
    EXPECT_EQ(decoded<Beside>(R"({"kind":"square","radius":1})"), failed<Beside>(Error::KeyNotFound{"side"}));
    EXPECT_EQ(decoded<Beside>(R"({"side":2})"), failed<Beside>(Error::KeyNotFound{"kind"}));
    EXPECT_EQ(decoded<Beside>(R"({"kind":2,"side":2})"), failed<Beside>(Error::TypeMismatch{"kind", "a string"}));
    EXPECT_EQ(decoded<Beside>(R"({"kind":"Square","side":2})"),
              failed<Beside>(Error::DataCorrupted{"kind", "the key 'kind' holds an unknown value"}));
    EXPECT_EQ(decoded<Beside>("7"), failed<Beside>(Error::TypeMismatch{"", "an object"}));
}

TEST(Codec, a_kind_names_the_case_that_stands_in_the_payload) {
    EXPECT_EQ(written(Inside{Square{2.5}}), R"({"kind":"square","payload":{"side":2.5}})");
    EXPECT_EQ(decoded<Inside>(R"({"kind":"square","payload":{"side":2.5}})"), (Inside{Square{2.5}}));
    EXPECT_EQ(decoded<Inside>(R"({"kind":"circle","payload":{"side":2.5}})"),
              failed<Inside>(Error::KeyNotFound{"radius"}));
    EXPECT_EQ(decoded<Inside>(R"({"kind":"circle"})"), failed<Inside>(Error::KeyNotFound{"payload"}));
    EXPECT_EQ(decoded<Inside>(R"({"kind":"circle","payload":null})"),
              failed<Inside>(Error::TypeMismatch{"payload", "an object"}));
    EXPECT_EQ(decoded<Inside>(R"({"kind":"","payload":7})"),
              failed<Inside>(Error::DataCorrupted{"kind", "the key 'kind' holds an unknown value"}));
}

} // namespace
} // namespace VostelMCPKit
