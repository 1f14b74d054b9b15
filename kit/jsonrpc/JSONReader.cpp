#include "kit/jsonrpc/JSONReader.h"

#include "kit/jsonrpc/JSONNumber.h"
#include "kit/jsonrpc/JSONText.h"
#include "kit/jsonrpc/JSONTextAccess.h"
#include "kit/support/ASCII.h"
#include "kit/support/Unicode.h"

#include <string>
#include <vector>

namespace VostelMCPKit {

namespace {

constexpr double powersOfTen[] = {1, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14};

/// Reads one text. Finished values stay on an explicit stack until the array or object around them closes. So nesting
/// costs heap memory and no call stack.
class Reader final {
public:
    explicit Reader(std::string_view text) : start_{text.data()}, at_{start_}, end_{start_ + text.size()} {
        // Room for a message of the usual size, so that reading one allocates little besides its values.
        values_.reserve(32);
        containers_.reserve(8);
    }

    std::expected<MCPValue, DecodingError> read() {
        if (readValues()) skipSpace();
        if (!error_ && at_ != end_) fail();
        if (error_) return std::unexpected(*std::move(error_));
        return std::move(values_.back());
    }

private:
    struct Container {
        std::size_t firstValue;
        bool isObject;
    };

    /// Reads one value with all values in it. Every bool function of this class returns false after a failure.
    bool readValues() {
        do {
            skipSpace();
            if (!readScalarOrOpening()) return false;
        } while (advance());
        return !error_;
    }

    /// Called after a value or an opening bracket. Closes the containers that end here. True when another value
    /// follows.
    bool advance() {
        if (std::exchange(opened_, false)) {
            skipSpace();
            if (!next(containers_.back().isObject ? '}' : ']')) {
                return !containers_.back().isObject || readName();
            }
            close();
        }
        while (!containers_.empty()) {
            skipSpace();
            const bool isObject = containers_.back().isObject;
            if (next(',')) {
                if (!isObject) return true;
                skipSpace();
                return readName();
            }
            if (!next(isObject ? '}' : ']')) return fail();
            close();
        }
        return false;
    }

    void close() {
        const Container container = containers_.back();
        containers_.pop_back();
        const std::span content = std::span{values_}.subspan(container.firstValue);
        MCPValue value = container.isObject ? JSONTextAccess::object(content, mayChange_)
                                            : JSONTextAccess::array(content, mayChange_);
        values_.resize(container.firstValue);
        values_.push_back(std::move(value));
    }

    bool readScalarOrOpening() {
        if (at_ == end_) return fail();
        switch (*at_) {
        case '{':
        case '[':
            containers_.push_back({values_.size(), *at_ == '{'});
            ++at_;
            return opened_ = true;
        case '"':
            ++at_;
            return readString();
        case 't':
            return readWord("true", true);
        case 'f':
            return readWord("false", false);
        case 'n':
            return readWord("null", nullptr);
        default:
            return readNumber();
        }
    }

    bool readName() {
        if (!next('"')) return fail();
        if (!readString()) return false;
        skipSpace();
        return next(':') || fail();
    }

    bool readWord(std::string_view word, MCPValue value) {
        if (!rest().starts_with(word)) return fail();
        at_ += word.size();
        values_.push_back(std::move(value));
        return true;
    }

    /// Reads a string whose opening quotation mark has been taken.
    bool readString() {
        const std::string_view plain = takePlain();
        if (next('"')) {
            values_.push_back(JSONTextAccess::string(plain));
            return true;
        }
        unescaped_.assign(plain);
        while (!next('"')) {
            if (!next('\\')) return fail(); // a control character, a byte that is not UTF-8, or the end
            if (!readEscape()) return false;
            unescaped_ += takePlain();
        }
        values_.push_back(JSONTextAccess::string(unescaped_));
        return true;
    }

    /// Takes the bytes that need no unescaping.
    std::string_view takePlain() {
        const char* start = at_;
        at_ = afterPlain(at_, end_);
        return {start, at_};
    }

    /// Reads an escape whose backslash has been taken.
    bool readEscape() {
        const auto codePoint = takeEscape(at_, end_);
        if (!codePoint) return fail();
        if (*codePoint < 0x80) {
            unescaped_ += static_cast<char>(*codePoint);
        } else {
            appendUTF8(*codePoint, unescaped_);
        }
        return true;
    }

    bool readNumber() {
        const char* first = at_;
        const bool negative = next('-');
        const char* whole = at_;
        std::uint64_t magnitude = takeDigits(0);
        const auto digits = at_ - whole;
        if (digits == 0) return fail();
        if (digits > 1 && *whole == '0') {
            at_ = whole + 1;
            return fail();
        }
        const char* point = at_;
        const bool hasFraction = next('.');
        if (hasFraction) {
            magnitude = takeDigits(magnitude);
            if (at_ == point + 1) return fail();
        }
        const bool endsInZero = at_[-1] == '0';
        const bool hasExponent = next('e') || next('E');
        if (hasExponent) {
            if (!next('+')) next('-');
            if (!skipDigits()) return false;
        }
        // Eighteen digits cannot have overflowed.
        if (!hasFraction && !hasExponent && digits <= 18) {
            const auto value = static_cast<std::int64_t>(magnitude);
            values_.emplace_back(negative ? -value : value);
            return true;
        }
        // Up to 15 digits, both numbers are exact as doubles, so their quotient is the nearest double.
        if (hasFraction && !hasExponent && !endsInZero && at_ - whole <= 16) {
            const double value = static_cast<double>(magnitude) / powersOfTen[at_ - point - 1];
            values_.emplace_back(negative ? -value : value);
            return true;
        }
        auto value = numberFromDecimal({first, at_});
        if (!value) return fail(DecodingError::DataCorrupted{"Значение не является допустимым JSON"});
        values_.push_back(*std::move(value));
        mayChange_ = mayChange_ || JSONTextAccess::changesWhenWritten(values_.back());
        return true;
    }

    /// Reads digits and appends them to those of `magnitude`.
    std::uint64_t takeDigits(std::uint64_t magnitude) {
        for (; at_ != end_ && isASCIIDigit(*at_); ++at_) magnitude = magnitude * 10 + static_cast<unsigned>(*at_ - '0');
        return magnitude;
    }

    bool skipDigits() {
        if (at_ == end_ || !isASCIIDigit(*at_)) return fail();
        while (at_ != end_ && isASCIIDigit(*at_)) ++at_;
        return true;
    }

    void skipSpace() {
        while (at_ != end_ && (*at_ == ' ' || *at_ == '\n' || *at_ == '\r' || *at_ == '\t')) ++at_;
    }

    bool next(char expected) {
        if (at_ == end_ || *at_ != expected) return false;
        ++at_;
        return true;
    }

    [[nodiscard]] std::string_view rest() const { return {at_, end_}; }

    bool fail() { return fail(DecodingError::NotJSON{static_cast<std::size_t>(at_ - start_)}); }
    bool fail(auto reason) {
        error_ = DecodingError{std::move(reason)};
        return false;
    }

    const char* start_;
    const char* at_;
    const char* end_;
    bool opened_ = false;
    /// Whether rounding has made a double integral: 0.99999999999999999999 is written as 1, which is an integer.
    bool mayChange_ = false;
    std::optional<DecodingError> error_;
    std::vector<MCPValue> values_;
    std::vector<Container> containers_;
    std::string unescaped_;
};

} // namespace

std::expected<MCPValue, DecodingError> readJSON(std::string_view text) { return Reader{text}.read(); }

} // namespace VostelMCPKit
