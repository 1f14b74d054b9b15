#include "kit/jsonrpc/MCPTextCall.h"

#include "kit/jsonrpc/CanonicalJSON.h"
#include "kit/jsonrpc/JSONText.h"
#include "kit/jsonrpc/MCPDispatchLogic.h"

#include <algorithm>
#include <string>
#include <tuple>
#include <utility>

namespace VostelMCPKit {

namespace {

/// Finds the arguments of a call in its line. It checks only what it must: classify checks the rest of the line. A bool
/// function returns false when the line is unusual. The finder is not used after that.
class ArgumentsFinder final {
public:
    explicit ArgumentsFinder(std::string_view line) : line_{line}, rest_{line} {}

    bool find() {
        const auto takeArgumentsOf = [&] { return takeObject("arguments", [&] { return takeArguments(); }); };
        return takeObject("params", takeArgumentsOf);
    }

    /// The line with null in place of the arguments.
    [[nodiscard]] std::string lineWithoutArguments() const {
        return std::string{line_.substr(0, begin_)} + "null" + std::string{line_.substr(end_)};
    }
    Bytes takeText() { return std::move(arguments_); }

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
            // Of equal keys the last one counts, so a line with two is left to classify.
            if (std::exchange(isFound, true) || !takeWanted()) return false;
        } while (take(','));
        return take('}') && isFound;
    }

    bool takeArguments() {
        // Room for the part of the frame that comes before the arguments.
        constexpr std::size_t headLength = 64;
        std::ignore = arguments_.room(headLength + rest_.size());
        arguments_.grow(headLength);
        arguments_.removePrefix(headLength);

        skipSpace();
        begin_ = line_.size() - rest_.size();
        if (!takeCanonicalJSON(rest_, arguments_)) return false;
        end_ = line_.size() - rest_.size();
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

    const std::string_view line_;
    std::string_view rest_;
    /// Where the arguments are in the line.
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    Bytes arguments_;
};

} // namespace

std::optional<MCPTextCall> readTextCall(std::string_view line) {
    ArgumentsFinder finder{line};
    if (!finder.find()) return std::nullopt;
    MCPIncoming incoming = MCPDispatchLogic::classify(finder.lineWithoutArguments());
    auto* request = std::get_if<MCPRequest>(&incoming.is);
    if (request == nullptr || !MCPDispatchLogic::isForApplication(incoming)) return std::nullopt;
    return MCPTextCall{std::move(*request), finder.takeText()};
}

} // namespace VostelMCPKit
