#include "kit/jsonrpc/CanonicalJSON.h"

#include "kit/jsonrpc/JSONNumber.h"
#include "kit/jsonrpc/JSONReader.h"
#include "kit/jsonrpc/JSONText.h"
#include "kit/support/unwrap.h"

#include <optional>
#include <vector>

namespace VostelMCPKit {

namespace {

/// A place in the text. A function returns a null pointer when the text is not canonical.
using Position = const char*;

bool has(char expected, Position at, Position end) { return at != end && *at == expected; }

Position afterWord(Position at, Position end, std::string_view word) {
    return std::string_view{at, end}.starts_with(word) ? at + word.size() : nullptr;
}

/// Whether `number`, which follows the grammar and has a fraction or an exponent, is the text of its double.
bool isShortest(std::string_view number) {
    const auto value = numberFromDecimal(number);
    if (!value || value->asInt()) return false;
    Bytes written;
    appendDecimal(unwrap(value->asDouble()), written);
    return written.text() == number;
}

/// Whether the fraction of a number with few digits is written as it is. No two decimals of up to 15 digits are the
/// same double, so each of them is the shortest text of its own. Below 0.00001 it is written with an exponent instead.
bool isPlainlyShortest(std::string_view whole, std::string_view fraction) {
    constexpr std::size_t uniqueDigits = 15;
    constexpr std::size_t mostZeros = 4;
    if (whole.size() + fraction.size() > uniqueDigits || fraction.back() == '0') return false;
    return whole != "0" || fraction.find_first_not_of('0') <= mostZeros;
}

Position afterNumber(Position at, Position end) {
    const Position first = at;
    if (has('-', at, end)) ++at;
    const Position wholeStart = at;
    at = afterDigits(at, end);
    const std::string_view whole{wholeStart, at};
    if (whole.empty() || (whole.size() > 1 && whole.front() == '0')) return nullptr;

    const bool hasFraction = has('.', at, end);
    if (hasFraction) {
        const Position fractionStart = at + 1;
        at = afterDigits(fractionStart, end);
        if (at == fractionStart) return nullptr;
        if (!has('e', at, end) && isPlainlyShortest(whole, {fractionStart, at})) return at;
    }
    if (has('e', at, end)) {
        ++at;
        if (!has('+', at, end) && !has('-', at, end)) return nullptr;
        const Position exponentStart = at + 1;
        at = afterDigits(exponentStart, end);
        if (at == exponentStart) return nullptr;
    } else if (!hasFraction) {
        // Eighteen digits always fit 64 bits. Zero is written without a sign.
        constexpr std::size_t surelyFits = 18;
        if (whole.size() > surelyFits) {
            const auto value = numberFromDecimal({first, at});
            return value && value->asInt() ? at : nullptr;
        }
        return whole == "0" && wholeStart != first ? nullptr : at;
    }
    return isShortest({first, at}) ? at : nullptr;
}

/// `at` is after the backslash.
Position afterEscape(Position at, Position end) {
    if (at == end) return nullptr;
    switch (*at) {
    case '"':
    case '\\':
    case 'b':
    case 'f':
    case 'n':
    case 'r':
    case 't':
        return at + 1;
    }
    // The other controls are written as u0000 to u001f.
    constexpr std::size_t length = 5;
    const std::string_view code = std::string_view{at, end}.substr(0, length);
    if (code.size() < length || !(code.starts_with("u000") || code.starts_with("u001"))) return nullptr;
    const std::string_view digits = code[3] == '0' ? "01234567bef" : "0123456789abcdef";
    return digits.find(code.back()) != digits.npos ? at + length : nullptr;
}

/// `content` becomes what is between the quotation marks.
Position afterString(Position at, Position end, std::string_view& content) {
    if (!has('"', at, end)) return nullptr;
    const Position start = at + 1;
    at = afterPlain(start, end);
    while (has('\\', at, end)) {
        at = afterEscape(at + 1, end);
        if (at == nullptr) return nullptr;
        at = afterPlain(at, end);
    }
    if (!has('"', at, end)) return nullptr;
    content = {start, at};
    return at + 1;
}

Position afterScalar(Position at, Position end) {
    if (at == end) return nullptr;
    switch (*at) {
    case '"': {
        std::string_view ignored;
        return afterString(at, end, ignored);
    }
    case 't':
        return afterWord(at, end, "true");
    case 'f':
        return afterWord(at, end, "false");
    case 'n':
        return afterWord(at, end, "null");
    default:
        return afterNumber(at, end);
    }
}

/// Whether one key is written before another one. Both are as they are in the text, between their quotation marks.
bool isBefore(std::string_view left, std::string_view right) {
    const auto hasEscape = [](std::string_view key) { return key.find('\\') != key.npos; };
    if (!hasEscape(left) && !hasEscape(right)) return keyOrder(left, right) < 0;
    const auto unescaped = [](std::string_view key) { return readJSON({key.data() - 1, key.size() + 2}); };
    const auto ours = unescaped(left);
    const auto theirs = unescaped(right);
    return ours && theirs && keyOrder(unwrap(ours->asString()), unwrap(theirs->asString())) < 0;
}

/// The keys of the open objects.
class Keys final {
public:
    void openObject() {
        latest_.emplace_back();
        known_ = 0;
    }
    void closeObject() {
        latest_.pop_back();
        known_ = unknown;
    }
    /// After a key and its colon. Null, too, when the key does not come after the one before it.
    Position afterNext(Position at, Position end) {
        std::string_view& latest = latest_.back();
        // The objects of a list repeat the same keys, whose order then needs no second look.
        if (known_ < shape_.size()) {
            const std::string_view likely = shape_[known_];
            const std::string_view withMarksAndColon{likely.data() - 1, likely.size() + 3};
            if (std::string_view{at, end}.starts_with(withMarksAndColon)) {
                ++known_;
                latest = likely;
                return at + withMarksAndColon.size();
            }
        }
        std::string_view key;
        at = afterString(at, end, key);
        if (at == nullptr || !has(':', at, end)) return nullptr;
        const bool isFirst = latest.data() == nullptr;
        if (!isFirst && !isBefore(latest, key)) return nullptr;
        latest = key;
        if (known_ != unknown) {
            shape_.resize(known_++);
            shape_.push_back(key);
        }
        return at + 1;
    }

private:
    static constexpr std::size_t unknown = static_cast<std::size_t>(-1);

