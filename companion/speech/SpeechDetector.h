// Telling speech from silence and steady noise.
#pragma once

#include "companion/speech/Sphinx.h"

#include <array>
#include <cstdint>
#include <span>

namespace vostel_companion {

/// The recogniser library's voice activity detection. It adapts to the noise of a recording, so each recording needs
/// its own detector. For one thread at a time.
class SpeechDetector final {
public:
    SpeechDetector();
    SpeechDetector(const SpeechDetector&) = delete;
    SpeechDetector& operator=(const SpeechDetector&) = delete;
    ~SpeechDetector();

    /// Takes the next samples, at 16 kHz. Returns whether somebody speaks at their end. It notices speech after a tenth
    /// of a second, and its end after half a second.
    [[nodiscard]] bool isSpeech(std::span<const std::int16_t> samples);

private:
    static constexpr std::size_t coefficients = 13;
    /// The library buffers frames while it is undecided and then returns several at once.
    static constexpr std::size_t rows = 64;

    SphinxOptions options_;
    fe_t* frontEnd_;
    std::array<mfcc_t, rows * coefficients> features_{};
};

} // namespace vostel_companion
