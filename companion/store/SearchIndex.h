// Finding what was said, in the transcripts, the recorded calls and the dictations.
//
// One FTS5 table holds a copy of each text. The row of a text is found by its number in its own table:
//
//     row number in the index = 4 * number + kind
//
// Deliberate: no triggers. SQLite runs an FTS5 table in a trigger only if it may trust the schema of the file.
#pragma once

#include "companion/store/Listing.h"
#include "companion/store/Transcripts.h"
#include "kit/support/UUID.h"

#include <cstdint>
#include <expected>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace vostel_companion {

/// One text that was found.
struct SearchHit {
    /// The values are part of the row numbers in the index.
    enum class Kind : std::int64_t { transcript = 0, recording = 1, dictation = 2 };

    Kind kind = Kind::transcript;
    VostelMCPKit::UUID id;
    Timestamp date;
    /// Present for a transcript.
    std::optional<TranscriptSource> source;
    /// A few words around the first ones that were found.
    std::string excerpt;

    bool operator==(const SearchHit&) const = default;
};

/// The only user of the index's table. Uses the database on the caller's thread. An entry is always both in its own
/// table and in the index: a store adds it to both in one transaction, and removeEntry() removes it from both.
class SearchIndex final {
public:
    explicit SearchIndex(Database& database) : database_{database} {}

    /// Adds the text of the entry `id`, which is in its table and not yet in the index. The caller has a transaction.
    [[nodiscard]] std::expected<void, DatabaseError> add(SearchHit::Kind kind, const VostelMCPKit::UUID& id,
                                                         std::string_view text);
    /// Removes the entry `id` from its table and from the index, in one transaction. None of its words remain.
    [[nodiscard]] std::expected<void, DatabaseError> removeEntry(SearchHit::Kind kind, const VostelMCPKit::UUID& id);

    /// The texts that contain every one of `phrases`, newest first. The words of a phrase are next to each other, and
    /// its last word may be the beginning of a longer one. Letter case, accents and punctuation do not matter. A phrase
    /// without letters and digits is ignored. Nothing in a phrase is an operator. Finds nothing if no phrase is left.
    [[nodiscard]] std::expected<Page<SearchHit>, DatabaseError> find(std::span<const std::string> phrases,
                                                                     const Listing& listing);

private:
    Database& database_;
};

/// Whether a search for `phrase` can find anything: it has a letter or a digit.
[[nodiscard]] bool isSearchable(std::string_view phrase);

} // namespace vostel_companion
