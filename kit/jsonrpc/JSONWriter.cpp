#include "kit/jsonrpc/JSONWriter.h"

#include "kit/jsonrpc/JSONNumber.h"
#include "kit/jsonrpc/JSONText.h"
#include "kit/jsonrpc/JSONTextAccess.h"
#include "kit/support/unwrap.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <vector>

namespace VostelMCPKit {

namespace {

void writeString(std::string_view text, Bytes& out) {
    // Most strings need no escape. So the whole string is copied first. Its closing mark ends the search for a byte
    // that needs an escape. The search reads whole blocks, so there is room for one block after that mark.
    char* opening = out.room(text.size() + 2 + ByteBlock::size);
    char* content = opening + 1;
    *opening = '"';
    if (!text.empty()) std::memcpy(content, text.data(), text.size());
    content[text.size()] = '"';
    const char* at = content;
    std::uint32_t others = ByteBlock{at}.notPlain();
    for (; others == 0; others = ByteBlock{at}.notPlain()) at += ByteBlock::size;
    std::size_t plain = static_cast<std::size_t>(at - content) + countBefore(others);
    if (plain == text.size()) return out.grow(text.size() + 2);

    out.grow(1 + plain);
    while (true) {
        text.remove_prefix(plain);
        if (text.empty()) break;
        appendEscape(text.front(), out);
        text.remove_prefix(1);
        plain = plainLength(text);
        out.append(text.substr(0, plain));
    }
    out.append('"');
}

void writeInteger(std::int64_t value, Bytes& out) {
    constexpr std::size_t longest = 20;
    char* begin = out.room(longest);
    out.grow(static_cast<std::size_t>(std::to_chars(begin, begin + longest, value).ptr - begin));
}

/// An array or object that is being written.
struct Container {
    std::span<const MCPValue> elements;
    std::span<const MCPValue::Member> members;
    bool isObject;
    bool isFirst = true;

    [[nodiscard]] bool isFinished() const { return isObject ? members.empty() : elements.empty(); }
};

} // namespace

std::expected<void, EncodingError> writeJSON(const MCPValue& value, Bytes& out) {
    const std::size_t before = out.size();
    std::vector<Container> containers;
    containers.reserve(8);
    for (const MCPValue* next = &value;;) {
        const MCPValue::Kind kind = next->kind();
        switch (kind) {
        case MCPValue::Kind::Bool:
            out.append(unwrap(next->asBool()) ? "true" : "false");
            break;
        case MCPValue::Kind::Int:
            writeInteger(unwrap(next->asInt()), out);
            break;
        case MCPValue::Kind::Double:
            if (!std::isfinite(unwrap(next->asDouble()))) {
                out.truncate(before);
                return std::unexpected(EncodingError{});
            }
            appendDecimal(unwrap(next->asDouble()), out);
            break;
        case MCPValue::Kind::String:
            writeString(unwrap(next->asString()), out);
            break;
        case MCPValue::Kind::Array:
        case MCPValue::Kind::Object:
            if (const auto text = JSONTextAccess::cachedText(*next)) {
                out.append(*text);
            } else if (kind == MCPValue::Kind::Array) {
                out.append('[');
                containers.push_back({unwrap(next->asArray()), {}, /*isObject=*/false});
            } else {
                out.append('{');
                containers.push_back({{}, unwrap(next->asObject()), /*isObject=*/true});
            }
            break;
        case MCPValue::Kind::Null:
            out.append("null");
            break;
        }
        while (!containers.empty() && containers.back().isFinished()) {
            out.append(containers.back().isObject ? '}' : ']');
            containers.pop_back();
        }
        if (containers.empty()) return {};

        Container& around = containers.back();
        if (!std::exchange(around.isFirst, false)) out.append(',');
        if (around.isObject) {
            const MCPValue::Member& member = around.members.front();
            around.members = around.members.subspan(1);
            writeString(member.key(), out);
            out.append(':');
            next = &member.value;
        } else {
            next = &around.elements.front();
            around.elements = around.elements.subspan(1);
        }
    }
}

MCPValue withCachedText(const MCPValue& value) {
    Bytes text;
    if (!writeJSON(value, text)) return value;
    return JSONTextAccess::withCachedText(value, text.text());
}

} // namespace VostelMCPKit
