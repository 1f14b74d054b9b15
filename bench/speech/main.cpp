// Measures speech recognition with one decoder, and with one decoder for each core. The real-time factor is the time
// that one second of sound takes.
//
//     speech-bench [MINUTES]
//
// The recording repeats the spoken sentences of the tests. script/bench --speech runs this.
#include "companion/audio/AudioSource.h"
#include "companion/support/FreeMemory.h"
#include "companion/transcription/Transcriber.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

using namespace vostel_companion;

namespace {

constexpr std::size_t headerSize = 44;
constexpr std::size_t pause = AudioSource::sampleRate / 2;

std::string bytesOf(const std::filesystem::path& file) {
    std::ifstream stream{file, std::ios::binary};
    return {std::istreambuf_iterator<char>{stream}, {}};
}

void setNumber(std::string& bytes, std::size_t at, std::size_t number) {
    const auto value = static_cast<std::uint32_t>(number);
    for (std::size_t byte = 0; byte < 4; ++byte) bytes[at + byte] = static_cast<char>(value >> (8 * byte) & 0xFF);
}

/// Repeats the sentences, with pauses between them, until the recording has `minutes` minutes.
void writeRecording(const std::filesystem::path& file, std::size_t minutes) {
    std::vector<std::filesystem::path> sentences;
    for (const auto& entry : std::filesystem::directory_iterator{VOSTEL_SPEECH_DATA}) {
        if (entry.path().extension() == ".wav") sentences.push_back(entry.path());
    }
    std::ranges::sort(sentences);
    std::string recording = bytesOf(sentences.at(0)).substr(0, headerSize);
    const std::size_t size = minutes * 60 * AudioSource::sampleRate * 2;
    for (std::size_t index = 0; recording.size() < size; index = (index + 1) % sentences.size()) {
        recording += bytesOf(sentences[index]).substr(headerSize) + std::string(pause * 2, '\0');
    }
    setNumber(recording, 4, recording.size() - 8);
    setNumber(recording, headerSize - 4, recording.size() - headerSize);
    std::ofstream{file, std::ios::binary} << recording;
}

double processorSeconds() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

/// The resident memory of this process, in MB. Zero on a system that does not report it.
double residentMegabytes() {
    std::size_t whole = 0;
    std::size_t resident = 0;
    std::ifstream{"/proc/self/statm"} >> whole >> resident;
    return static_cast<double>(resident) * static_cast<double>(::sysconf(_SC_PAGESIZE)) / 1e6;
}

/// Prints one row, and returns the words.
std::vector<TranscriptSegment> measure(const std::filesystem::path& recording, std::size_t decoders) {
    std::chrono::steady_clock::time_point now;
    Transcriber transcriber{[](const std::string&) { return SpeechModel{VOSTEL_MODEL_FOLDER, "en"}; }, decoders,
                            std::nullopt, posix::startBlockingThread, [&] { return now; }};
    Cancellation never;
    const auto begun = std::chrono::steady_clock::now();
    const double processorBefore = processorSeconds();
    const auto done = transcriber.transcribe(recording, "", never, [](const Progress&) {});
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begun;
    const double processor = processorSeconds() - processorBefore;
    if (!done) {
        std::fprintf(stderr, "%s\n", done.error().description().c_str());
        std::exit(EXIT_FAILURE);
    }
    const double used = residentMegabytes();
    now += Transcriber::keptIdle;
    transcriber.freeIdle();
    releaseFreeMemory();
    const double sound = done->duration.count();
    std::printf("%8zu %7.0f s %7.1f s %8.1f s %17.3f %13.3f %7zu %7.0f MB %7.0f MB\n", decoders, sound, time.count(),
                processor, time.count() / sound, processor / sound, done->transcript.segments.size(), used,
                residentMegabytes());
    std::fflush(stdout);
    return done->transcript.segments;
}

} // namespace

int main(int argc, char** argv) {
    returnLargeBlocks();
    const std::size_t minutes = argc > 1 ? std::max(1UL, std::strtoul(argv[1], nullptr, 10)) : 3;
    std::string folder = (std::filesystem::temp_directory_path() / "vostel-speech-XXXXXX").string();
    if (::mkdtemp(folder.data()) == nullptr) return EXIT_FAILURE;
    const std::filesystem::path recording = std::filesystem::path{folder} / "recording.wav";
    writeRecording(recording, minutes);

    std::printf(
        "decoders     sound      time  processor  real-time factor  of processor   words     memory  when idle\n");
    const auto serial = measure(recording, 1);
    const auto parallel = measure(recording, decodersForThisMachine());
    std::filesystem::remove_all(folder);
    std::printf("\nThe words and times are %s.\n", serial == parallel ? "the same" : "NOT the same");
    return serial == parallel ? EXIT_SUCCESS : EXIT_FAILURE;
}
