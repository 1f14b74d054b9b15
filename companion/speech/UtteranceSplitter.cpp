#include "companion/speech/UtteranceSplitter.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace vostel_companion {

namespace {

constexpr std::size_t quietWindow = 20 * UtteranceSplitter::frameSize;

} // namespace

UtteranceSplitter::UtteranceSplitter(std::function<bool(std::span<const std::int16_t>)> isSpeech)
    : isSpeech_{std::move(isSpeech)} {}

std::vector<Utterance> UtteranceSplitter::push(std::span<const std::int16_t> samples) {
    std::vector<Utterance> done;
    while (!samples.empty()) {
        const std::size_t missing = frameSize - (pending_.samples.size() - seen_);
        const auto taken = samples.first(std::min(missing, samples.size()));
        pending_.samples.insert(pending_.samples.end(), taken.begin(), taken.end());
        samples = samples.subspan(taken.size());
        if (taken.size() == missing) takeFrame(done);
    }
    return done;
}

std::vector<Utterance> UtteranceSplitter::finish() {
    std::vector<Utterance> done;
    if (speechEnd_ > 0) done.push_back(cut(pending_.samples.size()));
    return done;
}

void UtteranceSplitter::takeFrame(std::vector<Utterance>& done) {
    const bool speaking = isSpeech_(std::span{pending_.samples}.subspan(seen_));
    seen_ = pending_.samples.size();
    if (speaking) speechEnd_ = seen_;

    const std::size_t pause = seen_ - speechEnd_;
    if (speechEnd_ == 0) {
        if (seen_ > lead) drop(seen_ - lead);
    } else if (pause > 0 && (speechEnd_ >= preferred || pause >= longPause)) {
        // The pause itself is the lead of what follows.
        const std::size_t keep = std::min(pause, lead);
        done.push_back(cut(seen_ - keep));
    } else if (seen_ >= longest) {
        done.push_back(cut(quietestMoment()));
    }
}

/// Takes the first `size` pending samples out.
Utterance UtteranceSplitter::cut(std::size_t size) {
    const auto end = pending_.samples.begin() + static_cast<std::ptrdiff_t>(size);
    Utterance taken{pending_.start, {pending_.samples.begin(), end}};
    drop(size);
    return taken;
}

void UtteranceSplitter::drop(std::size_t size) {
    pending_.samples.erase(pending_.samples.begin(), pending_.samples.begin() + static_cast<std::ptrdiff_t>(size));
    pending_.start += size;
    seen_ -= std::min(seen_, size);
    speechEnd_ -= std::min(speechEnd_, size);
}

/// The middle of the window with the least energy in the later half.
std::size_t UtteranceSplitter::quietestMoment() const {
    std::size_t best = seen_;
    double least = std::numeric_limits<double>::max();
    for (std::size_t begin = seen_ / 2; begin + quietWindow <= seen_; begin += frameSize) {
        double energy = 0;
        for (std::size_t i = begin; i < begin + quietWindow; ++i) {
            const double sample = pending_.samples[i];
            energy += sample * sample;
        }
        if (energy < least) {
            least = energy;
            best = begin + quietWindow / 2;
        }
    }
    return best;
}

} // namespace vostel_companion
