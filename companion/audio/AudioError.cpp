#include "companion/audio/AudioError.h"

#include "companion/support/InQuotes.h"
#include "kit/support/match.h"

namespace vostel_companion {

std::string AudioError::description(const std::string& path) const {
    const std::string file = inQuotes(path);
    return VostelMCPKit::match(
        is, [&](const Missing&) { return "There is no file at " + file + "."; },
        [&](const Forbidden&) { return "Vostel is not allowed to read " + file + "."; },
        [&](const Folder&) { return file + " is a folder, not an audio or video file."; },
        [&](const NotARegularFile&) { return file + " is a device or a pipe, not an audio or video file."; },
        [&](const Empty&) { return file + " is empty."; },
        [&](const NotAudio&) { return file + " is not an audio or video file that Vostel can read."; },
        [&](const NoAudioTrack&) { return file + " has no audio track."; },
        [&](const Damaged& damaged) {
            const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(damaged.after).count();
            return file + " is damaged: its audio could not be read past second " + std::to_string(seconds) + ".";
        },
        [&](const TooLong& tooLong) {
            return file + " runs longer than " + std::to_string(tooLong.limit.count()) +
                   " hours, which is more than Vostel transcribes in one call.";
        },
        [&](const Cancelled&) { return std::string{"The transcription was cancelled."}; },
        [&](const VostelMCPKit::PosixError& error) {
            return file + " could not be read: " + error.systemText() + ".";
        });
}

} // namespace vostel_companion
