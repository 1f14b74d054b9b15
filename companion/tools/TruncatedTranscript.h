// Cutting a long transcript for a client.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vostel_companion {

/// A client gets the whole text or, above MCPOutputLimit, its beginning and a notice that says where the whole text is.
/// The text consists of parts, such as words or turns. If the result is still too large, fewer parts can be shown.
class TruncatedTranscript final {
public:
    /// Returns the path of a file with the whole text, if it could be saved. Called at most once, and only if that file
    /// is mentioned.
    using SaveWhole = std::function<std::optional<std::string>()>;

    /// `ends` holds the offset in bytes at which each part ends, in ascending order.
    TruncatedTranscript(std::string text, std::vector<std::size_t> ends, SaveWhole saveWhole);
    TruncatedTranscript(const TruncatedTranscript&) = delete;
    TruncatedTranscript& operator=(const TruncatedTranscript&) = delete;

    /// How many parts the limit allows to be shown whole.
    [[nodiscard]] std::size_t parts() const { return parts_; }
    /// The first `parts` parts, with the notice if something is missing. With `parts()`, everything that the limit
    /// allows.
    [[nodiscard]] std::string shown(std::size_t parts);
    /// The file with the whole text, which is saved if necessary. Absent if that failed.
    [[nodiscard]] const std::optional<std::string>& savedAt();

private:
    const std::string text_;
    const std::vector<std::size_t> ends_;
    const SaveWhole saveWhole_;
    std::size_t characters_ = 0;
    std::size_t parts_ = 0;
    bool isSaved_ = false;
    std::optional<std::string> savedAt_;
};

/// The ends of the words of `text`.
[[nodiscard]] std::vector<std::size_t> endsOfWords(std::string_view text);

/// The ends of parts that are joined by single bytes, such as turns by line breaks. `sizeOf` returns the size of a
/// part.
template <class Part>
[[nodiscard]] std::vector<std::size_t> endsOfJoined(const std::vector<Part>& parts, const auto& sizeOf) {
    std::vector<std::size_t> ends;
    ends.reserve(parts.size());
    for (const Part& part : parts) ends.push_back((ends.empty() ? 0 : ends.back() + 1) + sizeOf(part));
    return ends;
}

} // namespace vostel_companion
