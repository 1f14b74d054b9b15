#include "companion/configs/JSONConfigText.h"

#include "kit/jsonrpc/JSONReader.h"
#include "kit/jsonrpc/JSONWriter.h"
#include "kit/support/ASCII.h"

#include <algorithm>
#include <tuple>
#include <utility>
#include <vector>

namespace vostel_companion {

namespace {

using VostelMCPKit::MCPValue;

constexpr std::string_view space = " \t\r\n";
constexpr std::string_view breaks = "\r\n";

struct ObjectSpan {
    /// The places of its two braces.
    std::size_t open = 0;
    std::size_t close = 0;
    std::vector<JSONMemberSpan> members;
};

/// How an object is laid out.
struct Layout {
    /// Empty when everything is in one line.
    std::string lineBreak;
    std::string indent;
    std::string unit = "  ";
    std::string colon = ": ";
    std::string afterComma = " ";

    /// What separates brackets and members at `depth` below `indent`.
    [[nodiscard]] std::string newLine(std::size_t depth) const {
        if (lineBreak.empty()) return {};
        std::string text = lineBreak + indent;
        for (std::size_t level = 0; level < depth; ++level) text += unit;
        return text;
    }
};

std::size_t skipSpace(std::string_view text, std::size_t at) {
    return std::min(text.find_first_not_of(space, at), text.size());
}

/// The end of the string whose opening quotation mark is at `at`.
std::size_t stringEnd(std::string_view text, std::size_t at) {
    for (++at; text[at] != '"'; ++at) {
        if (text[at] == '\\') ++at;
    }
    return at + 1;
}

/// The end of the value that begins at `at`.
std::size_t valueEnd(std::string_view text, std::size_t at) {
    std::size_t depth = 0;
    do {
        switch (text[at]) {
        case '"':
            at = stringEnd(text, at);
            break;
        case '{':
        case '[':
            ++depth;
            ++at;
            break;
        case '}':
        case ']':
            --depth;
            ++at;
            break;
        case ',':
        case ':':
            ++at;
            break;
        default: // a number or a word, or the white space between two values
            at = std::min(text.find_first_of("\"{}[],: \t\r\n", at + 1), text.size());
        }
    } while (depth > 0);
    return at;
}

ObjectSpan outline(std::string_view text, std::size_t open) {
    ObjectSpan object{open, 0, {}};
    std::size_t at = skipSpace(text, open + 1);
    while (text[at] != '}') {
        JSONMemberSpan member;
        member.key = {at, stringEnd(text, at)};
        // A colon follows the key.
        member.value.begin = skipSpace(text, skipSpace(text, member.key.end) + 1);
        member.value.end = valueEnd(text, member.value.begin);
        object.members.push_back(member);
        at = skipSpace(text, member.value.end);
        if (text[at] == ',') at = skipSpace(text, at + 1);
    }
    object.close = at;
    return object;
}

/// The code unit of the escape at `at`, such as "\\ud83d". Absent if something else is there.
std::optional<unsigned> escapedUnit(std::string_view text, std::size_t at) {
    if (text.substr(at, 2) != "\\u" || text.size() - at < 6) return std::nullopt;
    unsigned unit = 0;
    for (const char character : text.substr(at + 2, 4)) {
        const auto digit = VostelMCPKit::hexDigit(character);
        if (!digit) return std::nullopt;
        unit = unit * 16 + static_cast<unsigned>(*digit);
    }
    return unit;
}

/// `text` with each lone surrogate's escape replaced by that of U+FFFD, which is as long.
std::string withoutLoneSurrogates(std::string_view text) {
    const auto isHigh = [](std::optional<unsigned> unit) { return unit && *unit >= 0xD800 && *unit < 0xDC00; };
    const auto isLow = [](std::optional<unsigned> unit) { return unit && *unit >= 0xDC00 && *unit < 0xE000; };
    std::string out{text};
    for (std::size_t at = 0; (at = text.find('\\', at)) != std::string_view::npos;) {
        const auto unit = escapedUnit(text, at);
        if (!unit) {
            at += 2; // another escape, such as "\\"
        } else if (isHigh(unit) && isLow(escapedUnit(text, at + 6))) {
            at += 12;
        } else {
            if (isHigh(unit) || isLow(unit)) out.replace(at, 6, "\\uFFFD");
            at += 6;
        }
    }
    return out;
}

bool isNamed(std::string_view key, std::string_view name) {
    if (key.find('\\') == std::string_view::npos) return key.substr(1, key.size() - 2) == name;
    const auto read = VostelMCPKit::readJSON(key);
    return read && read->asString() == name;
}

/// The white space that ends at `at`.
std::string_view spaceBefore(std::string_view text, std::size_t at) {
    const std::string_view before = text.substr(0, at);
    return before.substr(before.find_last_not_of(space) + 1);
}

/// The last line break in `gap`. Empty without one.
std::string_view lastBreak(std::string_view gap) {
    const std::size_t last = gap.find_last_of(breaks);
    if (last == std::string_view::npos) return {};
    const bool isPair = gap[last] == '\n' && last > 0 && gap[last - 1] == '\r';
    return isPair ? gap.substr(last - 1, 2) : gap.substr(last, 1);
}

std::string_view lastLine(std::string_view gap) { return gap.substr(gap.find_last_of(breaks) + 1); }

/// The indentation of the line of `at`.
std::string_view indentOfLine(std::string_view text, std::size_t at) {
    const std::string_view line = lastLine(text.substr(0, at));
    return line.substr(0, std::min(line.find_first_not_of(" \t"), line.size()));
}

/// How the member is laid out in its object. The indentation is that of the object's members.
Layout layoutOf(std::string_view text, const JSONMemberSpan& member, bool isFirst) {
    const std::size_t start = text.find('{');
    const std::string_view firstGap = text.substr(start + 1, skipSpace(text, start + 1) - start - 1);
    const std::string_view gap = spaceBefore(text, member.key.begin);
    const std::string_view colon = text.substr(member.key.end, member.value.begin - member.key.end);

    Layout layout;
    layout.lineBreak = lastBreak(gap);
    layout.indent = layout.lineBreak.empty() ? indentOfLine(text, member.key.begin) : lastLine(gap);
    if (!lastBreak(firstGap).empty()) layout.unit = lastLine(firstGap);
    if (colon.find_first_of(breaks) == std::string_view::npos) layout.colon = colon;
    if (!layout.lineBreak.empty()) return layout;
    layout.afterComma = isFirst ? (layout.colon.ends_with(' ') ? " " : "") : gap;
    return layout;
}

/// The text of `value` with its objects laid out by `layout`. Arrays stay in one line.
std::string laidOut(const MCPValue& value, const Layout& layout) {
    VostelMCPKit::Bytes written;
    // Only a number can be impossible to write, and configurations get none from us.
    std::ignore = VostelMCPKit::writeJSON(value, written);
    const std::string_view compact = written.text();

    std::string out;
    std::size_t objects = 0;
    std::size_t arrays = 0;
    for (std::size_t at = 0; at < compact.size();) {
        if (compact[at] == '"') {
            const std::size_t end = stringEnd(compact, at);
            out += compact.substr(at, end - at);
            at = end;
            continue;
        }
        const char character = compact[at++];
        if (character == '}') out += layout.newLine(--objects);
        out += character == ':' ? layout.colon : std::string{character};
        if (character == '[') ++arrays;
        if (character == ']') --arrays;
        if (character == '{') out += layout.newLine(++objects);
        if (character == ',')
            out += layout.lineBreak.empty() || arrays > 0 ? layout.afterComma : layout.newLine(objects);
    }
    return out;
}

std::string memberText(std::string_view name, const MCPValue& value, const Layout& layout) {
    return quotedText(name) + layout.colon + laidOut(value, layout);
}

} // namespace

bool isBlank(std::string_view text) { return skipSpace(text, contentStart(text)) == text.size(); }

std::expected<MCPValue, ConfigError> readConfigJSON(std::string_view text) {
    const std::size_t start = contentStart(text);
    auto read = VostelMCPKit::readJSON(text.substr(start));
    if (!read) read = VostelMCPKit::readJSON(withoutLoneSurrogates(text.substr(start)));
    if (read) return *std::move(read);
    const auto* broken = std::get_if<VostelMCPKit::DecodingError::NotJSON>(&read.error().is);
    // The reader has only one other error: a number that is too large.
    if (broken == nullptr) return std::unexpected(ConfigError::NumberOutOfRange{});
    return std::unexpected(ConfigError::SyntaxError{"JSON", positionOf(text, start + broken->offset), {}});
}

std::expected<std::optional<JSONMemberSpan>, ConfigError> memberAt(std::string_view text,
                                                                   std::span<const std::string_view> path) {
    std::size_t at = skipSpace(text, contentStart(text));
    std::optional<JSONMemberSpan> found;
    for (const std::string_view name : path) {
        if (at == text.size() || text[at] != '{') return std::nullopt;
        found.reset();
        for (const JSONMemberSpan& member : outline(text, at).members) {
            if (!isNamed(member.key.in(text), name)) continue;
            if (found) {
                return std::unexpected(ConfigError::Repeated{std::string{name}, positionOf(text, member.key.begin)});
            }
            found = member;
        }
        if (!found) return std::nullopt;
        at = found->value.begin;
    }
    return found;
}

std::string withMember(std::string_view text, std::size_t object, std::string_view name, const MCPValue& value) {
    const ObjectSpan span = outline(text, object);
    if (!span.members.empty()) {
        const JSONMemberSpan& last = span.members.back();
        const Layout layout = layoutOf(text, last, span.members.size() == 1);
        const std::string gap = layout.lineBreak.empty() ? layout.afterComma : layout.newLine(0);
        return replaced(text, {last.value.end, last.value.end}, "," + gap + memberText(name, value, layout));
    }

    // An empty object shows no layout of members. The outermost object may.
    const ObjectSpan outermost = outline(text, skipSpace(text, contentStart(text)));
    Layout layout;
    if (outermost.members.empty()) {
        layout.lineBreak = lineBreakOf(text);
    } else {
        layout = layoutOf(text, outermost.members.front(), true);
    }
    layout.indent = indentOfLine(text, object);
    const std::string end = layout.newLine(0);
    if (!layout.lineBreak.empty()) layout.indent += layout.unit;
    return replaced(text, {span.open + 1, span.close}, layout.newLine(0) + memberText(name, value, layout) + end);
}

std::string withMemberValue(std::string_view text, const JSONMemberSpan& member, const MCPValue& value) {
    return replaced(text, member.value, laidOut(value, layoutOf(text, member, true)));
}

std::string withoutMember(std::string_view text, std::size_t object, const JSONMemberSpan& member) {
    const ObjectSpan span = outline(text, object);
    if (span.members.size() == 1) return replaced(text, {span.open + 1, span.close}, "");
    const auto found = std::ranges::find(span.members, member);
    if (found == span.members.begin()) return replaced(text, {member.key.begin, std::next(found)->key.begin}, "");
    return replaced(text, {std::prev(found)->value.end, member.value.end}, "");
}

std::string documentText(const MCPValue& value, std::string_view lineBreak) {
    Layout layout;
    layout.lineBreak = lineBreak;
    return laidOut(value, layout) + layout.lineBreak;
}

MCPValue withValueAt(const MCPValue& whole, std::span<const std::string_view> path,
                     const std::optional<MCPValue>& leaf) {
    std::vector<MCPValue> levels{whole};
    for (const std::string_view name : path.first(path.size() - 1)) {
        const MCPValue* next = levels.back()[name];
        levels.push_back(next != nullptr ? *next : MCPValue::object(std::vector<MCPValue::Member>{}));
    }
    std::optional<MCPValue> value = leaf;
    for (std::size_t depth = path.size(); depth-- > 0;) {
        std::vector<MCPValue::Member> members;
        const auto existing = levels[depth].asObject();
        for (const MCPValue::Member& member : existing.value_or(std::span<const MCPValue::Member>{})) {
            if (member.key() != path[depth]) members.push_back(member);
        }
        if (value) members.push_back({path[depth], *std::move(value)});
        value = MCPValue::object(std::move(members));
    }
    return value.value_or(whole);
}

std::expected<std::string, ConfigError> verifiedJSON(std::string edited, const MCPValue& expected) {
    const auto read = readConfigJSON(edited);
    if (!read || *read != expected) return std::unexpected(ConfigError::Unverified{});
    return edited;
}

} // namespace vostel_companion
