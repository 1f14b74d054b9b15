// What the tests of client configurations share.
#pragma once

#include "kit/clients/MCPClientConfigLogic.h"
#include "tests/support/Files.h"

#include <algorithm>
#include <cstddef>
#include <gtest/gtest.h>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vostel_companion {

using vostel_tests::readFile;

inline const std::string ours = "/opt/v/vostel-mcp";
inline const VostelMCPKit::MCPClientConfigLogic::MCPClientEntry ourEntry{ours, {}};
inline const std::string byteOrderMark = "\xEF\xBB\xBF";

/// `text` with every line feed as a carriage return and a line feed.
inline std::string withCRLF(std::string_view text) {
    std::string out;
    for (const char character : text) {
        if (character == '\n') out += '\r';
        out += character;
    }
    return out;
}

/// A text that no operation accepts.
struct Refused {
    const char* when;
    std::string text;
    /// The error, if the file is called "f".
    std::string sentence;
};

inline void expectRefusal(std::span<const Refused> cases, auto* existingCommand, auto* withEntry, auto* withoutEntry) {
    for (const Refused& row : cases) {
        SCOPED_TRACE(row.when);
        const auto status = existingCommand(row.text);
        const auto installed = withEntry(row.text, ourEntry);
        const auto removed = withoutEntry(row.text, std::string_view{});
        ASSERT_FALSE(status || installed || removed);
        EXPECT_EQ(status.error().description("f"), row.sentence);
        EXPECT_EQ(installed.error(), status.error());
        EXPECT_EQ(removed.error(), status.error());
    }
}

/// Makes random changes to texts. Every run makes the same ones.
class Mutator final {
public:
    explicit Mutator(std::vector<std::string> seeds) : seeds_{std::move(seeds)} {}

    std::string next() {
        std::string text = pick(seeds_);
        for (std::size_t changes = below(3) + 1; changes > 0; --changes) {
            const std::size_t at = below(text.size() + 1);
            const std::size_t length = below(std::min<std::size_t>(text.size() - at, 12) + 1);
            const std::string& other = pick(seeds_);
            const std::size_t from = below(other.size() + 1);
            switch (below(3)) {
            case 0:
                text.erase(at, length);
                break;
            case 1:
                text.insert(at, other.substr(from, below(40)));
                break;
            default:
                text.replace(at, length, std::string(1, marks[below(marks.size())]));
            }
        }
        return text;
    }

private:
    static constexpr std::string_view marks = "\"'\\[]{}=.,#:\n\r \t\x7F\xC3-1aeu";

    std::size_t below(std::size_t limit) { return limit == 0 ? 0 : random_() % limit; }
    const std::string& pick(const std::vector<std::string>& from) { return from[below(from.size())]; }

    std::vector<std::string> seeds_;
    std::mt19937 random_{20240229};
};

} // namespace vostel_companion
