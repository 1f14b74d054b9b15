#include "kit/jsonrpc/Codec.h"
#include "tests/support/JSON.h"
#include "tests/support/Table.h"

#include <array>
#include <gtest/gtest.h>
#include <limits>
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

/// Uses every rule of KeyReader except oneOf.
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
std::expected<T, Error> failed(auto reason, std::string path = {}) {
    return std::unexpected(Error{std::move(reason), std::move(path)});
}

TEST(Codec, reads_only_scalars_of_the_right_type) {
    EXPECT_EQ(decoded<bool>("true"), true);
    EXPECT_EQ(decoded<bool>("1"), failed<bool>(Error::TypeMismatch{"a boolean"}));
    EXPECT_EQ(decoded<std::int64_t>("1.0"), 1);
    EXPECT_EQ(decoded<std::int64_t>("1.5"), failed<std::int64_t>(Error::TypeMismatch{"an integer"}));
    EXPECT_EQ(decoded<std::int64_t>("true"), failed<std::int64_t>(Error::TypeMismatch{"an integer"}));
    EXPECT_EQ(decoded<double>("7"), 7.0);
    EXPECT_EQ(decoded<double>("\"7\""), failed<double>(Error::TypeMismatch{"a number"}));
    EXPECT_EQ(decoded<std::string>("\"7\""), "7");
    EXPECT_EQ(decoded<std::string>("7"), failed<std::string>(Error::TypeMismatch{"a string"}));
    EXPECT_EQ(decoded<MCPValue>("[1]"), MCPValue::array({1}));
    EXPECT_EQ(decoded<std::vector<bool>>("[true,false]"), (std::vector<bool>{true, false}));
    EXPECT_EQ(decoded<std::vector<bool>>("{}"), failed<std::vector<bool>>(Error::TypeMismatch{"an array"}));
    EXPECT_EQ(decoded<std::vector<bool>>("[1]"), failed<std::vector<bool>>(Error::TypeMismatch{"a boolean"}, "[0]"));
}

