#include "companion/configs/CodexOutline.h"

#include "kit/clients/MCPClientConfigLogic.h"
#include "kit/support/ASCII.h"
#include "kit/support/Unicode.h"

#include <utility>

namespace vostel_companion {

using VostelMCPKit::isASCIIDigit;
using VostelMCPKit::isASCIILetter;

namespace {

/// How the path of a key relates to our entry.
enum class Place { root, servers, entry, command, insideEntry, elsewhere };

constexpr std::string_view serversName = "mcp_servers";
constexpr std::string_view entryName = VostelMCPKit::MCPClientConfigLogic::entryName;

Place step(Place place, std::string_view key) {
    switch (place) {
    case Place::root:
        return key == serversName ? Place::servers : Place::elsewhere;
    case Place::servers:
        return key == entryName ? Place::entry : Place::elsewhere;
    case Place::entry:
        return key == "command" ? Place::command : Place::insideEntry;
    case Place::command:
    case Place::insideEntry:
        return Place::insideEntry;
    case Place::elsewhere:
        return Place::elsewhere;
    }
    std::unreachable();
}

bool isOurs(Place place) { return place == Place::entry || place == Place::command || place == Place::insideEntry; }

bool isControl(char character) {
    return (static_cast<unsigned char>(character) < 0x20 && character != '\t') || character == 0x7F;
}

/// One scan. A function that returns bool returns false after a failure, which is in `error_`.
class OutlineScanner final {
public:
    explicit OutlineScanner(std::string_view text) : text_{text}, at_{contentStart(text)} {}

    std::expected<CodexOutline, ConfigError> scan() {
        const std::size_t valid = VostelMCPKit::validUTF8Prefix(text_);
        if (valid < text_.size()) {
            at_ = valid;
            fail("this is not UTF-8");
        }
        while (!error_ && !isAtEnd()) readLine();
        if (error_) return std::unexpected(*std::move(error_));
        return std::move(outline_);
    }

private:
    struct Container {
        bool isTable;
        Place place;
        std::size_t begin;
    };

    bool readLine() {
        const std::size_t begin = at_;
        skipBlanks();
        if (isAtEnd() || peek() == '#' || peek() == '\n' || peek() == '\r') return endLine();
        return peek() == '[' ? readHeader(begin) : readAssignment(begin);
    }

    bool readHeader(std::size_t begin) {
        const std::size_t place = at_++;
        const bool isArray = next('[');
        table_ = Place::root;
        if (!readKey(table_)) return false;
        if (!next(']') || (isArray && !next(']'))) return fail("the table's name does not end with its bracket");
        if (!endLine()) return false;
        if (isArray && (table_ == Place::servers || table_ == Place::entry)) {
            return refuse(ConfigError::UneditableForm{nameOf(table_), positionOf(text_, place), "an array of tables"});
        }
        const bool isServers = table_ == Place::servers || isOurs(table_);
        if (isServers && outline_.inlineServers) return refuseSecondServers(place);
        if (table_ == Place::entry && !noteDefinition(place)) return false;
        if (isOurs(table_)) outline_.entry.push_back({{begin, at_}, true});
        return true;
    }

    bool readAssignment(std::size_t begin) {
        const std::size_t keyBegin = at_;
        Place place = table_;
        if (!readKey(place)) return false;
        if (isOurs(place) && outline_.inlineServers) return refuseSecondServers(keyBegin);
        if (!readValueOf(place) || !endLine()) return false;
        if (!isOurs(place)) return true;
        // Comments and empty lines between two lines of our own table belong to it. Outside our table, each line counts
        // alone.
        const bool continues = !outline_.entry.empty() && (isOurs(table_) || outline_.entry.back().range.end == begin);
        if (continues) {
            outline_.entry.back().range.end = at_;
        } else {
            outline_.entry.push_back({{begin, at_}, false});
        }
        return true;
    }

    /// Reads a key, dotted or not, and moves `place` along it.
    bool readKey(Place& place) {
        do {
            skipBlanks();
            if (!readKeyPart()) return false;
            place = step(place, string_);
            skipBlanks();
        } while (next('.'));
        return true;
    }

    bool readKeyPart() {
        string_.clear();
        stringBegin_ = at_;
        if (next('"')) return readBasicString(false);
        if (next('\'')) return readLiteralString(false);
        const auto isBare = [](char character) {
            return isASCIILetter(character) || isASCIIDigit(character) || character == '_' || character == '-';
        };
        const std::size_t begin = at_;
        while (!isAtEnd() && isBare(peek())) ++at_;
        string_ = text_.substr(begin, at_ - begin);
        return at_ > begin || fail("a key is missing");
    }

    /// Reads the equals sign after a key, and the whole value.
    bool readValueOf(Place place) {
        std::vector<Container> containers;
        if (!readEquals()) return false;
        do {
            if (!readScalarOrOpening(place, containers)) return false;
        } while (advance(place, containers));
        return !error_;
    }

