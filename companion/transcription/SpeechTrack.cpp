#include "companion/transcription/SpeechTrack.h"

#include "companion/speech/Sphinx.h"
#include "companion/speech/UtteranceSplitter.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>

namespace vostel_companion {

namespace {

constexpr std::size_t second = AudioSource::sampleRate;
/// The search stops when a track has this much speech. Music and noise have less that sounds like speech.
constexpr std::size_t enoughSpeech = 20 * second;
/// All tracks are searched up to the same position, in steps of this length.
constexpr std::size_t step = 60 * second;
/// Each track costs memory and time. Recordings of speech have two or three.
constexpr std::size_t mostTracks = 8;

/// How much speech one track has.
class Search final {
public:
    explicit Search(AudioSource source) : source_{std::move(source)} {}
    Search(const Search&) = delete;
    Search& operator=(const Search&) = delete;

    /// Continues until `samples` samples of the track have been searched. If the track cannot be read, its search ends.
    void goTo(std::size_t samples) {
        while (!isOver_ && searched_ < samples) {
            const auto read = source_.read();
            isOver_ = !read || read->empty();
            if (isOver_) return;
            searched_ += read->size();
            if (detector_.isSpeech(*read)) speech_ += read->size();
        }
    }

    [[nodiscard]] bool isOver() const { return isOver_; }
    [[nodiscard]] std::size_t speech() const { return speech_; }

private:
    AudioSource source_;
    SphinxDetector detector_;
    std::size_t searched_ = 0;
    std::size_t speech_ = 0;
    bool isOver_ = false;
};

} // namespace

std::size_t trackWithSpeech(std::span<const std::size_t> speech, std::size_t usual) {
    const auto most = std::ranges::max_element(speech);
    if (most == speech.end() || *most <= 2 * speech[usual]) return usual;
    return static_cast<std::size_t>(most - speech.begin());
}

std::expected<AudioSource, AudioError> openTrackWithSpeech(const std::string& path, const Cancellation& cancellation) {
    auto usual = AudioSource::open(path, cancellation);
    if (!usual || usual->trackCount() < 2) return usual;

    std::vector<std::unique_ptr<Search>> searches;
    for (std::size_t track = 0; track < std::min(usual->trackCount(), mostTracks); ++track) {
        auto source = AudioSource::open(path, cancellation, track);
        if (!source) return source;
        searches.push_back(std::make_unique<Search>(*std::move(source)));
    }
    if (usual->track() >= searches.size()) return usual;

    std::vector<std::size_t> speech(searches.size());
    for (std::size_t end = step;; end += step) {
        bool isOver = true;
        for (std::size_t track = 0; track < searches.size(); ++track) {
            searches[track]->goTo(end);
            speech[track] = searches[track]->speech();
            isOver = isOver && searches[track]->isOver();
        }
        if (cancellation.isCancelled()) return std::unexpected(AudioError{AudioError::Cancelled{}});
        if (isOver || *std::ranges::max_element(speech) >= enoughSpeech) break;
    }
    const std::size_t chosen = trackWithSpeech(speech, usual->track());
    return chosen == usual->track() ? std::move(usual) : AudioSource::open(path, cancellation, chosen);
}

} // namespace vostel_companion
