// How values of the store stand in results: as JSON for programs, as lines for the model.
#pragma once

#include "companion/store/Database.h"
#include "companion/support/Iso8601.h"
#include "kit/jsonrpc/MCPValue.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vostel_companion {

/// In milliseconds and no finer: recognition works in steps of ten, and short numbers keep long transcripts short.
[[nodiscard]] double rounded(Seconds time);

/// The members of an object that is put together bit by bit.
struct Members {
    std::vector<VostelMCPKit::MCPValue::Member> list;

    /// Leaves out what is absent.
    Members& add(std::string_view key, const std::optional<VostelMCPKit::MCPValue>& value);
    Members& add(std::string_view key, Seconds time) { return add(key, VostelMCPKit::MCPValue{rounded(time)}); }
    Members& add(std::string_view key, const std::optional<Seconds>& time);
    /// Once; it takes the members out.
    [[nodiscard]] VostelMCPKit::MCPValue object() { return VostelMCPKit::MCPValue::object(std::move(list)); }
};

/// One thing that a list line says, such as "12.5 s" or "en"; joined by middle dots.
class Line final {
public:
    explicit Line(std::string beginning) : text_{std::move(beginning)} {}

    Line& add(std::string_view text);
    // What is absent is left out.
    Line& addKnown(const std::optional<std::string>& text);
    Line& addKnown(const std::optional<Seconds>& time);
    [[nodiscard]] std::string take() && { return std::move(text_); }

private:
    std::string text_;
};

/// "3 of 120 dictations, newest first." or that there is none.
[[nodiscard]] std::string pageHeading(std::size_t shown, std::int64_t total, std::string_view things);

} // namespace vostel_companion
