// The transcript of a recorded call: a list of spoken turns.
#pragma once

#include "companion/support/Time.h"

#include <span>
#include <string>

namespace vostel_companion {

struct RecordingLine {
    /// The microphone records the user. The sound of the system is everybody else on the call.
    enum class Track { microphone, system };
    Track track = Track::microphone;
    /// The label of the track that users see.
    std::string speaker;
    std::string text;
    /// From the start of the call.
    Seconds startTime{0};
    Seconds endTime{0};

    bool operator==(const RecordingLine&) const = default;
};

/// The tools' word for `track`.
[[nodiscard]] const char* name(RecordingLine::Track track);

/// One turn per line, each after its speaker: "Me: good morning".
[[nodiscard]] std::string plainText(std::span<const RecordingLine> lines);

} // namespace vostel_companion