    bool readEquals() {
        if (!next('=')) return fail("'=' is missing after the key");
        skipBlanks();
        return true;
    }

    /// After a value or an opening bracket: closes the containers that end here. True if another value follows. `place`
    /// is then the place of that value.
    bool advance(Place& place, std::vector<Container>& containers) {
        bool mayEnd = std::exchange(isOpened_, false);
        while (!containers.empty()) {
            const Container& container = containers.back();
            if (!skipSpace()) return false;
            if (!mayEnd && next(',')) {
                mayEnd = true;
                if (!skipSpace()) return false;
            }
            if (next(container.isTable ? '}' : ']')) {
                containers.pop_back();
                mayEnd = false;
                continue;
            }
            if (isAtEnd()) return failAt(container.begin, "the bracket is never closed");
            if (!mayEnd) return fail("a comma or the closing bracket is missing");
            place = container.place;
            return !container.isTable || (readKey(place) && readEquals());
        }
        return false;
    }

    bool readScalarOrOpening(Place place, std::vector<Container>& containers) {
        const std::size_t begin = at_;
        const bool isList = next('[');
        const bool isTable = !isList && next('{');
        const bool isString = !isList && !isTable && !isAtEnd() && (peek() == '"' || peek() == '\'');
        if (isList || isTable) {
            isOpened_ = true;
            // Deliberate: a table inside an array is never our entry, whatever its keys are.
            containers.push_back({isTable, isTable ? place : Place::elsewhere, begin});
        } else if (!(isString ? readString() : readBareValue())) {
            return false;
        }
        return note(place, begin, isTable, isString);
    }

    /// Records what a value means for our entry.
    bool note(Place place, std::size_t begin, bool isTable, bool isString) {
        switch (place) {
        case Place::servers:
            if (!isTable) return refuse(ConfigError::NotAnObject{nameOf(place), positionOf(text_, begin)});
            if (!outline_.entry.empty() || std::exchange(outline_.inlineServers, begin)) {
                return refuseSecondServers(begin);
            }
            return true;
        case Place::entry:
        case Place::insideEntry:
            if (outline_.inlineServers) outline_.isEntryInline = true;
            return place == Place::insideEntry || noteDefinition(begin);
        case Place::command:
            if (outline_.inlineServers) outline_.isEntryInline = true;
            if (outline_.commandValue) {
                return refuse(ConfigError::Repeated{nameOf(place), positionOf(text_, begin)});
            }
            outline_.commandValue = ConfigRange{begin, at_};
            if (isString) outline_.command = string_;
            return true;
        case Place::root:
        case Place::elsewhere:
            return true;
        }
        std::unreachable();
    }

    /// A table that is written inline is whole: in TOML, no other line may add to it.
    bool refuseSecondServers(std::size_t place) {
        return refuse(ConfigError::Repeated{nameOf(Place::servers), positionOf(text_, place)});
    }

    bool noteDefinition(std::size_t begin) {
        if (!std::exchange(isDefined_, true)) return true;
        return refuse(ConfigError::Repeated{nameOf(Place::entry), positionOf(text_, begin)});
    }

    static std::string nameOf(Place place) {
        std::string name{serversName};
        if (place == Place::servers) return name;
        name += "." + std::string{entryName};
        return place == Place::command ? name + ".command" : name;
    }

    bool readString() {
        string_.clear();
        stringBegin_ = at_;
        const char quote = peek();
        const bool isLong = takeThree(quote);
        if (!isLong) ++at_;
        return quote == '"' ? readBasicString(isLong) : readLiteralString(isLong);
    }

    /// Reads a string whose opening quotation marks have been taken.
    bool readBasicString(bool isLong) {
        if (isLong) skipLineBreak();
        while (!isAtEnd()) {
            if (isLong ? takeClosingThree('"') : next('"')) return true;
            if (next('\\')) {
                if (!readEscape(isLong)) return false;
            } else if (!readPlain(isLong)) {
                return false;
            }
        }
        return failAt(stringBegin_, "the string has no end");
    }

    bool readLiteralString(bool isLong) {
        if (isLong) skipLineBreak();
        while (!isAtEnd()) {
            if (isLong ? takeClosingThree('\'') : next('\'')) return true;
            if (!readPlain(isLong)) return false;
        }
        return failAt(stringBegin_, "the string has no end");
    }

    /// Reads one ordinary byte or a line break.
    bool readPlain(bool isLong) {
        const std::size_t begin = at_;
        if (isLong && skipLineBreak()) {
            string_ += text_.substr(begin, at_ - begin);
            return true;
        }
        if (peek() == '\n' || text_.substr(at_).starts_with("\r\n")) {
            return failAt(stringBegin_, "the string has no end in its line");
        }
        if (isControl(peek())) return fail("a control character");
        string_ += text_[at_++];
        return true;
    }

