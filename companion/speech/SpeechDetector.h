// Telling speech from silence and steady noise.
#pragma once

#include "companion/speech/Sphinx.h"

#include <array>
#include <cstdint>
#include <span>

namespace vostel_companion {

/// The recogniser library's voice activity detection. It follows the noise of one recording, so each recording gets a
/// detector of its own. For one thread at a time.
class SpeechDetector final {
public:
    SpeechDetector();
    SpeechDetector(const SpeechDetector&) = delete;
    SpeechDetector& operator=(const SpeechDetector&) = delete;
    ~SpeechDetector();

    /// Takes the next samples, at 16 kHz, and tells whether somebody is speaking at their end. It notices speech after
    /// a tenth of a second, and its end after half a second.
    [[nodiscard]] bool isSpeech(std::span<const std::int16_t> samples);

private:
    static constexpr std::size_t coefficients = 13;
    /// The library hands back what it held while it was undecided, so there is room for more than one frame.
    static constexpr std::size_t rows = 64;

    SphinxOptions options_;
    fe_t* frontEnd_;
    std::array<mfcc_t, rows * coefficients> features_{};
};

} // namespace vostel_companion
