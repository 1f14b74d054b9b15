// Recognised words as readable text, for people and models.
//
// The recogniser returns words in lower case without punctuation. The pauses between them tell where sentences and
// paragraphs end. This is the only place that turns words into text. The words themselves and their times stay
// unchanged.
#pragma once

#include "companion/transcript/Transcript.h"
#include "companion/transcript/VocabularyRule.h"

#include <chrono>
#include <optional>
#include <span>
#include <string>

namespace vostel_companion {

/// A pause this long ends a sentence. In a recorded novel, the pauses after sentences took 430 ms and more. Those
/// within sentences were below 100 ms, because the recogniser counts a short silence as a part of the word before it.
inline constexpr std::chrono::milliseconds sentencePause{400};
/// A pause this long ends a paragraph: the speaker has paused to think, or somebody else begins. It is longer than
/// turnPause, so a turn of a call is one line.
inline constexpr std::chrono::milliseconds paragraphPause{1500};

/// The words as sentences: with a capital at the beginning and a full stop at the end. An empty line separates
/// paragraphs. `language` is that of the words (ISO 639-1), if known; in English, the word "I" is a capital. A word
/// from `vocabulary` keeps the user's spelling.
[[nodiscard]] std::string readableText(std::span<const TranscriptSegment> words,
                                       const std::optional<std::string>& language,
                                       std::span<const VocabularyRule> vocabulary);

} // namespace vostel_companion