TEST(Codec, an_integer_of_any_type_is_read_if_the_type_can_hold_it) {
    EXPECT_EQ(decoded<int>("-2147483648"), std::numeric_limits<int>::min());
    EXPECT_EQ(decoded<std::size_t>("9223372036854775807"), std::size_t{9'223'372'036'854'775'807U});
    EXPECT_EQ(decoded<std::uint8_t>("255"), std::uint8_t{255});
    EXPECT_EQ(decoded<std::uint8_t>("256"), failed<std::uint8_t>(Error::TypeMismatch{"an integer from 0 to 255"}));
    EXPECT_EQ(decoded<std::int8_t>("-129"), failed<std::int8_t>(Error::TypeMismatch{"an integer from -128 to 127"}));
    EXPECT_EQ(decoded<unsigned>("-1"), failed<unsigned>(Error::TypeMismatch{"an integer from 0 to 4294967295"}));
    EXPECT_EQ(decoded<unsigned>("1.5"), failed<unsigned>(Error::TypeMismatch{"an integer"}));

    EXPECT_EQ(written(std::vector<std::size_t>{0, 7}), "[0,7]");
    Bytes text;
    EXPECT_FALSE(writeJSON(std::vector{std::numeric_limits<std::uint64_t>::max()}, text)) << "beyond 64 signed bits";
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

TEST(Codec, reads_a_missing_value_by_the_rule_of_its_key) {
    struct Row {
        const char* when;
        const char* text;
    };
    const Row rows[] = {
        {"missing", R"({"name":"n","list":[],"value":1})"},
        {"null", R"({"name":"n","list":[],"value":1,"note":null,"params":null,"flag":null,"_meta":{"hidden":null}})"},
        {"an outer member without the inner", R"({"name":"n","list":[],"value":1,"_meta":{}})"},
        {"an outer member that is not an object", R"({"name":"n","list":[],"value":1,"_meta":"hidden"})"},
        {"an outer member that is null", R"({"name":"n","list":[],"value":1,"_meta":null})"},
        {"another constant", R"({"name":"n","list":[],"value":1,"version":"2"})"},
        {"unknown keys", R"({"name":"n","list":[],"value":1,"Name":7,"extra":{"name":1}})"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        EXPECT_EQ(decoded<Record>(row.text), (Record{"n", {}, MCPValue{}, true, false, {}, 1}));
    });
}

struct Bare {
    std::int64_t number;
    bool flag;

    static void codingKeys(auto& self, auto& key) {
        key.absentAsDefault("number", self.number);
        key.nested("outer", "flag", self.flag);
    }
    bool operator==(const Bare&) const = default;
};

/// Leaves bytes that are not zero where the next calls have their variables.
[[gnu::noinline]] void soilStack() {
    volatile char bytes[16'384];
    for (volatile char& byte : bytes) byte = '\xAB';
}

TEST(Codec, a_field_without_an_initialiser_is_zero_when_its_key_may_be_missing) {
    const MCPValue empty = vostel_tests::json("{}");
    soilStack();
    EXPECT_EQ(decode<Bare>(empty), (Bare{0, false}));
}

TEST(Codec, the_first_key_that_fails_decides) {
    struct Row {
        const char* when;
        const char* text;
        Error expected;
    };
    const Error oneOfTheTwo{Error::DataCorrupted{"one of the two"}, "value"};
    const Row rows[] = {
        {"no object", "[]", {Error::TypeMismatch{"an object"}}},
        {"null", "null", {Error::TypeMismatch{"an object"}}},
        {"a constant that is not a string", R"({"version":1,"name":1})", {Error::TypeMismatch{"a string"}, "version"}},
        {"a constant that is null", R"({"version":null})", {Error::TypeMismatch{"a string"}, "version"}},
        {"a missing key", R"({"note":1})", {Error::KeyNotFound{}, "name"}},
        {"a required key that is null", R"({"name":null,"note":1})", {Error::TypeMismatch{"a string"}, "name"}},
        {"an optional of another type", R"({"name":"n","note":1})", {Error::TypeMismatch{"a string"}, "note"}},
        {"a default of another type", R"({"name":"n","flag":0})", {Error::TypeMismatch{"a boolean"}, "flag"}},
        {"an inner member of another type",
         R"({"name":"n","_meta":{"hidden":"yes"}})",
         {Error::TypeMismatch{"a boolean"}, "_meta.hidden"}},
        {"no list", R"({"name":"n"})", {Error::KeyNotFound{}, "list"}},
        {"an element of another type",
         R"({"name":"n","list":[{"number":1},7]})",
         {Error::TypeMismatch{"an object"}, "list[1]"}},
        {"a key missing in an element", R"({"name":"n","list":[{}]})", {Error::KeyNotFound{}, "list[0].number"}},
        {"both of two", R"({"name":"n","list":[],"value":1,"inner":{"number":1}})", oneOfTheTwo},
        {"both of two, null", R"({"name":"n","list":[],"value":null,"inner":null})", oneOfTheTwo},
        {"neither of two", R"({"name":"n","list":[]})", oneOfTheTwo},
        {"one of two, of another type",
         R"({"name":"n","list":[],"inner":null})",
         {Error::TypeMismatch{"an object"}, "inner"}},
        {"one of two, incomplete", R"({"name":"n","list":[],"inner":{}})", {Error::KeyNotFound{}, "inner.number"}},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        EXPECT_EQ(decoded<Record>(row.text), (std::expected<Record, Error>{std::unexpected(row.expected)}));
    });
}

TEST(Codec, a_kind_names_the_case_whose_keys_are_beside_it) {
    EXPECT_EQ(written(Beside{Circle{0.5}}), R"({"kind":"circle","radius":0.5})");
    EXPECT_EQ(decoded<Beside>(R"({"kind":"circle","radius":0.5,"side":"ignored"})"), (Beside{Circle{0.5}}));
    EXPECT_EQ(decoded<Beside>(R"({"side":2,"kind":"square"})"), (Beside{Square{2}}));
    EXPECT_EQ(decoded<Beside>(R"({"kind":"square","radius":1})"), failed<Beside>(Error::KeyNotFound{}, "side"));
    EXPECT_EQ(decoded<Beside>(R"({"side":2})"), failed<Beside>(Error::KeyNotFound{}, "kind"));
    EXPECT_EQ(decoded<Beside>(R"({"kind":2,"side":2})"), failed<Beside>(Error::TypeMismatch{"a string"}, "kind"));
    EXPECT_EQ(decoded<Beside>(R"({"kind":"Square","side":2})"), failed<Beside>(Error::UnknownValue{}, "kind"));
    EXPECT_EQ(decoded<Beside>("7"), failed<Beside>(Error::TypeMismatch{"an object"}));
}

TEST(Codec, a_kind_names_the_case_that_the_payload_holds) {
    EXPECT_EQ(written(Inside{Square{2.5}}), R"({"kind":"square","payload":{"side":2.5}})");
    EXPECT_EQ(decoded<Inside>(R"({"kind":"square","payload":{"side":2.5}})"), (Inside{Square{2.5}}));
    EXPECT_EQ(decoded<Inside>(R"({"kind":"circle","payload":{"side":2.5}})"),
              failed<Inside>(Error::KeyNotFound{}, "payload.radius"));
    EXPECT_EQ(decoded<Inside>(R"({"kind":"circle"})"), failed<Inside>(Error::KeyNotFound{}, "payload"));
    EXPECT_EQ(decoded<Inside>(R"({"kind":"circle","payload":null})"),
              failed<Inside>(Error::TypeMismatch{"an object"}, "payload"));
    EXPECT_EQ(decoded<Inside>(R"({"kind":"","payload":7})"), failed<Inside>(Error::UnknownValue{}, "kind"));
}

struct TwelveKeys {
    std::array<std::int64_t, 12> fields{};
    static void codingKeys(auto& self, auto& key) {
        for (std::size_t index = 0; index < self.fields.size(); ++index)
            key("k" + std::to_string(index), self.fields[index]);
    }
    bool operator==(const TwelveKeys&) const = default;
};

TEST(Codec, a_record_may_have_any_number_of_keys) {
    const TwelveKeys record{{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}};
    const std::string_view text = R"({"k0":0,"k1":1,"k2":2,"k3":3,"k4":4,"k5":5,"k6":6,"k7":7,"k8":8,"k9":9,)"
                                  R"("k10":10,"k11":11})";
    EXPECT_EQ(written(record), text);
    EXPECT_EQ(decoded<TwelveKeys>(text), record);
}

struct Scattered {
    static constexpr std::string_view kind = "scattered";
    std::string zebra;
    TwelveKeys inner;
    double a10 = 0;
    double a9 = 0;

    static void codingKeys(auto& self, auto& key) {
        key("zebra", self.zebra);
        key("Inner \"1\"", self.inner);
        key("a10", self.a10);
        key("a9", self.a9);
    }
};

struct Case {
    std::variant<Circle, Scattered> is;
    static void codingKeys(auto& self, auto& key) { key.oneOf("kind", self.is); }
};

TEST(Codec, a_record_is_written_in_key_order_however_its_keys_are_listed) {
    const Case record{Scattered{"z\xFF\n", {}, 0.5, 1}};
    const std::string text = R"({"a9":1,"a10":0.5,"Inner \"1\"":)" + written(TwelveKeys{}) +
                             R"(,"kind":"scattered","zebra":"z)" + "\uFFFD" + R"(\n"})";
    EXPECT_EQ(written(record), text);
    EXPECT_EQ(written(encode(record)), text);
}

