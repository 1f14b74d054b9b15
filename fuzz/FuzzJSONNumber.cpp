#include "fuzz/fuzz.h"
#include "kit/jsonrpc/JSONNumber.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

using namespace VostelMCPKit;

namespace {

/// The grammar of RFC 8259.
bool isNumber(std::string_view text) {
    const auto digits = [&] {
        const auto end = std::min(text.find_first_not_of("0123456789"), text.size());
        text.remove_prefix(end);
        return end;
    };
    if (text.starts_with('-')) text.remove_prefix(1);
    if (text.starts_with('0'))
        text.remove_prefix(1);
    else if (digits() == 0)
        return false;
    if (text.starts_with('.')) {
        text.remove_prefix(1);
        if (digits() == 0) return false;
    }
    if (text.starts_with('e') || text.starts_with('E')) {
        text.remove_prefix(1);
        if (text.starts_with('+') || text.starts_with('-')) text.remove_prefix(1);
        if (digits() == 0) return false;
    }
    return text.empty();
}

} // namespace

/// First the text is a number. Then its first eight bytes are a double, which is written and read back.
void check(std::string_view text) {
    if (isNumber(text)) {
        const auto number = numberFromDecimal(text);
        const double expected = std::strtod(std::string{text}.c_str(), nullptr);
        require(number.has_value() == std::isfinite(expected), "a number beyond the range of double is refused");
        std::int64_t integer = 0;
        const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), integer);
        const bool isInteger = failure == std::errc{} && end == text.data() + text.size();
        if (isInteger)
            require(number->asInt() == integer, "an integer is exact");
        else if (number && !number->asInt())
            require(number->asDouble() == expected, "a number is the nearest double");
        else if (number)
            require(static_cast<double>(*number->asInt()) == expected, "an integer is close to its text");
    }
    double value = 0;
    if (text.size() < sizeof value) return;
    std::memcpy(&value, text.data(), sizeof value);
    if (!std::isfinite(value)) return;
    Bytes written;
    appendDecimal(value, written);
    require(isNumber(written.text()), "a double is written as a JSON number");
    const auto back = numberFromDecimal(written.text());
    const double same = back->asInt() ? static_cast<double>(*back->asInt()) : *back->asDouble();
    require(same == value, "a double reads back unchanged");
}
