// Writing stored values into results.
#pragma once

#include "companion/support/Time.h"
#include "kit/jsonrpc/Codec.h"
#include "kit/tools/MCPToolOutcome.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace vostel_companion {

/// The tool `Signature` did its work. `text` says for the model what `result` says for programs.
template <class Signature>
[[nodiscard]] VostelMCPKit::MCPToolOutcome doneOutcome(std::string text, const typename Signature::Result& result) {
    return VostelMCPKit::MCPToolOutcome::text(std::move(text), VostelMCPKit::encode(result));
}

/// Seconds with three decimals. Recognition works in steps of 10 ms, and short numbers keep long transcripts short.
[[nodiscard]] double rounded(Seconds time);
[[nodiscard]] std::optional<double> rounded(const std::optional<Seconds>& time);

/// The first line of a list entry for the model: its facts, separated by middle dots, such as "12.5 s · en".
class SummaryLine final {
public:
    explicit SummaryLine(std::string beginning) : text_{std::move(beginning)} {}
    SummaryLine(const SummaryLine&) = delete;
    SummaryLine& operator=(const SummaryLine&) = delete;

    SummaryLine& add(std::string_view text);
    // Absent values are left out.
    SummaryLine& addKnown(const std::optional<std::string>& text);
    SummaryLine& addKnown(const std::optional<Seconds>& time);
    [[nodiscard]] const std::string& text() const { return text_; }

private:
    std::string text_;
};

/// "3 of 120 dictations, newest first.", or that there are none.
[[nodiscard]] std::string pageHeading(std::size_t shown, std::int64_t total, std::string_view things);

} // namespace vostel_companion
