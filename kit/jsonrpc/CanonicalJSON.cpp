#include "kit/jsonrpc/CanonicalJSON.h"

#include "kit/jsonrpc/JSONNumber.h"
#include "kit/jsonrpc/JSONReader.h"
#include "kit/jsonrpc/JSONText.h"
#include "kit/jsonrpc/JSONWriter.h"
#include "kit/support/Unicode.h"
#include "kit/support/unwrap.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace VostelMCPKit {

namespace {

/// A position in the text. A function returns a null pointer when the text is not canonical.
using Position = const char*;

bool has(char expected, Position at, Position end) { return at != end && *at == expected; }

Position afterWord(Position at, Position end, std::string_view word) {
    return std::string_view{at, end}.starts_with(word) ? at + word.size() : nullptr;
}

/// Whether our writer gives the double that `number` denotes the same text. `number` follows the grammar and has a
/// fraction or an exponent.
bool isShortest(std::string_view number) {
    const auto value = numberFromDecimal(number);
    if (!value || value->asInt()) return false;
    Bytes written;
    appendDecimal(unwrap(value->asDouble()), written);
    return written.text() == number;
}

/// A quick check for numbers without an exponent: true only if our writer writes `whole`.`fraction` in the same way.
/// Two different decimals of up to 15 digits are never the same double. So such a decimal is the shortest text of its
/// double. Numbers below 0.00001 are written with an exponent.
bool isPlainlyShortest(std::string_view whole, std::string_view fraction) {
    constexpr std::size_t uniqueDigits = 15;
    constexpr std::size_t mostZeros = 4;
    if (whole.size() + fraction.size() > uniqueDigits || fraction.back() == '0') return false;
    return whole != "0" || fraction.find_first_not_of('0') <= mostZeros;
}

/// The end of a number without sign and exponent that lies in one block together with the byte after it. Nearly all
/// numbers do. A null pointer for every other number and for a text that is not canonical.
Position afterUsualNumber(Position at, Position end) {
    if (!fitsBlock(at, end)) return nullptr;
    constexpr std::uint32_t allBytes = 0xFFFF;
    const std::uint32_t others = ~ByteBlock{at}.inRange('0', '9') & allBytes;
    const std::size_t whole = countBefore(others | ~allBytes);
    if (whole == 0 || whole == ByteBlock::size || (whole > 1 && *at == '0')) return nullptr;
    if (at[whole] == 'e') return nullptr;
    if (at[whole] != '.') return at + whole;
    const std::uint32_t afterPoint = others & (others - 1);
    const std::size_t length = countBefore(afterPoint | ~allBytes);
    if (length == ByteBlock::size || length == whole + 1 || at[length] == 'e') return nullptr;
    return isPlainlyShortest({at, whole}, {at + whole + 1, at + length}) ? at + length : nullptr;
}

/// The same for every number. Not inlined, so that the usual numbers need no stack frame.
[[gnu::noinline]] Position afterOtherNumber(Position at, Position end) {
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

Position afterNumber(Position at, Position end) {
    const Position usual = afterUsualNumber(at, end);
    return usual != nullptr ? usual : afterOtherNumber(at, end);
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

Position afterString(Position at, Position end) {
    if (!has('"', at, end)) return nullptr;
    at = afterPlain(at + 1, end);
    while (has('\\', at, end)) {
        at = afterEscape(at + 1, end);
        if (at == nullptr) return nullptr;
        at = afterPlain(at, end);
    }
    return has('"', at, end) ? at + 1 : nullptr;
}

Position afterScalar(Position at, Position end) {
    if (at == end) return nullptr;
    switch (*at) {
    case '"':
        return afterString(at, end);
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

bool hasEscape(std::string_view key) { return key.find('\\') != key.npos; }

/// Whether our writer writes the key `left` before `right`. Both are given as in the text, with their escapes and
/// without their quotation marks.
bool isBefore(std::string_view left, std::string_view right) {
    if (!hasEscape(left) && !hasEscape(right)) return keyOrder(left, right) < 0;
    const auto unescaped = [](std::string_view key) { return readJSON({key.data() - 1, key.size() + 2}); };
    const auto ours = unescaped(left);
    const auto theirs = unescaped(right);
    return ours && theirs && keyOrder(unwrap(ours->asString()), unwrap(theirs->asString())) < 0;
}

/// Whether the text at `at` begins with `earlier`, a part of the same text that comes before it.
bool repeats(std::string_view earlier, Position at, Position end) {
    if (earlier.size() > ByteBlock::size || !fitsBlock(at, end)) return std::string_view{at, end}.starts_with(earlier);
    const std::uint32_t others = ~ByteBlock{at}.equalTo(ByteBlock{earlier.data()});
    return countBefore(others) >= earlier.size();
}

/// Checks that the keys of each open object are in order.
class Keys final {
public:
    void openObject() {
        if (latest_.empty()) {
            latest_.reserve(usual);
            shape_.reserve(usual);
        }
        latest_.emplace_back();
        known_ = 0;
    }
    void closeObject() {
        latest_.pop_back();
        known_ = unknown;
    }
    /// The position after a key and its colon. Null also when the key is not in order.
    Position afterNext(Position at, Position end) {
        // The objects of a list often have the same keys. Their order has been checked already.
        if (known_ < shape_.size()) {
            const std::string_view likely = shape_[known_];
            const std::string_view withMarksAndColon{likely.data() - 1, likely.size() + 3};
            if (repeats(withMarksAndColon, at, end)) {
                ++known_;
                latest_.back() = likely;
                return at + withMarksAndColon.size();
            }
        }
        return afterOther(at, end);
    }

private:
    static constexpr std::size_t unknown = static_cast<std::size_t>(-1);
    /// Room for the objects and the keys of a short result.
    static constexpr std::size_t usual = 8;

    /// The same for any key. Not inlined, so that repeated keys need no stack frame.
    [[gnu::noinline]] Position afterOther(Position at, Position end) {
        const Position start = at;
        at = afterString(start, end);
        if (at == nullptr || !has(':', at, end)) return nullptr;
        const std::string_view key{start + 1, at - 1};
        std::string_view& latest = latest_.back();
        const bool isFirst = latest.data() == nullptr;
        if (!isFirst && !isBefore(latest, key)) return nullptr;
        latest = key;
        if (known_ != unknown) {
            shape_.resize(known_++);
            shape_.push_back(key);
        }
        return at + 1;
    }

    /// The latest key of each open object, from the outermost to the innermost.
    std::vector<std::string_view> latest_;
    /// The keys of the object that was opened last. The first `known_` of them are those of the innermost open object,
    /// unless an object inside it has replaced them.
    std::vector<std::string_view> shape_;
    std::size_t known_ = unknown;
};

/// Rewrites a text in our writer's form, token by token. A bool function returns false when the text must be read into
/// a value instead. The rewriter is not used after that.
class Rewriter final {
public:
    Rewriter(std::string_view text, Bytes& out)
        : at_{text.data()}, end_{at_ + text.size()}, out_{out}, mayMove_{mostMoves * text.size()} {}

    /// Rewrites the value at the beginning of the text.
    bool rewrite() {
        for (;;) {
            // A value begins here.
            skipSpace();
            if (take('{')) {
                skipSpace();
                if (!take('}')) {
                    closings_.push_back('}');
                    objects_.push_back({members_.size(), /*isSorted=*/true});
                    if (!writeKey()) return false;
                    continue;
                }
            } else if (take('[')) {
                skipSpace();
                if (!take(']')) {
                    closings_.push_back(']');
                    continue;
                }
            } else if (!writeScalar()) {
                return false;
            }
            // A value has ended. It closes containers until another value follows.
            for (;;) {
                if (closings_.empty()) return true;
                skipSpace();
                const bool isInObject = closings_.back() == '}';
                if (take(',')) {
                    if (isInObject && !writeKey()) return false;
                    break;
                }
                if (!has(closings_.back(), at_, end_)) return false;
                if (isInObject && !closeObject()) return false;
                take(closings_.back());
                closings_.pop_back();
            }
        }
    }

    /// The text after the value.
    [[nodiscard]] std::string_view rest() const { return {at_, end_}; }
    bool isAtEnd() {
        skipSpace();
        return at_ == end_;
    }

private:
    /// How often sorting may move each byte of the text on average. Only unsorted objects that are nested deeply need
    /// more.
    static constexpr std::size_t mostMoves = 16;

    /// A member that has been written: where it begins, and the length of its key with its quotation marks.
    struct Member {
        std::size_t start;
        std::size_t keyLength;
    };
    struct Object {
        std::size_t firstMember;
        bool isSorted;
    };
    /// A member that is being sorted.
    struct Piece {
        std::string_view key;
        std::string_view text;
    };

    void skipSpace() {
        while (at_ != end_ && (*at_ == ' ' || *at_ == '\n' || *at_ == '\r' || *at_ == '\t')) ++at_;
    }

    /// Reads a byte and writes it unchanged. False when it is not `expected`.
    bool take(char expected) {
        if (!has(expected, at_, end_)) return false;
        out_.append(expected);
        ++at_;
        return true;
    }

    bool writeScalar() {
        if (has('"', at_, end_)) return writeString();
        const Position after = afterScalar(at_, end_);
        if (after != nullptr && !has('E', after, end_)) {
            out_.append({at_, after});
            at_ = after;
            return true;
        }
        // Our writer writes this number in another form.
        const std::string_view number = rest().substr(0, rest().find_first_not_of("+-.0123456789Ee"));
        const auto value = readJSON(number);
        if (!value || !writeJSON(*value, out_)) return false;
        at_ += number.size();
        return true;
    }

    bool writeString() {
        if (!take('"')) return false;
        for (;;) {
            const Position plain = at_;
            at_ = afterPlain(at_, end_);
            out_.append({plain, at_});
            if (take('"')) return true;
            if (!has('\\', at_, end_)) return false;
            ++at_;
            const auto codePoint = takeEscape(at_, end_);
            if (!codePoint) return false;
            if (*codePoint < 0x80 && !isPlain(static_cast<char>(*codePoint))) {
                appendEscape(static_cast<char>(*codePoint), out_);
            } else {
                std::string encoded;
                appendUTF8(*codePoint, encoded);
                out_.append(encoded);
            }
        }
    }

    bool writeKey() {
        skipSpace();
        const std::size_t start = out_.size();
        if (!writeString()) return false;
        const Member member{start, out_.size() - start};
        skipSpace();
        if (!take(':')) return false;
        Object& object = objects_.back();
        const bool isFirst = members_.size() == object.firstMember;
        if (!isFirst && object.isSorted) object.isSorted = isBefore(keyOf(members_.back()), keyOf(member));
        members_.push_back(member);
        return true;
    }

    bool closeObject() {
        const Object object = objects_.back();
        objects_.pop_back();
        if (!object.isSorted && !sort(std::span{members_}.subspan(object.firstMember))) return false;
        members_.resize(object.firstMember);
        return true;
    }

    /// Sorts `members`, which are the last ones of the output, by their keys.
    bool sort(std::span<const Member> members) {
        const std::size_t start = members.front().start;
        const std::size_t length = out_.size() - start;
        if (length > mayMove_) return false;
        mayMove_ -= length;

        pieces_.clear();
        pieces_.reserve(members.size());
        for (std::size_t index = 0; index < members.size(); ++index) {
            const Member& member = members[index];
            const bool isLast = index + 1 == members.size();
            const std::size_t end = isLast ? out_.size() : members[index + 1].start - 1;
            pieces_.push_back({keyOf(member), out_.text().substr(member.start, end - member.start)});
            // Each comparison would decode the escapes of both keys.
            if (hasEscape(pieces_.back().key)) return false;
        }
        std::ranges::sort(pieces_, [](const Piece& left, const Piece& right) {
            const int order = keyOrder(left.key, right.key);
            return order < 0 || (order == 0 && left.text.data() < right.text.data());
        });
        sorted_.truncate(0);
        for (std::size_t index = 0; index < pieces_.size(); ++index) {
            // Of equal keys the last one wins.
            if (index + 1 < pieces_.size() && pieces_[index].key == pieces_[index + 1].key) continue;
            if (!sorted_.empty()) sorted_.append(',');
            sorted_.append(pieces_[index].text);
        }
        out_.truncate(start);
        out_.append(sorted_.text());
        return true;
    }

    /// Without its quotation marks.
    [[nodiscard]] std::string_view keyOf(const Member& member) const {
        return out_.text().substr(member.start + 1, member.keyLength - 2);
    }

    Position at_;
    const Position end_;
    Bytes& out_;
    /// How many bytes sorting may still move.
    std::size_t mayMove_;
    /// The closing bracket of each open container.
    std::vector<char> closings_;
    std::vector<Object> objects_;
    /// The members of all open objects.
    std::vector<Member> members_;
    // Used by `sort` only. They keep their memory, because a list may have many objects that must be sorted.
    std::vector<Piece> pieces_;
    Bytes sorted_;
};

/// The end of the value that begins at `at`.
Position afterValue(Position at, Position end) {
    /// The closing bracket of each open container. A string needs no allocation for a few of them.
    std::string closings;
    Keys keys;
    for (;;) {
        // A value begins here.
        if (has('{', at, end)) {
            ++at;
            if (!has('}', at, end)) {
                closings.push_back('}');
                keys.openObject();
                at = keys.afterNext(at, end);
                if (at == nullptr) return nullptr;
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
            if (at == nullptr) return nullptr;
        }
        // A value has ended. It closes containers until another value follows.
        for (;; ++at) {
            if (closings.empty()) return at;
            const char closing = closings.back();
            if (has(',', at, end)) {
                ++at;
                if (closing == '}') at = keys.afterNext(at, end);
                if (at == nullptr) return nullptr;
                break;
            }
            if (!has(closing, at, end)) return nullptr;
            closings.pop_back();
            if (closing == '}') keys.closeObject();
        }
    }
}

} // namespace

bool isCanonicalJSON(std::string_view text) {
    const Position end = text.data() + text.size();
    const Position after = afterValue(text.data(), end);
    return after != nullptr && after == end;
}

bool appendCanonicalJSON(std::string_view text, Bytes& out) {
    Rewriter rewriter{text, out};
    return rewriter.rewrite() && rewriter.isAtEnd();
}

bool takeCanonicalJSON(std::string_view& text, Bytes& out) {
    const Position end = text.data() + text.size();
    if (const Position after = afterValue(text.data(), end)) {
        out.append({text.data(), after});
        text = {after, end};
        return true;
    }
    Rewriter rewriter{text, out};
    if (!rewriter.rewrite()) return false;
    text = rewriter.rest();
    return true;
}

} // namespace VostelMCPKit
