#include "companion/audio/AudioDuration.h"

#include "companion/audio/AudioSource.h"

namespace vostel_companion {

std::expected<Seconds, AudioError> audioDuration(const std::string& path, Cancellation& cancellation) {
    auto source = AudioSource::open(path, cancellation);
    if (!source) return std::unexpected(source.error());
    if (const auto duration = source->duration()) return *duration;
    std::size_t count = 0;
    while (true) {
        const auto samples = source->read();
        if (!samples) return std::unexpected(samples.error());
        if (samples->empty()) return Seconds{static_cast<double>(count) / AudioSource::sampleRate};
        count += samples->size();
    }
}

} // namespace vostel_companion
