#include "kit/jsonrpc/JSONNumber.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <fast_float/fast_float.h>
#include <tuple>

namespace VostelMCPKit {

namespace {

/// Larger than every exponent that matters, and small enough that sums of a few cannot overflow.
constexpr std::int64_t exponentCeiling = 1'000'000'000'000'000;

/// A decimal number taken apart: (-1)^negative * digits * 10^exponent, the digits without zeros at either end.
struct Decimal {
    bool negative = false;
    std::string_view leading;
    std::string_view trailing;
    std::int64_t exponent = 0;
};

std::int64_t parseExponent(std::string_view text) {
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+')) text.remove_prefix(1);
    std::int64_t magnitude = 0;
    for (const char digit : text) magnitude = std::min(magnitude * 10 + (digit - '0'), exponentCeiling);
    return negative ? -magnitude : magnitude;
}

Decimal takeApart(std::string_view token) {
    Decimal number;
    number.negative = token.starts_with('-');
    if (number.negative) token.remove_prefix(1);
    if (const auto mark = token.find_first_of("eE"); mark != token.npos) {
        number.exponent = parseExponent(token.substr(mark + 1));
        token = token.substr(0, mark);
    }
    const auto point = std::min(token.find('.'), token.size());
    number.leading = token.substr(0, point);
    if (point < token.size()) number.trailing = token.substr(point + 1);

    number.trailing = number.trailing.substr(0, number.trailing.find_last_not_of('0') + 1);
    number.exponent -= static_cast<std::int64_t>(number.trailing.size());
    if (number.trailing.empty()) {
        const auto kept = number.leading.find_last_not_of('0') + 1;
        number.exponent += static_cast<std::int64_t>(number.leading.size() - kept);
        number.leading = number.leading.substr(0, kept);
    }
    number.leading.remove_prefix(std::min(number.leading.find_first_not_of('0'), number.leading.size()));
    if (number.leading.empty()) {
        number.trailing.remove_prefix(std::min(number.trailing.find_first_not_of('0'), number.trailing.size()));
    }
    return number;
}

std::optional<std::int64_t> integer(const Decimal& number) {
    const std::size_t digits = number.leading.size() + number.trailing.size();
    if (digits == 0) return 0;
    // The digits end in no zero, so a negative exponent always leaves a fraction. 19 digits hold every 64-bit integer.
    if (number.exponent < 0 || number.exponent > 18 || digits > 19 - static_cast<std::size_t>(number.exponent)) {
        return std::nullopt;
    }
    char text[20];
    char* end = text;
    if (number.negative) *end++ = '-';
    end = std::copy(number.leading.begin(), number.leading.end(), end);
    end = std::copy(number.trailing.begin(), number.trailing.end(), end);
    end = std::fill_n(end, number.exponent, '0');
    std::int64_t value = 0;
    if (std::from_chars(text, end, value).ec != std::errc{}) return std::nullopt;
    return value;
}

/// Whether `token` has a point, no exponent, and a last digit other than zero. Such a number is never an integer. Most
/// doubles have this form.
bool isPlainFraction(std::string_view token) {
    if (token.back() == '0') return false;
    bool hasPoint = false;
    for (const char character : token) {
        if (character == 'e' || character == 'E') return false;
        hasPoint |= character == '.';
    }
    return hasPoint;
}

/// Infinite for a value beyond the range of double.
double nearestDouble(std::string_view token) {
    double value = 0;
    std::ignore = fast_float::from_chars(token.data(), token.data() + token.size(), value);
    return value;
}

/// Writes a value with at most three decimals, such as a time in a recording, and returns the length of its text. Zero
/// for every other value. Below 2^40, doubles are so close together that at most one decimal with up to three places
/// reads back as `value`. So this decimal is the shortest text.
std::size_t writeThousandths(double value, char* out) {
    constexpr double ceiling = 1'099'511'627'776.0;
    if (!(value > 0 && value < ceiling)) return 0;
    auto thousandths = static_cast<std::int64_t>(value * 1000 + 0.5);
    if (static_cast<double>(thousandths) / 1000 != value) return 0;
    char* end = std::to_chars(out, out + 20, thousandths / 1000).ptr;
    if (const auto fraction = static_cast<int>(thousandths % 1000); fraction != 0) {
        *end++ = '.';
        *end++ = static_cast<char>('0' + fraction / 100);
        if (fraction % 100 != 0) *end++ = static_cast<char>('0' + fraction / 10 % 10);
        if (fraction % 10 != 0) *end++ = static_cast<char>('0' + fraction % 10);
    }
    return static_cast<std::size_t>(end - out);
}

} // namespace

std::optional<MCPValue> numberFromDecimal(std::string_view token) {
    if (!isPlainFraction(token)) {
        if (const auto value = integer(takeApart(token))) return MCPValue{*value};
    }
    const double value = nearestDouble(token);
    if (!std::isfinite(value)) return std::nullopt;
    return MCPValue{value};
}

void appendDecimal(double value, Bytes& out) {
    // The longest plain text is that of -1.2345678901234567e-05; 32 bytes hold every form.
    constexpr std::size_t longest = 32;
    char* begin = out.room(longest);
    if (const auto length = writeThousandths(value, begin)) return out.grow(length);
    const double magnitude = std::fabs(value);
    const bool plain = magnitude == 0 || (magnitude >= 1e-5 && magnitude < 1e16);
    const auto format = plain ? std::chars_format::fixed : std::chars_format::scientific;
    const auto written = std::to_chars(begin, begin + longest, value, format);
    out.grow(static_cast<std::size_t>(written.ptr - begin));
}

} // namespace VostelMCPKit
