// Sound files for tests: generated ones, and human speech from the test data of the recogniser.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace vostel_tests {

/// A tone that gets louder and quieter.
[[nodiscard]] std::vector<std::int16_t> tone(double seconds, int sampleRate);

/// The bytes of a WAV file with interleaved samples.
[[nodiscard]] std::string wav(const std::vector<std::int16_t>& samples, int sampleRate, int channels = 1);

/// The samples of a 16 kHz mono WAV file with the shortest header.
[[nodiscard]] std::vector<std::int16_t> samplesOf(const std::filesystem::path& file);

/// Encodes a mono tone at 48 kHz into `file`, whose extension names the container; `video` adds a picture track, which
/// the tone can follow `lateBy` seconds. False if this machine has no such encoder.
[[nodiscard]] bool encodeTone(const std::filesystem::path& file, std::string_view encoder, double seconds,
                              bool video = false, double lateBy = 0);

/// Writes a Matroska file with one track for each of `tracks`, at 16 kHz. False if that is not possible on this
/// machine.
[[nodiscard]] bool writeTracks(const std::filesystem::path& file, const std::vector<std::vector<std::int16_t>>& tracks);

/// One of the LibriVox sentences.
[[nodiscard]] std::filesystem::path spoken(std::string_view number);

} // namespace vostel_tests
