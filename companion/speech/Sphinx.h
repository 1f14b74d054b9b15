// The recogniser library, PocketSphinx. We support version 5 and the version before it. Only Sphinx.cpp contains what
// differs between them. Each object is for one thread at a time.
#pragma once

#include "companion/speech/ModelFiles.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace vostel_companion {

/// A loaded model.
class SphinxDecoder final {
public:
    enum class End { finished, tooShort, stopped, failed };
    struct Word {
        /// As the library writes it, silence and noise included.
        std::string text;
        /// Frames of 10 ms, counted from the beginning of the utterance.
        int firstFrame;
        int lastFrame;
    };

    /// Null if the files are not those of a model.
    [[nodiscard]] static std::unique_ptr<SphinxDecoder> load(const ModelFiles& files);
    SphinxDecoder(const SphinxDecoder&) = delete;
    SphinxDecoder& operator=(const SphinxDecoder&) = delete;
    ~SphinxDecoder();

    /// Searches for the words of one utterance. The result does not depend on earlier utterances. `shouldContinue` is
    /// called several times per second of work, with the fraction that is done. If it returns false, the search ends.
    [[nodiscard]] End search(std::span<const std::int16_t> samples, const std::function<bool(double)>& shouldContinue);

    /// What the last search found.
    [[nodiscard]] std::vector<Word> words() const;

private:
    struct State;
    explicit SphinxDecoder(std::unique_ptr<State> state);
    /// Forgets the noise and the mean of what was heard before.
    void forget();

    std::unique_ptr<State> state_;
};

/// Voice activity detection. It follows the noise of one recording.
class SphinxDetector final {
public:
    SphinxDetector();
    SphinxDetector(const SphinxDetector&) = delete;
    SphinxDetector& operator=(const SphinxDetector&) = delete;
    ~SphinxDetector();

    /// Takes the next samples, at 16 kHz, and tells whether somebody is speaking at their end. It notices speech after
    /// a tenth of a second, and its end after half a second.
    [[nodiscard]] bool isSpeech(std::span<const std::int16_t> samples);

private:
    struct State;

    std::unique_ptr<State> state_;
};

} // namespace vostel_companion