    /// The latest key of each open object, from the outermost to the innermost.
    std::vector<std::string_view> latest_;
    /// The keys of the object that was opened last. The first `known_` of them are those of the innermost open object,
    /// unless an object inside it has replaced them.
    std::vector<std::string_view> shape_;
    std::size_t known_ = unknown;
};

} // namespace

bool isCanonicalJSON(std::string_view text) {
    Position at = text.data();
    const Position end = at + text.size();
    /// What closes each open container.
    std::vector<char> closings;
    Keys keys;
    for (;;) {
        // A value begins here.
        if (has('{', at, end)) {
            ++at;
            if (!has('}', at, end)) {
                closings.push_back('}');
                keys.openObject();
                at = keys.afterNext(at, end);
                if (at == nullptr) return false;
                continue;
            }
            ++at;
        } else if (has('[', at, end)) {
            ++at;
            if (!has(']', at, end)) {
                closings.push_back(']');
                continue;
            }
            ++at;
        } else {
            at = afterScalar(at, end);
            if (at == nullptr) return false;
        }
        // A value has ended. It closes containers until another value follows.
        for (;; ++at) {
            if (closings.empty()) return at == end;
            const char closing = closings.back();
            if (has(',', at, end)) {
                ++at;
                if (closing == '}') at = keys.afterNext(at, end);
                if (at == nullptr) return false;
                break;
            }
            if (!has(closing, at, end)) return false;
            closings.pop_back();
            if (closing == '}') keys.closeObject();
        }
    }
}

} // namespace VostelMCPKit
