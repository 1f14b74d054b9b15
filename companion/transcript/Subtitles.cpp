#include "companion/transcript/Subtitles.h"

#include <cstdint>
#include <cstdio>

namespace vostel_companion {

namespace {

constexpr Seconds pauseThatEnds{1};
constexpr Seconds longestShown{7};
constexpr std::size_t longestText = 84;

/// "01:02:03,450". `mark` separates the milliseconds.
std::string timeText(Seconds time, char mark) {
    const auto all = std::chrono::round<std::chrono::milliseconds>(time).count();
    char text[64];
    std::snprintf(text, sizeof text, "%02lld:%02lld:%02lld%c%03lld", static_cast<long long>(all / 3'600'000),
                  static_cast<long long>(all / 60'000 % 60), static_cast<long long>(all / 1000 % 60), mark,
                  static_cast<long long>(all % 1000));
    return text;
}

std::string timeLine(const Subtitle& subtitle, char mark) {
    return timeText(subtitle.startTime, mark) + " --> " + timeText(subtitle.endTime, mark) + "\n";
}

/// An empty line would end the subtitle, so line breaks become spaces.
std::string oneLine(std::string text) {
    for (char& character : text) {
        if (character == '\n' || character == '\r') character = ' ';
    }
    return text;
}

/// WebVTT reads these three characters as markup. This also keeps an arrow from being read as a line of times.
std::string escaped(std::string_view text) {
    std::string result;
    for (const char character : text) {
        if (character == '&') {
            result += "&amp;";
        } else if (character == '<') {
            result += "&lt;";
        } else if (character == '>') {
            result += "&gt;";
        } else {
            result += character;
        }
    }
    return result;
}

} // namespace

std::vector<Subtitle> subtitles(std::span<const TranscriptSegment> words) {
    std::vector<Subtitle> result;
    for (const TranscriptSegment& word : words) {
        const bool continues = !result.empty() && word.startTime - result.back().endTime < pauseThatEnds &&
                               word.endTime - result.back().startTime <= longestShown &&
                               result.back().text.size() + 1 + word.text.size() <= longestText;
        if (!continues) {
            result.push_back({word.text, word.startTime, word.endTime});
            continue;
        }
        result.back().text += " " + word.text;
        result.back().endTime = word.endTime;
    }
    return result;
}

std::vector<Subtitle> subtitles(std::span<const RecordingLine> turns) {
    std::vector<Subtitle> result;
    for (const RecordingLine& turn : turns) {
        result.push_back({turn.speaker + ": " + turn.text, turn.startTime, turn.endTime});
    }
    return result;
}

std::string srtText(std::span<const Subtitle> subtitles) {
    std::string text;
    std::size_t number = 0;
    for (const Subtitle& subtitle : subtitles) {
        if (number > 0) text += "\n";
        text += std::to_string(++number) + "\n" + timeLine(subtitle, ',') + oneLine(subtitle.text) + "\n";
    }
    return text;
}

std::string vttText(std::span<const Subtitle> subtitles) {
    std::string text = "WEBVTT\n";
    for (const Subtitle& subtitle : subtitles) {
        text += "\n" + timeLine(subtitle, '.') + escaped(oneLine(subtitle.text)) + "\n";
    }
    return text;
}

} // namespace vostel_companion
