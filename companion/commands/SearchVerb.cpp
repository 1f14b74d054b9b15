#include "companion/commands/SearchVerb.h"

#include "companion/commands/ListLine.h"
#include "companion/store/SearchIndex.h"

#include <algorithm>

namespace vostel_companion {

namespace {

/// Longer than the preview of a list, so that the found words are rarely cut off.
constexpr std::size_t excerptCharacters = 120;

std::string titleOf(const SearchHit& hit) {
    if (hit.source) return sourceText(*hit.source);
    return hit.kind == SearchHit::Kind::recording ? "call" : "dictation";
}

} // namespace

Exit run(const Command::Search& verb, CommandContext& context) {
    if (std::ranges::none_of(verb.phrases, isSearchable)) {
        context.printError("Please give a word with letters or digits to search for.");
        return Exit::failed;
    }
    const auto listing = Listing::parse(verb.limit, verb.since, verb.until, context.localMidnight);
    if (!listing) return context.failed(listing.error());
    const auto found = SearchIndex{context.database}.find(verb.phrases, *listing);
    if (!found) return context.failed(found.error());

    bool hasDictation = false;
    for (const SearchHit& hit : found->entries) {
        hasDictation = hasDictation || hit.kind == SearchHit::Kind::dictation;
        const std::string text = titleOf(hit) + ": " + previewText(hit.excerpt, excerptCharacters);
        context.print(listLine({hit.id, hit.date, std::nullopt, text}, context.columns));
    }
    if (found->entries.empty()) {
        context.printError("Nothing was found.");
        return Exit::refused;
    }
    const std::int64_t hidden = found->totalCount - static_cast<std::int64_t>(found->entries.size());
    if (hidden > 0) {
        context.printError(std::to_string(hidden) +
                           " more are not listed; narrow the search with more words, --since or --until, or raise "
                           "--limit.");
    }
    context.printError(std::string{"To read one, run Vostel transcripts ID"} +
                       (hasDictation ? ", or Vostel dictations ID for a dictation." : "."));
    return Exit::done;
}

} // namespace vostel_companion