TEST(Codec, a_record_that_cannot_be_written_leaves_the_output_as_it_was) {
    for (const double number : {std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()}) {
        Bytes text{"before"};
        EXPECT_FALSE(writeJSON(Case{Scattered{"z", {}, number, 1}}, text));
        EXPECT_FALSE(writeJSON(Case{Scattered{"z", {}, 1, number}}, text));
        EXPECT_EQ(text.text(), "before");
    }
}

struct Shelf {
    std::vector<std::vector<Inside>> rows;
    static void codingKeys(auto& self, auto& key) { key("rows", self.rows); }
};

TEST(DecodingError, names_the_path_to_what_is_wrong) {
    struct Row {
        const char* when;
        const char* text;
        const char* description;
    };
    const Row rows[] = {
        {"the document", "7", "it is not an object"},
        {"a key", "{}", "rows is missing"},
        {"a value", R"({"rows":7})", "rows is not an array"},
        {"an element", R"({"rows":[[],7]})", "rows[1] is not an array"},
        {"an element of an element", R"({"rows":[[],[7]]})", "rows[1][0] is not an object"},
        {"a key in an element", R"({"rows":[[{"kind":"circle","payload":{"radius":1}},{}]]})",
         "rows[0][1].kind is missing"},
        {"a kind", R"({"rows":[[{"kind":"cube"}]]})", "rows[0][0].kind holds an unknown value"},
        {"a key in the payload", R"({"rows":[[{"kind":"circle","payload":{"radius":"1"}}]]})",
         "rows[0][0].payload.radius is not a number"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        const auto shelf = decoded<Shelf>(row.text);
        ASSERT_FALSE(shelf);
        EXPECT_EQ(shelf.error().description(), row.description);
    });
}

