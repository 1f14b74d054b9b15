// The recogniser library, PocketSphinx. Two versions of it are in use, 5 and the one before, and all that differs
// between them is in Sphinx.cpp. Each object is for one thread at a time.
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
        /// Of 10 ms each, from the beginning of the utterance.
        int firstFrame;
        int lastFrame;
    };

    /// Null when the files are not those of a model.
    [[nodiscard]] static std::unique_ptr<SphinxDecoder> load(const ModelFiles& files);
    SphinxDecoder(const SphinxDecoder&) = delete;
    SphinxDecoder& operator=(const SphinxDecoder&) = delete;
    ~SphinxDecoder();

    /// Searches for the words of one utterance, and uses nothing that was learnt from those before it. `goesOn` is
    /// called with the share that is done, several times a second of work; false ends the search.
    [[nodiscard]] End search(std::span<const std::int16_t> samples, const std::function<bool(double)>& goesOn);

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