    /// Reads an escape whose backslash has been taken.
    bool readEscape(bool isLong) {
        static constexpr std::string_view plain = "btnfre\"\\";
        static constexpr std::string_view meaning = "\b\t\n\f\r\x1B\"\\";
        if (isAtEnd()) return failAt(stringBegin_, "the string has no end");
        if (const std::size_t found = plain.find(peek()); found != std::string_view::npos) {
            string_ += meaning[found];
            ++at_;
            return true;
        }
        if (next('x')) return readCodePoint(2);
        if (next('u')) return readCodePoint(4);
        if (next('U')) return readCodePoint(8);
        skipBlanks();
        if (!isLong || !skipLineBreak()) return fail("an escape that does not exist");
        do {
            skipBlanks();
        } while (skipLineBreak());
        return true;
    }

    bool readCodePoint(std::size_t digits) {
        char32_t codePoint = 0;
        for (std::size_t digit = 0; digit < digits; ++digit, ++at_) {
            const auto value = isAtEnd() ? std::nullopt : VostelMCPKit::hexDigit(peek());
            if (!value) return fail("an escape that does not exist");
            codePoint = codePoint * 16 + static_cast<char32_t>(*value);
        }
        if (codePoint > 0x10FFFF || (codePoint >= 0xD800 && codePoint <= 0xDFFF)) {
            return fail("an escape for an invalid character");
        }
        VostelMCPKit::appendUTF8(codePoint, string_);
        return true;
    }

    /// Reads a number, a date or a word.
    bool readBareValue() {
        const auto isPart = [](char character) {
            return isASCIILetter(character) || isASCIIDigit(character) ||
                   std::string_view{"+-_.:"}.find(character) != std::string_view::npos;
        };
        const std::size_t begin = at_;
        while (!isAtEnd() && isPart(peek())) ++at_;
        std::string_view value = text_.substr(begin, at_ - begin);
        if (value == "true" || value == "false") return true;
        // A space may separate a date from its time.
        if (value.size() == 10 && value[4] == '-' && text_.substr(at_).size() > 2 && text_[at_] == ' ' &&
            isASCIIDigit(text_[at_ + 1]) && isASCIIDigit(text_[at_ + 2])) {
            ++at_;
            while (!isAtEnd() && isPart(peek())) ++at_;
        }
        if (value.starts_with('+') || value.starts_with('-')) value.remove_prefix(1);
        if (value == "inf" || value == "nan" || (!value.empty() && isASCIIDigit(value.front()))) return true;
        return failAt(begin, "a value is missing, or a text is not in quotes");
    }

    /// Reads blanks, a comment and the line break at the end of a line.
    bool endLine() {
        skipBlanks();
        if (!skipComment()) return false;
        return isAtEnd() || skipLineBreak() || fail("unexpected text at the end of the line");
    }

    bool skipComment() {
        if (!next('#')) return true;
        while (!isAtEnd() && !isControl(peek())) ++at_;
        return isAtEnd() || peek() == '\n' || text_.substr(at_).starts_with("\r\n") || fail("a control character");
    }

    /// Skips white space, comments and line breaks between the parts of a value.
    bool skipSpace() {
        do {
            skipBlanks();
            if (!skipComment()) return false;
        } while (skipLineBreak());
        return true;
    }

    void skipBlanks() {
        while (!isAtEnd() && (peek() == ' ' || peek() == '\t')) ++at_;
    }

    bool skipLineBreak() {
        if (next('\n')) return true;
        if (!text_.substr(at_).starts_with("\r\n")) return false;
        at_ += 2;
        return true;
    }

    bool takeThree(char quote) {
        const std::string_view rest = text_.substr(at_);
        if (rest.size() < 3 || rest[0] != quote || rest[1] != quote || rest[2] != quote) return false;
        at_ += 3;
        return true;
    }

    /// Reads the end of a long string. Up to two more quotation marks before it belong to the string.
    bool takeClosingThree(char quote) {
        if (!takeThree(quote)) return false;
        for (int more = 0; more < 2 && next(quote); ++more) string_ += quote;
        return true;
    }

    bool next(char expected) {
        if (isAtEnd() || peek() != expected) return false;
        ++at_;
        return true;
    }

    [[nodiscard]] bool isAtEnd() const { return at_ == text_.size(); }
    [[nodiscard]] char peek() const { return text_[at_]; }

    bool fail(const char* problem) { return failAt(at_, problem); }
    bool failAt(std::size_t place, const char* problem) {
        return refuse(ConfigError::SyntaxError{"TOML", positionOf(text_, place), problem});
    }
    bool refuse(ConfigError error) {
        error_ = std::move(error);
        return false;
    }

    std::string_view text_;
    std::size_t at_;
    Place table_ = Place::root;
    bool isOpened_ = false;
    bool isDefined_ = false;
    /// The content of the last string or key, and where it began.
    std::string string_;
    std::size_t stringBegin_ = 0;
    CodexOutline outline_;
    std::optional<ConfigError> error_;
};

} // namespace

std::expected<CodexOutline, ConfigError> outlineCodexConfig(std::string_view text) {
    return OutlineScanner{text}.scan();
}

} // namespace vostel_companion