struct Measured {
    double number = 0;
    std::optional<MCPValue> data;
    static void codingKeys(auto& self, auto& key) {
        key("number", self.number);
        key("data", self.data);
    }
};

TEST(Codec, encoding_a_record_equals_writing_and_reading_it) {
    const double infinite = std::numeric_limits<double>::infinity();
    struct Row {
        const char* when;
        Measured record;
        MCPValue expected;
    };
    const Row rows[] = {
        {"a double with a fraction", {0.5, {}}, MCPValue::object({{"number", 0.5}})},
        {"a double without a fraction", {2.0, {}}, MCPValue::object({{"number", 2}})},
        {"the negative zero", {-0.0, {}}, MCPValue::object({{"number", 0}})},
        {"a double that is written with an exponent",
         {1e16, {}},
         MCPValue::object({{"number", 10'000'000'000'000'000}})},
        {"a double beyond the integers", {1e19, {}}, MCPValue::object({{"number", 1e19}})},
        {"the double after the largest integer", {0x1p63, {}}, MCPValue::object({{"number", 0x1p63}})},
        {"dynamic data that was rounded to an integer when it was read",
         {0.5, *readJSON(R"([{"a":0.99999999999999999999}])")},
         MCPValue::object({{"number", 0.5}, {"data", MCPValue::array({MCPValue::object({{"a", 1}})})}})},
        {"dynamic data", {0.5, 2.0}, MCPValue::object({{"number", 0.5}, {"data", 2}})},
        {"data inside of data",
         {0.5, MCPValue::array({1.5, MCPValue::object({{"a", 2.0}, {"b", "text"}})})},
         MCPValue::object(
             {{"number", 0.5}, {"data", MCPValue::array({1.5, MCPValue::object({{"a", 2}, {"b", "text"}})})}})},
        {"a number that cannot be written keeps everything",
         {infinite, 2.0},
         MCPValue::object({{"number", infinite}, {"data", 2.0}})},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) { EXPECT_EQ(encode(row.record), row.expected); });
    EXPECT_EQ(written(Measured{1e16, 2.0}), R"({"data":2,"number":1e+16})");
    EXPECT_EQ(encode(std::vector<double>{1.0, 1.5}), MCPValue::array({1, 1.5}));
}

} // namespace
} // namespace VostelMCPKit
