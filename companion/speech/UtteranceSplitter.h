// Cuts long audio into utterances for the recogniser.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace vostel_companion {

/// A stretch of speech within a recording.
struct Utterance {
    /// Where it begins, in samples from the beginning of the recording.
    std::size_t start = 0;
    std::vector<std::int16_t> samples;

    bool operator==(const Utterance&) const = default;
};

/// Drops what is not speech and cuts at pauses. A long utterance without a pause is cut at its quietest moment, so
/// memory and the delay before the first words stay bounded. For one thread at a time.
class UtteranceSplitter final {
public:
    static constexpr std::size_t sampleRate = 16000;
    /// The detector classifies 10 ms at a time.
    static constexpr std::size_t frameSize = sampleRate / 100;
    /// Kept before the first speech frame, because the detector notices the beginning of a word late.
    static constexpr std::size_t lead = 30 * frameSize;
    /// At this length the next pause ends the utterance. Shorter utterances continue over pauses, because the
    /// recogniser needs some speech to adapt to the voice.
    static constexpr std::size_t preferred = 500 * frameSize;
    /// A pause that ends even a short utterance.
    static constexpr std::size_t longPause = 150 * frameSize;
    static constexpr std::size_t longest = 1500 * frameSize;

    /// `isSpeech` is called with every frame of `frameSize` samples, in order.
    explicit UtteranceSplitter(std::function<bool(std::span<const std::int16_t>)> isSpeech);
    UtteranceSplitter(const UtteranceSplitter&) = delete;
    UtteranceSplitter& operator=(const UtteranceSplitter&) = delete;

    /// Takes the next samples. Returns the utterances that they complete.
    [[nodiscard]] std::vector<Utterance> push(std::span<const std::int16_t> samples);
    /// The last utterance, if the recording ends inside one.
    [[nodiscard]] std::vector<Utterance> finish();

    /// Everything before this sample was returned or dropped.
    [[nodiscard]] std::size_t position() const { return pending_.start; }

private:
    void takeFrame(std::vector<Utterance>& done);
    [[nodiscard]] Utterance cut(std::size_t size);
    void drop(std::size_t size);
    [[nodiscard]] std::size_t quietestMoment() const;

    const std::function<bool(std::span<const std::int16_t>)> isSpeech_;
    /// Samples that were not returned yet. `start` is the position of the first one.
    Utterance pending_;
    /// How many of the pending samples the detector has seen.
    std::size_t seen_ = 0;
    /// The end of the last speech frame among the pending samples. Zero without one.
    std::size_t speechEnd_ = 0;
};

} // namespace vostel_companion
