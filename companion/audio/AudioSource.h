// The sound of an audio or video file as the recogniser wants it: 16 kHz, one channel, 16 bits.
#pragma once

#include "companion/audio/AudioError.h"
#include "companion/support/Cancellation.h"

#include <chrono>
#include <cstdint>
#include <expected>
#include <memory>
#include <optional>
#include <span>
#include <string>

namespace vostel_companion {

/// Decodes piece by piece, so that hours of audio need no more memory than seconds. Stays with the one file that it was
/// given: a play list cannot make it open another file or an address. For one thread at a time.
class AudioSource final {
public:
    static constexpr int sampleRate = 16000;
    /// Whatever a file claims, no more than this is decoded: a few hostile bytes can stand for endless sound.
    static constexpr std::chrono::hours longest{24};

    /// `cancellation` is watched while the file is opened and read, and outlives the source.
    [[nodiscard]] static std::expected<AudioSource, AudioError> open(const std::string& path,
                                                                     const Cancellation& cancellation);
    AudioSource(AudioSource&&) noexcept;
    AudioSource& operator=(AudioSource&&) = delete;
    ~AudioSource();

    /// Absent when the file does not say how long it is.
    [[nodiscard]] std::optional<std::chrono::duration<double>> duration() const;

    /// The next samples, valid until the next read; none at the end. A few bad packets are passed over, as players do,
    /// with silence in their place; more of them, or a failing disk, are an error.
    [[nodiscard]] std::expected<std::span<const std::int16_t>, AudioError> read();

    /// How much of the file has been read so far, 0 to 1. By time where the duration is known, else by bytes.
    [[nodiscard]] double consumed() const;

private:
    class Decoder;
    explicit AudioSource(std::unique_ptr<Decoder> decoder);

    std::unique_ptr<Decoder> decoder_;
};

} // namespace vostel_companion
