// All tools, with a temporary folder and scripted dependencies.
#pragma once

#include "companion/store/Settings.h"
#include "companion/tools/Tools.h"
#include "tests/companion/models/ModelFixture.h"
#include "tests/companion/support/SchemaCheck.h"

#include <chrono>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

namespace vostel_companion {

using namespace std::chrono_literals;
using namespace VostelMCPKit;

/// Words that begin one second apart.
inline Transcription spokenWords(std::initializer_list<const char*> words) {
    Transcription done;
    for (const char* word : words) {
        const Seconds start{static_cast<double>(done.transcript.segments.size())};
        done.transcript.segments.push_back({word, start, start + Seconds{0.5}});
    }
    done.duration = Seconds{static_cast<double>(words.size())};
    done.language = "en";
    return done;
}

/// 2026-08-30T14:05:00Z, when the test begins.
inline constexpr std::chrono::sys_seconds testBegins{1788098700s};

struct ToolStage {
    ModelFixture fixture;
    Paths paths{fixture.folder / "data"};
    std::chrono::system_clock::time_point time = testBegins;
    std::uint8_t lastID = 0;

    /// The result of every transcription.
    std::expected<Transcription, TranscriptionError> recognised = spokenWords({"hello", "there"});
    /// Path and language of each transcription.
    std::vector<std::pair<std::string, std::string>> transcribed;
    /// The addresses of every host.
    std::vector<std::string> addresses = {"142.250.1.1"};
    /// The hosts that were resolved.
    std::vector<std::string> resolved;
    /// Makes every download fail.
    std::optional<DownloadError> downloadFailure;
    std::vector<AllowedLink> downloaded;
    std::vector<OpenConfirmation> notified;
    std::vector<Progress> progress;

    ToolTable tools;
    Cancellation cancellation;

    ToolStage() {
        std::filesystem::create_directories(paths.folder);
        addTools(tools, context());
    }
    ToolStage(const ToolStage&) = delete;
    ToolStage& operator=(const ToolStage&) = delete;

    ToolContext context() {
        return {
            .paths = paths,
            .transcribe = [this](const std::string& path, const std::string& language, Cancellation&,
                                 const ReportProgress& report) -> std::expected<Transcription, TranscriptionError> {
                transcribed.emplace_back(path, language);
                report({1, "Transcribing 0:02 of 0:02"});
                return recognised;
            },
            .models = fixture.models,
            .notifyUser = [this](const OpenConfirmation& confirmation) { notified.push_back(confirmation); },
            .now = [this] { return time; },
            .newID = [this] { return uuid(++lastID); },
            .localMidnight = [](std::chrono::year_month_day day) { return std::chrono::sys_days{day}; },
            .resolve =
                [this](const std::string& host) {
                    resolved.push_back(host);
                    return addresses;
                },
            .downloadAudio = [this](const AllowedLink& link, Cancellation&, const std::function<void(double)>& report)
                -> std::expected<DownloadedAudio, DownloadError> {
                downloaded.push_back(link);
                if (downloadFailure) return std::unexpected(*downloadFailure);
                report(0.5);
                report(1);
                WorkFolder folder = WorkFolder::make(paths.downloads()).value();
                const auto audio = folder.path() / "audio.webm";
                writeFile(audio, "sound");
                return DownloadedAudio{std::move(folder), audio};
            },
        };
    }

    [[nodiscard]] Database database() const {
        auto opened = openStore(paths.database().string());
        if (!opened) std::abort();
        return *std::move(opened);
    }
    void allowReading() const {
        auto opened = database();
        EXPECT_TRUE(saveSettings(opened, {.isReadingAllowed = true}));
    }

    MCPToolOutcome run(const std::string& name, const MCPValue& arguments = MCPValue::object({})) {
        return tools.at(name)(
            {arguments, cancellation, [this](const Progress& now) { progress.push_back(now); }, "test client"});
    }

    /// Runs a tool and returns its text. If it failed, or if its result does not match its schema, returns the reason.
    std::string text(const std::string& name, const MCPValue& arguments = MCPValue::object({})) {
        const MCPToolOutcome outcome = run(name, arguments);
        const auto* done = std::get_if<MCPToolOutcome::Text>(&outcome.is);
        if (done == nullptr) return "did not run: " + refusalOf(outcome);
        if (!done->structured) return "has no structured result";
        result = *done->structured;
        const std::string wrong = vostel_tests::mismatch(result, vostel_tests::outputSchema(name));
        return wrong.empty() ? done->text : "the result does not fit its schema: " + wrong;
    }
    /// Runs a tool that fails, is denied or waits for the user, and returns its sentence.
    std::string refusal(const std::string& name, const MCPValue& arguments = MCPValue::object({})) {
        return refusalOf(run(name, arguments));
    }
    static std::string refusalOf(const MCPToolOutcome& outcome) {
        if (const auto* failed = std::get_if<MCPToolError>(&outcome.is)) return failed->message;
        if (const auto* denied = std::get_if<MCPDenial>(&outcome.is)) return denied->description();
        if (const auto* awaiting = std::get_if<MCPToolOutcome::AwaitingConfirmation>(&outcome.is))
            return "waits (" + awaiting->id.text() + "): " + awaiting->summary;
        return "it ran";
    }

    /// The structured result of the last tool that `text` ran.
    MCPValue result;
};

} // namespace vostel_companion
