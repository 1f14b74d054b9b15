#include "server/PropertyList.h"

#include "kit/support/Unicode.h"

#include <charconv>
#include <cstdint>

namespace vostel_mcp {

namespace {

struct Token {
    enum class Kind { text, opening, closing, empty, end };

    Kind kind = Kind::end;
    /// The name of a tag, or a text with its escapes.
    std::string_view content = {};
    /// The text comes from a CDATA section, which has no escapes.
    bool isLiteral = false;

    [[nodiscard]] bool opens(std::string_view name) const { return kind == Kind::opening && content == name; }
    [[nodiscard]] bool closes(std::string_view name) const { return kind == Kind::closing && content == name; }
};

/// Splits a text into tags and the text between them. A malformed tag ends it.
class Tokens final {
public:
    explicit Tokens(std::string_view text) : rest_{text} {}

    Token next() {
        while (skip("<?", "?>") || skip("<!--", "-->") || skip("<!DOCTYPE", ">")) {}
        if (auto literal = between("<![CDATA[", "]]>")) return {Token::Kind::text, *literal, /*isLiteral=*/true};
        if (rest_.empty()) return {};
        if (rest_.front() != '<') return {Token::Kind::text, take(rest_.find('<'))};
        const auto tag = between("<", ">");
        if (!tag) return {};
        if (tag->starts_with('/')) return {Token::Kind::closing, name(tag->substr(1))};
        if (tag->ends_with('/')) return {Token::Kind::empty, name(tag->substr(0, tag->size() - 1))};
        return {Token::Kind::opening, name(*tag)};
    }

    Token nextTag() {
        Token token = next();
        while (token.kind == Token::Kind::text) token = next();
        return token;
    }

private:
    std::string_view take(std::size_t length) {
        const std::string_view taken = rest_.substr(0, length);
        rest_.remove_prefix(taken.size());
        return taken;
    }

    /// Removes a part that begins with `opening` and ends with `closing`, and returns what is between them. Without
    /// `closing`, removes the whole rest and returns nothing.
    std::optional<std::string_view> between(std::string_view opening, std::string_view closing) {
        if (!rest_.starts_with(opening)) return std::nullopt;
        rest_.remove_prefix(opening.size());
        const auto end = rest_.find(closing);
        const std::string_view content = take(end);
        if (end == rest_.npos) return std::nullopt;
        rest_.remove_prefix(closing.size());
        return content;
    }
    bool skip(std::string_view opening, std::string_view closing) { return between(opening, closing).has_value(); }

    static std::string_view name(std::string_view tag) { return tag.substr(0, tag.find_first_of(" \t\r\n")); }

    std::string_view rest_;
};

/// The character of `&name;`.
std::optional<std::string> entity(std::string_view name) {
    if (name == "amp") return "&";
    if (name == "lt") return "<";
    if (name == "gt") return ">";
    if (name == "quot") return "\"";
    if (name == "apos") return "'";
    if (!name.starts_with('#')) return std::nullopt;
    name.remove_prefix(1);
    const int base = name.starts_with('x') ? 16 : 10;
    if (base == 16) name.remove_prefix(1);
    std::uint32_t codePoint = 0;
    const auto [end, failure] = std::from_chars(name.data(), name.data() + name.size(), codePoint, base);
    const bool isSurrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
    if (failure != std::errc{} || end != name.data() + name.size() || codePoint > 0x10FFFF || isSurrogate) {
        return std::nullopt;
    }
    std::string character;
    VostelMCPKit::appendUTF8(codePoint, character);
    return character;
}

bool appendUnescaped(std::string_view text, std::string& out) {
    while (!text.empty()) {
        const auto escape = text.find('&');
        out.append(text.substr(0, escape));
        if (escape == text.npos) return true;
        text.remove_prefix(escape + 1);
        const auto end = text.find(';');
        if (end == text.npos) return false;
        const auto character = entity(text.substr(0, end));
        if (!character) return false;
        out.append(*character);
        text.remove_prefix(end + 1);
    }
    return true;
}

/// The text up to the closing tag of `element`, which has been opened; absent when it holds other tags.
std::optional<std::string> textOf(std::string_view element, Tokens& tokens) {
    std::string text;
    Token token = tokens.next();
    for (; token.kind == Token::Kind::text; token = tokens.next()) {
        if (token.isLiteral) {
            text.append(token.content);
        } else if (!appendUnescaped(token.content, text)) {
            return std::nullopt;
        }
    }
    if (!token.closes(element)) return std::nullopt;
    return text;
}

/// Skips the rest of an element that has been opened; false when it has no end.
bool skipElement(Tokens& tokens) {
    for (std::size_t depth = 1; depth > 0;) {
        const Token token = tokens.nextTag();
        if (token.kind == Token::Kind::end) return false;
        if (token.kind == Token::Kind::opening) ++depth;
        if (token.kind == Token::Kind::closing) --depth;
    }
    return true;
}

} // namespace

std::optional<std::string> topLevelString(std::string_view propertyList, std::string_view key) {
    Tokens tokens{propertyList};
    if (!tokens.nextTag().opens("plist") || !tokens.nextTag().opens("dict")) return std::nullopt;
    while (tokens.nextTag().opens("key")) {
        const auto name = textOf("key", tokens);
        if (!name) return std::nullopt;
        const Token value = tokens.nextTag();
        if (*name == key) return value.opens("string") ? textOf("string", tokens) : std::nullopt;
        if (value.kind == Token::Kind::opening ? !skipElement(tokens) : value.kind != Token::Kind::empty) {
            return std::nullopt;
        }
    }
    return std::nullopt;
}

} // namespace vostel_mcp
