// Compares our reader and writer with a reference implementation, on random texts.
//
// The two differ by design in four points. The reference ends at a NUL byte, skips a byte order mark, rounds integers
// that are written with a fraction or an exponent, and keeps integers of 64 unsigned bits.
#include "kit/jsonrpc/JSONReader.h"
#include "kit/jsonrpc/JSONWriter.h"
#include "tests/support/RandomJSON.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>

namespace VostelMCPKit {
namespace {

using vostel_tests::damaged;
using vostel_tests::Generator;
using vostel_tests::Random;

using Reference = nlohmann::json;

Reference readByReference(std::string_view text) { return Reference::parse(text, nullptr, /*allow_exceptions=*/false); }

bool isSameNumber(const MCPValue& ours, const Reference& theirs) {
    if (const auto integer = ours.asInt()) {
        if (theirs.is_number_float()) return static_cast<double>(*integer) == theirs.get<double>();
        return theirs.is_number_integer() && theirs == *integer;
    }
    return theirs.is_number() && ours.asDouble() == theirs.get<double>();
}

/// Whether both hold the same value. The texts of this file are not deeply nested.
bool isSame(const MCPValue& ours, const Reference& theirs) { // NOLINT(misc-no-recursion)
    switch (ours.kind()) {
    case MCPValue::Kind::Null:
        return theirs.is_null();
    case MCPValue::Kind::Bool:
        return theirs.is_boolean() && theirs.get<bool>() == ours.asBool();
    case MCPValue::Kind::Int:
    case MCPValue::Kind::Double:
        return isSameNumber(ours, theirs);
    case MCPValue::Kind::String:
        return theirs.is_string() && theirs.get_ref<const std::string&>() == ours.asString();
    case MCPValue::Kind::Array: {
        const auto elements = *ours.asArray();
        if (!theirs.is_array() || theirs.size() != elements.size()) return false;
        for (std::size_t index = 0; index < elements.size(); ++index) {
            if (!isSame(elements[index], theirs[index])) return false;
        }
        return true;
    }
    case MCPValue::Kind::Object:
        if (!theirs.is_object() || theirs.size() != ours.asObject()->size()) return false;
        for (const auto& [key, value] : theirs.items()) {
            const MCPValue* found = ours[key];
            if (found == nullptr || !isSame(*found, value)) return false;
        }
        return true;
    }
    return false;
}

TEST(JSONDifferential, both_readers_find_the_same_value_in_every_document) {
    Generator generator{1};
    for (int round = 0; round < 2'500; ++round) {
        const std::string text = generator.document();
        SCOPED_TRACE(text);
        const Reference theirs = readByReference(text);
        const auto ours = readJSON(text);
        // Both may refuse a document, because of a number beyond the range of double.
        ASSERT_EQ(ours.has_value(), !theirs.is_discarded());
        ASSERT_TRUE(!ours || isSame(*ours, theirs));
    }
}

TEST(JSONDifferential, both_readers_read_the_same_value_from_what_we_write) {
    Generator generator{2};
    for (int round = 0; round < 2'500; ++round) {
        const std::string text = generator.document();
        SCOPED_TRACE(text);
        const auto value = readJSON(text);
        if (!value) continue;
        Bytes written;
        ASSERT_TRUE(writeJSON(*value, written));
        SCOPED_TRACE(written.text());
        ASSERT_TRUE(isSame(*value, readByReference(written.text())));
        // Integral doubles read back as integers. isSame treats both as equal.
        const auto again = readJSON(written.text());
        ASSERT_TRUE(again);
        ASSERT_TRUE(isSame(*again, readByReference(text)));
    }
}

TEST(JSONDifferential, both_readers_agree_on_what_is_not_JSON) {
    Generator generator{3};
    Random random{4};
    int accepted = 0;
    int rejected = 0;
    while (accepted + rejected < 10'000) {
        const std::string text = damaged(generator.document(), random);
        SCOPED_TRACE(testing::PrintToString(text));
        const auto ours = readJSON(text);
        if (text.starts_with("\xEF\xBB\xBF")) {
            ASSERT_FALSE(ours);
            continue;
        }
        const Reference theirs = readByReference(text);
        ASSERT_EQ(ours.has_value(), !theirs.is_discarded());
        ASSERT_TRUE(!ours || isSame(*ours, theirs));
        ++(ours ? accepted : rejected);
    }
    // Both answers occurred often enough.
    EXPECT_GT(accepted, 1'000);
    EXPECT_GT(rejected, 4'000);
}

TEST(JSONDifferential, both_readers_agree_on_every_first_byte_of_a_string) {
    for (int first = 1; first < 256; ++first) {
        for (const char second :
             {'a', '"', '\\', 'u', '\x1F', '\x7F', '\x80', '\x8F', '\x90', '\x9F', '\xA0', '\xBF', '\xC0'}) {
            const std::string text{'"', static_cast<char>(first), second, '\x80', '"'};
            ASSERT_EQ(readJSON(text).has_value(), !readByReference(text).is_discarded())
                << testing::PrintToString(text);
        }
    }
}

TEST(JSONDifferential, both_readers_agree_on_every_short_text_of_the_grammars_characters) {
    constexpr std::string_view alphabet = "{}[],:\"0-.e1 ";
    std::string text;
    const auto compareAll = [&](const auto& self, std::size_t length) -> void { // NOLINT(misc-no-recursion)
        if (length == 0) {
            ASSERT_EQ(readJSON(text).has_value(), !readByReference(text).is_discarded()) << text;
            return;
        }
        for (const char character : alphabet) {
            text += character;
            self(self, length - 1);
            text.pop_back();
        }
    };
    for (std::size_t length = 0; length <= 4; ++length) compareAll(compareAll, length);
}

} // namespace
} // namespace VostelMCPKit
