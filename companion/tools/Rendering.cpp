#include "companion/tools/Rendering.h"

#include <cmath>
#include <cstdio>

namespace vostel_companion {

double rounded(Seconds time) { return std::round(time.count() * 1000) / 1000; }

std::optional<double> rounded(const std::optional<Seconds>& time) {
    return time ? std::optional{rounded(*time)} : std::nullopt;
}

SummaryLine& SummaryLine::add(std::string_view text) {
    text_.append(" · ").append(text);
    return *this;
}

SummaryLine& SummaryLine::addKnown(const std::optional<std::string>& text) {
    if (text) add(*text);
    return *this;
}

SummaryLine& SummaryLine::addKnown(const std::optional<Seconds>& time) {
    if (!time) return *this;
    char text[64];
    std::snprintf(text, sizeof text, "%.1f s", time->count());
    return add(text);
}

RecordingGet::Turn turnRecord(const RecordingLine& line) {
    return {
        .track = name(line.track),
        .speaker = line.speaker,
        .text = line.text,
        .startTime = rounded(line.startTime),
        .endTime = rounded(line.endTime),
    };
}

std::string withNotes(const std::vector<std::string>& notes, std::string_view words) {
    std::string text;
    for (const std::string& note : notes) {
        if (!text.empty()) text += "\n\n";
        text += "[" + note + "]";
    }
    if (!text.empty() && !words.empty()) text += "\n\n";
    return text.append(words);
}

std::string timesLeftOut(const std::optional<VostelMCPKit::UUID>& id, const std::optional<std::string>& path) {
    std::string note = "This transcript is long, so the times of its words are left out.";
    if (id) {
        note += " The user can print them with the command: Vostel transcripts " + id->text().substr(0, 8) +
                " --format json.";
    }
    if (path) note += " If the text below ends early, the whole is in the file " + *path;
    return note;
}

std::string pageHeading(std::size_t shown, std::int64_t total, std::string_view things) {
    if (total == 0) return "There are no " + std::string{things} + " here.";
    return std::to_string(shown) + " of " + std::to_string(total) + " " + std::string{things} + ", newest first.";
}

} // namespace vostel_companion
