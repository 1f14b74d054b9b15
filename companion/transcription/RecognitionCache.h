// The recognised words of files, stored so that a repeated request need not begin again.
//
// A client may give up a long call, or the application may be killed. The next request for the same file continues
// where the last one stopped. If everything was recognised, it is answered at once.
#pragma once

#include "companion/speech/UtteranceSplitter.h"
#include "companion/transcript/Transcript.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vostel_companion {

/// A folder with one file for each recording. The folder is created when it is needed. Thread-safe.
class RecognitionCache final {
public:
    /// An hour of speech takes about 0.6 MB, so this is about a hundred hours.
    static constexpr std::uintmax_t mostBytes = 64 << 20;
    /// Clients repeat a call within minutes, users within days.
    static constexpr std::chrono::hours longestAge{7 * 24};

    /// The work on one recording. For one thread at a time.
    class Recording final {
    public:
        /// Opens what is kept for `key` in `folder`. `path` is the recording, for `forget`.
        Recording(const std::filesystem::path& folder, const std::string& key, std::string_view path);
        Recording(const Recording&) = delete;
        Recording& operator=(const Recording&) = delete;

        /// The words of the utterance, if it was recognised before.
        [[nodiscard]] const std::vector<TranscriptSegment>* find(const Utterance& utterance) const;
        /// Stores the words of the utterance. A failure is ignored, because the words can be recognised again.
        void add(const Utterance& utterance, const std::vector<TranscriptSegment>& words);
        /// What is known of a recording after all of it was recognised.
        struct Whole {
            std::size_t samples = 0;
            /// The audio track with the words, counted from 1, and how many there are.
            std::size_t track = 1;
            std::size_t tracks = 1;
            bool operator==(const Whole&) const = default;
        };
        /// Absent until all of it was recognised.
        [[nodiscard]] const std::optional<Whole>& whole() const { return whole_; }
        /// All words so far, in their order.
        [[nodiscard]] Transcript transcript() const;
        /// Records that the whole recording was recognised.
        void finish(const Whole& whole);

    private:
        /// Where an utterance begins, and its size.
        using Place = std::pair<std::size_t, std::size_t>;

        void read(std::string_view line);
        void append(const std::string& line) const;

        const std::filesystem::path file_;
        const std::string path_;
        std::map<Place, std::vector<TranscriptSegment>> utterances_;
        std::optional<Whole> whole_;
    };

    /// Recordings in `temporary` are not stored, because no later request has the same path.
    RecognitionCache(std::filesystem::path folder, std::filesystem::path temporary)
        : folder_{std::move(folder)}, temporary_{std::move(temporary)} {}

    /// The key of the recording at `path`, recognised with a model that `model` identifies. A changed file has another
    /// key. Absent if the recording is not to be kept.
    [[nodiscard]] std::optional<std::string> keyOf(const std::string& path, std::string_view model) const;
    [[nodiscard]] const std::filesystem::path& folder() const { return folder_; }

    /// Deletes what is too old, and then the oldest until the rest is small enough.
    void prune(std::filesystem::file_time_type now) const;
    /// Deletes what is kept of the recording that was at `path`.
    void forget(std::string_view path) const;

private:
    std::filesystem::path folder_;
    std::filesystem::path temporary_;
};

} // namespace vostel_companion
