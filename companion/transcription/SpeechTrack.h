// Chooses the audio track of a file.
#pragma once

#include "companion/audio/AudioSource.h"

#include <expected>
#include <span>
#include <string>
#include <vector>

namespace vostel_companion {

/// The file at `path`, open at the track in which somebody speaks. A recording of a call may have the microphone in one
/// track and silence in another, and a film has music in some. If a file has several tracks, their beginnings are
/// searched for speech. `cancellation` stops opening and reading. It outlives the source.
[[nodiscard]] std::expected<AudioSource, AudioError> openTrackWithSpeech(const std::string& path,
                                                                         const Cancellation& cancellation);

/// The index of the track to transcribe, given the amount of speech in each. `usual` is the one that players choose. It
/// is used unless another one has more than twice as much speech.
[[nodiscard]] std::size_t trackWithSpeech(std::span<const std::size_t> speech, std::size_t usual);

} // namespace vostel_companion
