// The dependencies of the verbs in tests: a database in memory, a scripted recogniser, and the printed output.
#pragma once

#include "companion/commands/CommandContext.h"
#include "tests/companion/models/ModelFixture.h"

#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace vostel_companion {

struct VerbFixture {
    ModelFixture models;
    Database database = openInMemory();
    Cancellation cancellation;
    /// 2001-09-09 01:46:40 UTC.
    std::chrono::system_clock::time_point time = std::chrono::sys_seconds{std::chrono::seconds{1'000'000'000}};
    std::uint8_t lastID = 0;

    /// The result for each path. Other files do not exist.
    std::map<std::string, Transcription> recordings;
    std::vector<std::string> languages;
    /// Runs in the middle of each transcription.
    std::function<void()> duringTranscription = [] {};
    bool canPrint = true;

    std::string printed;
    std::string errors;

    CommandContext context{
        .paths = Paths{models.folder.path()},
        .database = database,
        .models = models.models,
        .transcribe =
            [this](const std::string& path, const std::string& language, Cancellation& cancelled,
                   const ReportProgress& progress) { return transcribe(path, language, cancelled, progress); },
        .measure = [this](const std::string& path, Cancellation&) -> std::expected<Seconds, AudioError> {
            if (!recordings.contains(path)) return std::unexpected(AudioError{AudioError::Missing{}});
            return recordings.at(path).duration;
        },
        .workingFolder = "/home/me",
        .now = [this] { return time; },
        .newID = [this] { return uuid(++lastID); },
        .localMidnight = [](std::chrono::year_month_day day) { return std::chrono::sys_days{day}; },
        .cancellation = cancellation,
        .print =
            [this](std::string_view text) {
                if (canPrint) printed += text;
                return canPrint;
            },
        .printError = [this](const std::string& sentence) { errors += sentence + "\n"; },
        .isOnTerminal = true,
        .progress = std::nullopt,
    };

    VerbFixture() = default;
    VerbFixture(const VerbFixture&) = delete;
    VerbFixture& operator=(const VerbFixture&) = delete;

    /// What was written since the last call.
    std::string takePrinted() { return std::exchange(printed, {}); }
    std::string takeErrors() { return std::exchange(errors, {}); }

private:
    std::expected<Transcription, TranscriptionError> transcribe(const std::string& path, const std::string& language,
                                                                const Cancellation& cancelled,
                                                                const ReportProgress& progress) {
        languages.push_back(language);
        if (!recordings.contains(path)) {
            return std::unexpected(TranscriptionError{TranscriptionError::UnusableFile{path, {AudioError::Missing{}}}});
        }
        progress({0.5, ""});
        duringTranscription();
        if (cancelled.isCancelled()) return std::unexpected(TranscriptionError{TranscriptionError::Cancelled{}});
        progress({1, ""});
        return recordings.at(path);
    }
};

/// A recording of `words`. Each has its start in seconds and lasts half a second.
inline Transcription spokenWords(const std::vector<std::pair<double, std::string>>& words, double duration) {
    Transcription result{{}, Seconds{duration}, "en"};
    for (const auto& [start, word] : words) {
        result.transcript.segments.push_back({word, Seconds{start}, Seconds{start + 0.5}});
    }
    return result;
}

/// Text that would move the cursor, change the colour and reverse the reading direction.
inline const std::string hostile = "a\x1B[31mb\rc\xE2\x80\xAE"
                                   "d\x9B"
                                   "e";
inline const std::string harmless = "a\xEF\xBF\xBD[31mb\xEF\xBF\xBD"
                                    "c\xEF\xBF\xBD"
                                    "d\xEF\xBF\xBD"
                                    "e";

} // namespace vostel_companion
