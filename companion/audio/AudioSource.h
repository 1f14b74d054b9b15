// The sound of an audio or video file in the format of the recogniser: 16 kHz, one channel, 16 bits.
#pragma once

#include "companion/audio/AudioError.h"
#include "companion/support/Cancellation.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <expected>
#include <memory>
#include <optional>
#include <span>
#include <string>

namespace vostel_companion {

/// Decodes in small steps, so hours of audio need no more memory than seconds. Opens no other file and no network
/// address, even if a playlist names one. For one thread at a time.
class AudioSource final {
public:
    static constexpr int sampleRate = 16000;
    [[nodiscard]] static constexpr std::chrono::duration<double> timeOf(std::size_t samples) {
        return std::chrono::duration<double>{static_cast<double>(samples) / sampleRate};
    }
    /// More is not decoded, because a small malicious file can contain endless sound.
    static constexpr std::chrono::hours longest{24};

    /// Opens the audio track with the index `track`. Without an index, opens the track that players choose.
    /// `cancellation` stops opening and reading. It outlives the source.
    [[nodiscard]] static std::expected<AudioSource, AudioError>
    open(const std::string& path, const Cancellation& cancellation, std::optional<std::size_t> track = std::nullopt);
    AudioSource(AudioSource&&) noexcept;
    AudioSource& operator=(AudioSource&&) = delete;
    ~AudioSource();

    /// How many audio tracks of the file can be decoded.
    [[nodiscard]] std::size_t trackCount() const;
    /// The index of the open track among them.
    [[nodiscard]] std::size_t track() const;

    /// Absent when the file does not state its length.
    [[nodiscard]] std::optional<std::chrono::duration<double>> duration() const;

    /// The next samples, valid until the next read. Empty at the end. A few bad packets become silence, as in players.
    /// More of them are an error, and so is a failing disk.
    [[nodiscard]] std::expected<std::span<const std::int16_t>, AudioError> read();

    /// The fraction of the file that was read so far: by time if the duration is known, else by bytes.
    [[nodiscard]] double consumed() const;

private:
    class Decoder;
    explicit AudioSource(std::unique_ptr<Decoder> decoder);

    std::unique_ptr<Decoder> decoder_;
};

} // namespace vostel_companion
