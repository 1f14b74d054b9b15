#include "kit/jsonrpc/JSONNumber.h"
#include "tests/support/JSON.h"
#include "tests/support/Table.h"

#include <bit>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <string>

namespace VostelMCPKit {
namespace {

using vostel_tests::json;
using vostel_tests::written;

constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t highest = std::numeric_limits<std::int64_t>::max();

std::string zeros(std::size_t count) { return std::string(count, '0'); }

TEST(JSONNumber, is_an_integer_in_any_notation_when_its_value_is_integral_and_fits) {
    struct Row {
        const char* when;
        std::string text;
        std::int64_t expected;
    };
    const Row rows[] = {
        {"one", "1", 1},
        {"zero", "0", 0},
        {"minus zero", "-0", 0},
        {"minus zero with a fraction", "-0.0", 0},
        {"zero with an exponent", "0e5", 0},
        {"zero with an exponent beyond all bounds", "0e99999999999999999999", 0},
        {"zero with a negative exponent beyond all bounds", "-0.000E-99999999999999999999", 0},
        {"a fraction of zero", "1.0", 1},
        {"a long fraction of zeros", "-12." + zeros(500), -12},
        {"an exponent", "1e3", 1'000},
        {"an exponent with sign and capital letter", "1E+3", 1'000},
        {"an exponent with leading zeros", "1e0000000000000000000003", 1'000},
        {"an exponent of zero", "7e0", 7},
        {"a negative exponent of zero", "7e-0", 7},
        {"a fraction that the exponent makes integral", "1.25e2", 125},
        {"a fraction that the exponent makes one", "0.000001e6", 1},
        {"zeros that the exponent removes", "1000e-3", 1},
        {"more zeros than an integer has digits", "1" + zeros(400) + "e-400", 1},
        {"a fraction with more zeros than an integer has digits", "0." + zeros(400) + "5e402", 50},
        {"zeros on both sides", "0." + zeros(30) + "7" + zeros(30) + "e31", 7},
        {"eighteen digits", "999999999999999999", 999'999'999'999'999'999},
        {"nineteen digits", "1000000000000000000", 1'000'000'000'000'000'000},
        {"minus eighteen digits", "-999999999999999999", -999'999'999'999'999'999},
        {"the highest", "9223372036854775807", highest},
        {"the lowest", "-9223372036854775808", lowest},
        {"the highest with a fraction", "9223372036854775807.000", highest},
        {"the lowest with an exponent", "-922337203685477580.8e1", lowest},
        {"the highest, its digits all in the fraction", "0.9223372036854775807e19", highest},
        {"an integer that equals no double", "9007199254740993.0", 9'007'199'254'740'993},
        {"an integer that equals no double, with an exponent", "90071992547409.93e2", 9'007'199'254'740'993},
        {"eighteen digits and an exponent", "123456789012345678e1", 1'234'567'890'123'456'780},
        {"the largest power of ten", "1e18", 1'000'000'000'000'000'000},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) { EXPECT_EQ(json(row.text).asInt(), row.expected); });
}

TEST(JSONNumber, is_the_nearest_double_when_it_is_not_a_64_bit_integer) {
    struct Row {
        const char* when;
        std::string text;
        double expected;
    };
    const Row rows[] = {
        {"a fraction", "1.5", 1.5},
        {"a small negative fraction", "-0.1", -0.1},
        {"a fraction with zeros at its end", "1.5000", 1.5},
        {"an exponent that leaves a fraction", "15e-1", 1.5},
        {"zeros that do not suffice for the exponent", "1500e-3", 1.5},
        {"one above the highest", "9223372036854775808", 9223372036854775808.0},
        {"one below the lowest", "-9223372036854775809", -9223372036854775808.0},
        {"one above the highest, with a fraction", "9223372036854775808.0", 9223372036854775808.0},
        {"one above the highest, with an exponent", "922337203685477580.8e1", 9223372036854775808.0},
        {"twenty digits", "12345678901234567890", 12345678901234567890.0},
        {"the next power of ten", "1e19", 1e19},
        {"a large power of ten", "1e22", 1e22},
        {"nearer to one than any other double", "0.99999999999999999999", 1.0},
        {"nearer to an integer than any other double", "9007199254740992.5", 9007199254740992.0},
        {"slightly above one", "1." + zeros(300) + "1", 1.0},
        {"slightly above zero", "0." + zeros(400) + "1", 0.0},
        {"too small for a double", "1e-400", 0.0},
        {"negative and too small for a double", "-1e-400", -0.0},
        {"an exponent below all bounds", "1e-99999999999999999999", 0.0},
        {"the smallest double", "4.9406564584124654e-324", 5e-324},
        {"slightly above half of the smallest double", "2.4703282292062328e-324", 5e-324},
        {"the smallest normal double", "2.2250738585072014e-308", 2.2250738585072014e-308},
        {"below the smallest normal double", "2.2250738585072011e-308", 2.225073858507201e-308},
        {"the largest double", "1.7976931348623157e308", std::numeric_limits<double>::max()},
        {"rounds down to the largest double", "1.79769313486231580793e308", std::numeric_limits<double>::max()},
        {"the largest double in plain notation", "17976931348623157" + zeros(292), std::numeric_limits<double>::max()},
        {"halfway between two doubles, to even", "1.00000000000000011102230246251565404236316680908203125", 1.0},
        {"slightly above halfway", "1.000000000000000111022302462515654042363166809082031251", 1.0000000000000002},
        {"a large exponent and a small fraction", "0." + zeros(400) + "15e401", 1.5},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        const MCPValue value = json(row.text);
        EXPECT_EQ(value.kind(), MCPValue::Kind::Double);
        EXPECT_EQ(value.asInt(), std::nullopt);
        ASSERT_TRUE(value.asDouble());
        EXPECT_EQ(std::bit_cast<std::uint64_t>(*value.asDouble()), std::bit_cast<std::uint64_t>(row.expected));
    });
}

TEST(JSONNumber, fails_beyond_the_range_of_double) {
    struct Row {
        const char* when;
        std::string text;
    };
    const Row rows[] = {
        {"a large exponent", "1e400"},
        {"negative", "-1e400"},
        {"an exponent beyond all bounds", "1e99999999999999999999"},
        {"halfway to the next power of two", "1.7976931348623158080e308"},
        {"four hundred digits", "1" + zeros(400)},
        {"digits and exponent together", "1" + zeros(200) + "e200"},
    };
    const DecodingError expected{DecodingError::DataCorrupted{"Значение не является допустимым JSON"}};
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        EXPECT_EQ(numberFromDecimal(row.text), std::nullopt);
        EXPECT_EQ(readJSON(row.text), (std::expected<MCPValue, DecodingError>{std::unexpected(expected)}));
        EXPECT_EQ(readJSON("{\"a\":[" + row.text + "]}").error(), expected);
    });
}

TEST(JSONNumber, doubles_are_written_with_the_shortest_digits_that_read_back) {
    struct Row {
        const char* when;
        double value;
        const char* text;
    };
    const Row rows[] = {
        {"integral, without a fraction", 2.0, "2"},
        {"zero", 0.0, "0"},
        {"minus zero", -0.0, "-0"},
        {"a fraction", 1.5, "1.5"},
        {"no exact fraction", 0.1, "0.1"},
        {"the sum of two fractions", 0.1 + 0.2, "0.30000000000000004"},
        {"a third", 1.0 / 3.0, "0.3333333333333333"},
        {"negative", -1234.5678, "-1234.5678"},
        {"the smallest in plain notation", 1e-5, "0.00001"},
        {"just above it", 1.2345678901234567e-5, "0.000012345678901234568"},
        {"below it", 9.999999999999999e-6, "9.999999999999999e-06"},
        {"a small power of ten", 1e-6, "1e-06"},
        {"a very small one", 1e-100, "1e-100"},
        {"the smallest of all", 5e-324, "5e-324"},
        {"a hundred", 100.0, "100"},
        {"the last with a fraction", 4503599627370495.5, "4503599627370495.5"},
        {"beyond the exact integers", 9007199254740994.0, "9007199254740994"},
        {"the largest in plain notation", 9999999999999998.0, "9999999999999998"},
        {"the first with an exponent", 1e16, "1e+16"},
        {"the same, negative", -1e16, "-1e+16"},
        {"two to the 63rd", 9223372036854775808.0, "9.223372036854776e+18"},
        {"a large power of ten", 1e22, "1e+22"},
        {"a larger one", 1e23, "1e+23"},
        {"the largest of all", std::numeric_limits<double>::max(), "1.7976931348623157e+308"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        EXPECT_EQ(written(MCPValue{row.value}), row.text);
        EXPECT_EQ(json(row.text).asDouble(), row.value);
    });
}

TEST(JSONNumber, integers_are_written_in_decimal) {
    struct Row {
        const char* when;
        std::int64_t value;
        const char* text;
    };
    const Row rows[] = {
        {"zero", 0, "0"},
        {"negative", -7, "-7"},
        {"sixteen digits and more stay plain", 12'345'678'901'234'567, "12345678901234567"},
        {"the highest", highest, "9223372036854775807"},
        {"the lowest", lowest, "-9223372036854775808"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        EXPECT_EQ(written(MCPValue{row.value}), row.text);
        EXPECT_EQ(json(row.text), MCPValue{row.value});
    });
}

/// The smallest number of significant digits that reads back, found by trying each number.
int shortestDigits(double value) {
    char text[64];
    for (int digits = 1; digits < 17; ++digits) {
        std::snprintf(text, sizeof text, "%.*e", digits - 1, value);
        if (std::strtod(text, nullptr) == value) return digits;
    }
    return 17;
}

int significantDigits(std::string_view text) {
    std::string digits;
    for (const char character : text.substr(0, text.find('e'))) {
        if (character >= '0' && character <= '9') digits += character;
    }
    digits.erase(0, digits.find_first_not_of('0'));
    digits.erase(digits.find_last_not_of('0') + 1);
    return static_cast<int>(digits.size());
}

TEST(JSONNumber, every_double_reads_back_from_as_few_digits_as_possible) {
    std::mt19937_64 random{20'250'618};
    for (int round = 0; round < 5'000; ++round) {
        // Half of the numbers have any magnitude, the others usual magnitudes.
        double value = std::bit_cast<double>(random());
        if (round % 2 == 0)
            value = std::ldexp(static_cast<double>(random() >> 11), static_cast<int>(random() % 80) - 70);
        if (!std::isfinite(value) || value == 0) continue;
        const std::string text = written(MCPValue{value});
        SCOPED_TRACE(text);
        ASSERT_EQ(json(text).asDouble(), value);
        ASSERT_EQ(significantDigits(text), shortestDigits(value));
        const bool plain = std::fabs(value) >= 1e-5 && std::fabs(value) < 1e16;
        ASSERT_EQ(text.find('e') == text.npos, plain);
        ASSERT_FALSE(text.ends_with(".0"));
    }
}

TEST(JSONNumber, an_integer_is_recognised_with_its_point_at_any_place) {
    std::mt19937_64 random{7};
    for (int round = 0; round < 5'000; ++round) {
        const auto value = static_cast<std::int64_t>(random()) >> (random() % 64);
        std::string digits = std::to_string(value);
        const bool negative = digits.front() == '-';
        if (negative) digits.erase(0, 1);
        // A point among the digits or before them, moved back by the exponent; zeros that change nothing.
        const auto shift = static_cast<std::int64_t>(random() % 40) - 10;
        std::string text = digits;
        std::int64_t exponent = 0;
        if (shift > 0) {
            const auto places = static_cast<std::size_t>(shift);
            if (text.size() <= places) text.insert(0, places - text.size() + 1, '0');
            text.insert(text.size() - places, ".");
            text.append(random() % 3, '0');
            exponent = shift;
        } else {
            text.append(static_cast<std::size_t>(-shift), '0');
            exponent = shift;
            if (text.find_first_not_of('0') == text.npos) text = "0";
        }
        const std::string suffix = exponent == 0 ? "" : "e" + std::to_string(exponent);
        const std::string sign = negative ? "-" : "";
        SCOPED_TRACE(sign + text + suffix);
        ASSERT_EQ(json(sign + text + suffix).asInt(), value);

        // With one more digit far after the point, it is not an integer.
        const std::string point = text.find('.') == text.npos ? "." : "";
        const std::string trace = sign + text + point + zeros(60) + "1" + suffix;
        ASSERT_EQ(json(trace).kind(), MCPValue::Kind::Double);
    }
}

} // namespace
} // namespace VostelMCPKit
