// Recorded calls: two tracks that become one transcript of turns.
//
//     recording    -> transcribing | failed
//     transcribing -> ready | failed
#pragma once

#include "companion/store/Listing.h"
#include "companion/transcript/RecordingLine.h"
#include "kit/support/UUID.h"

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace vostel_companion {

struct RecordingSummary {
    enum class State { recording, transcribing, ready, failed };

    VostelMCPKit::UUID id;
    Timestamp startedAt;
    /// Absent while the call is still being recorded.
    std::optional<Seconds> duration;
    State state = State::recording;
    /// Present only if the state is failed.
    std::optional<std::string> failureReason;
    /// 0 to 1. Present only while transcribing.
    std::optional<double> progress;
    std::optional<std::string> language;
    std::int64_t lineCount = 0;
    /// The opening lines of the transcript, with their speakers.
    std::string preview;

    bool operator==(const RecordingSummary&) const = default;
};

/// The tools' word for `state`.
[[nodiscard]] const char* name(RecordingSummary::State state);

struct Recording {
    RecordingSummary summary;
    /// In the order in which they were spoken.
    std::vector<RecordingLine> lines;

    bool operator==(const Recording&) const = default;
};

/// Uses the database on the caller's thread. A change does nothing and returns false if it does not fit the recording's
/// state or if there is no such recording.
class Recordings final {
public:
    static constexpr std::size_t previewLength = 200;

    explicit Recordings(Database& database) : database_{database} {}

    [[nodiscard]] std::expected<void, DatabaseError> begin(const VostelMCPKit::UUID& id, Timestamp startedAt);
    [[nodiscard]] std::expected<bool, DatabaseError> beginTranscribing(const VostelMCPKit::UUID& id, Seconds duration);
    /// Each call waits for the disk, so call it at most a few times per second. A value outside 0 to 1 is clamped.
    [[nodiscard]] std::expected<bool, DatabaseError> reportProgress(const VostelMCPKit::UUID& id, double progress);
    /// Stores the lines, ordered by their start, and makes the recording ready.
    [[nodiscard]] std::expected<bool, DatabaseError>
    finish(const VostelMCPKit::UUID& id, const std::optional<std::string>& language, std::vector<RecordingLine> lines);
    [[nodiscard]] std::expected<bool, DatabaseError> fail(const VostelMCPKit::UUID& id, const std::string& reason);
    /// Marks the unfinished recordings that no process works on as failed. Their process has died. Returns their
    /// number.
    [[nodiscard]] std::expected<std::size_t, DatabaseError>
    failAbandoned(const std::function<bool(const VostelMCPKit::UUID&)>& isWorkedOn, const std::string& reason);

    [[nodiscard]] std::expected<Page<RecordingSummary>, DatabaseError> list(const Listing& listing);
    [[nodiscard]] std::expected<std::optional<Recording>, DatabaseError> find(const VostelMCPKit::UUID& id);
    [[nodiscard]] std::expected<void, DatabaseError> remove(const VostelMCPKit::UUID& id);

private:
    Database& database_;
};

} // namespace vostel_companion
