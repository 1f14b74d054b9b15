#include "kit/jsonrpc/TextMember.h"

#include "kit/jsonrpc/CanonicalJSON.h"
#include "kit/jsonrpc/JSONText.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace VostelMCPKit {

namespace {

/// A bool function returns false when the text is unusual. The finder is not used after that.
class MemberFinder final {
public:
    explicit MemberFinder(std::string_view text) : text_{text}, rest_{text} {}

    bool find(std::string_view outerKey, std::string_view key) {
        const auto takeMember = [&] { return takeObject(key, [&] { return takeValue(); }); };
        return takeObject(outerKey, takeMember);
    }

    TextMember take() {
        return {std::move(value_), std::string{text_.substr(0, begin_)} + "null" + std::string{text_.substr(end_)}};
    }

private:
    /// Reads an object that has a member `wanted`. `takeWanted` reads the value of that member.
    template <class TakeWanted>
    bool takeObject(std::string_view wanted, TakeWanted takeWanted) {
        if (!take('{')) return false;
        bool isFound = false;
        do {
            const auto key = takeKey();
            if (!key || !take(':')) return false;
            if (*key != wanted) {
                if (!skipValue()) return false;
                continue;
            }
            // Of equal keys the last one counts, so a text with two is left to the reader of values.
            if (std::exchange(isFound, true) || !takeWanted()) return false;
        } while (take(','));
        return take('}') && isFound;
    }

    bool takeValue() {
        // Room for the part of the new message that comes before the value.
        constexpr std::size_t headLength = 64;
        std::ignore = value_.room(headLength + rest_.size());
        value_.grow(headLength);
        value_.removePrefix(headLength);

        skipSpace();
        begin_ = text_.size() - rest_.size();
        if (!takeCanonicalJSON(rest_, value_)) return false;
        end_ = text_.size() - rest_.size();
        return true;
    }

    bool skipValue() {
        skipSpace();
        Bytes ignored;
        return takeCanonicalJSON(rest_, ignored);
    }

    /// A key without escapes.
    std::optional<std::string_view> takeKey() {
        if (!take('"')) return std::nullopt;
        const std::string_view key{rest_.data(), afterPlain(rest_.data(), rest_.data() + rest_.size())};
        rest_.remove_prefix(key.size());
        if (!rest_.starts_with('"')) return std::nullopt;
        rest_.remove_prefix(1);
        return key;
    }

    /// Takes `expected` and the white space before it.
    bool take(char expected) {
        skipSpace();
        if (!rest_.starts_with(expected)) return false;
        rest_.remove_prefix(1);
        return true;
    }

    void skipSpace() { rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t\r\n"), rest_.size())); }

    const std::string_view text_;
    std::string_view rest_;
    /// Where the value is in the text.
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    Bytes value_;
};

} // namespace

std::optional<TextMember> findTextMember(std::string_view text, std::string_view outerKey, std::string_view key) {
    MemberFinder finder{text};
    if (!finder.find(outerKey, key)) return std::nullopt;
    return finder.take();
}

} // namespace VostelMCPKit
