// Turns stored values into results of tools.
#pragma once

#include "companion/support/Time.h"
#include "companion/tools/ToolSignatures.h"
#include "companion/transcript/RecordingLine.h"
#include "kit/jsonrpc/Codec.h"
#include "kit/support/UUID.h"
#include "kit/tools/MCPToolOutcome.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vostel_companion {

/// The outcome of a successful call of the tool `Signature`. `text` tells a model what `result` tells a program.
template <class Signature>
[[nodiscard]] VostelMCPKit::MCPToolOutcome doneOutcome(std::string text, const typename Signature::Result& result) {
    return VostelMCPKit::MCPToolOutcome::text(std::move(text), VostelMCPKit::encode(result));
}

/// Seconds with three decimals. Recognition works in steps of 10 ms, and short numbers keep long transcripts short.
[[nodiscard]] double rounded(Seconds time);
[[nodiscard]] std::optional<double> rounded(const std::optional<Seconds>& time);

/// One turn of a recorded call, as the client receives it.
[[nodiscard]] RecordingGet::Turn turnRecord(const RecordingLine& line);

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

/// The notes, each as a paragraph in brackets, and then the words of a transcript. The notes come first because clients
/// cut the end of a long result. They are part of the text because some clients show the model nothing else.
[[nodiscard]] std::string withNotes(const std::vector<std::string>& notes, std::string_view words);

/// Says that a long record has no times, how the user gets them, and where the whole text is. `id` is absent if the
/// transcript is not stored, and `path` if its text is not saved.
[[nodiscard]] std::string timesLeftOut(const std::optional<VostelMCPKit::UUID>& id,
                                       const std::optional<std::string>& path);

/// "3 of 120 dictations, newest first.", or that there are none.
[[nodiscard]] std::string pageHeading(std::size_t shown, std::int64_t total, std::string_view things);

} // namespace vostel_companion
