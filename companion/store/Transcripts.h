// The transcripts of files and links.
#pragma once

#include "companion/store/Listing.h"
#include "companion/transcript/Transcript.h"
#include "kit/support/UUID.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vostel_companion {

struct TranscriptSource {
    enum class Kind { file, link };
    Kind kind = Kind::file;
    /// The path at that time, or the URL.
    std::string value;

    bool operator==(const TranscriptSource&) const = default;
};

/// The tools' word for `kind`: "file" or "link".
[[nodiscard]] const char* name(TranscriptSource::Kind kind);
/// The kind with that word. Other words are read as a file.
[[nodiscard]] TranscriptSource::Kind sourceKindNamed(std::string_view name);

struct TranscriptSummary {
    VostelMCPKit::UUID id;
    Timestamp date;
    TranscriptSource source;
    /// Of the source media.
    std::optional<Seconds> duration;
    std::optional<std::string> language;
    /// In user-perceived characters.
    std::int64_t characterCount = 0;
    /// The opening characters of the text.
    std::string preview;

    bool operator==(const TranscriptSummary&) const = default;
};

struct StoredTranscript {
    TranscriptSummary summary;
    std::string text;
    std::vector<TranscriptSegment> segments;

    bool operator==(const StoredTranscript&) const = default;
};

/// Uses the database on the caller's thread.
class Transcripts final {
public:
    static constexpr std::size_t previewLength = 200;

    struct New {
        Timestamp date;
        TranscriptSource source;
        std::optional<Seconds> duration;
        std::optional<std::string> language;
        std::string text;
        std::vector<TranscriptSegment> segments;
    };

    explicit Transcripts(Database& database) : database_{database} {}

    /// Stores text and segments together or not at all. Bytes that are not UTF-8 become U+FFFD.
    [[nodiscard]] std::expected<void, DatabaseError> add(const VostelMCPKit::UUID& id, const New& transcript);
    [[nodiscard]] std::expected<Page<TranscriptSummary>, DatabaseError> list(const Listing& listing);
    [[nodiscard]] std::expected<std::optional<StoredTranscript>, DatabaseError> find(const VostelMCPKit::UUID& id);
    [[nodiscard]] std::expected<void, DatabaseError> remove(const VostelMCPKit::UUID& id);

private:
    Database& database_;
};

} // namespace vostel_companion
