#include "kit/jsonrpc/JSONText.h"

namespace VostelMCPKit {

namespace {

bool next(const char*& at, const char* end, char expected) {
    if (at == end || *at != expected) return false;
    ++at;
    return true;
}

std::optional<char32_t> takeHex(const char*& at, const char* end) {
    char32_t unit = 0;
    for (int digit = 0; digit < 4; ++digit, ++at) {
        if (at == end) return std::nullopt;
        const auto value = hexDigit(*at);
        if (!value) return std::nullopt;
        unit = unit << 4 | static_cast<char32_t>(*value);
    }
    return unit;
}

std::optional<char32_t> takeCodePointEscape(const char*& at, const char* end) {
    const auto high = takeHex(at, end);
    if (!high || *high < 0xD800 || *high > 0xDFFF) return high;
    if (*high > 0xDBFF || !next(at, end, '\\') || !next(at, end, 'u')) return std::nullopt;
    const auto low = takeHex(at, end);
    if (!low || *low < 0xDC00 || *low > 0xDFFF) return std::nullopt;
    return 0x10000 + ((*high - 0xD800) << 10) + (*low - 0xDC00);
}

} // namespace

std::optional<char32_t> takeEscape(const char*& at, const char* end) {
    if (at == end) return std::nullopt;
    switch (*at++) {
    case '"':
        return U'"';
    case '\\':
        return U'\\';
    case '/':
        return U'/';
    case 'b':
        return U'\b';
    case 'f':
        return U'\f';
    case 'n':
        return U'\n';
    case 'r':
        return U'\r';
    case 't':
        return U'\t';
    case 'u':
        return takeCodePointEscape(at, end);
    default:
        --at;
        return std::nullopt;
    }
}

void appendEscape(char byte, Bytes& out) {
    switch (byte) {
    case '"':
        return out.append("\\\"");
    case '\\':
        return out.append("\\\\");
    case '\b':
        return out.append("\\b");
    case '\f':
        return out.append("\\f");
    case '\n':
        return out.append("\\n");
    case '\r':
        return out.append("\\r");
    case '\t':
        return out.append("\\t");
    default:
        out.append("\\u00");
        out.append("0123456789abcdef"[byte >> 4]);
        out.append("0123456789abcdef"[byte & 0x0F]);
    }
}

} // namespace VostelMCPKit
