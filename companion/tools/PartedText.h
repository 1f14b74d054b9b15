// A long text and the parts that it is made of, cut alike.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace vostel_companion {

/// What a client is shown of a transcript: all of it or, beyond MCPOutputLimit, its beginning with a notice that says
/// where the whole is. Fewer parts can be asked for when what belongs to them makes the result too large.
class PartedText final {
public:
    /// Called at most once, and only when the text is cut: the path of the file with the whole of it, when there is
    /// one.
    using SaveWhole = std::function<std::optional<std::string>()>;

    /// `ends` has the byte behind each part, rising.
    PartedText(std::string text, std::vector<std::size_t> ends, SaveWhole saveWhole);
    PartedText(const PartedText&) = delete;
    PartedText& operator=(const PartedText&) = delete;

    /// How many parts stand whole in what is shown.
    [[nodiscard]] std::size_t parts() const { return parts_; }
    /// What is shown when only the first `parts` parts are to be; with `parts()`, everything that the limit allows.
    [[nodiscard]] std::string shown(std::size_t parts);

private:
    [[nodiscard]] const std::optional<std::string>& savedAt();

    const std::string text_;
    const std::vector<std::size_t> ends_;
    const SaveWhole saveWhole_;
    std::size_t characters_ = 0;
    std::size_t parts_ = 0;
    bool isSaved_ = false;
    std::optional<std::string> savedAt_;
};

} // namespace vostel_companion
