#include "companion/download/DownloadError.h"

#include "kit/support/match.h"

namespace vostel_companion {

namespace {

using Refusal = DownloadError::Refused::Kind;

const char* sentence(Refusal kind) {
    switch (kind) {
    case Refusal::unavailable:
        return "The video is not available.";
    case Refusal::isPrivate:
        return "The video is private, or for members of its channel only.";
    case Refusal::signInNeeded:
        return "YouTube shows the video only to signed-in users, and Vostel cannot sign in.";
    case Refusal::notInThisCountry:
        return "The video is not available in this country.";
    case Refusal::tooManyRequests:
        return "YouTube refuses further downloads from this network for now; please try again later.";
    case Refusal::noAudio:
        return "The link has no audio that could be downloaded.";
    case Refusal::network:
        break;
    }
    return "The audio could not be downloaded, because the network connection failed.";
}

} // namespace

std::string DownloadError::description() const {
    return VostelMCPKit::match(
        is,
        [](const DownloaderMissing&) {
            return std::string{"Transcribing links needs the program yt-dlp, which is not installed on this computer."};
        },
        [](const posix::SystemError& error) { return error.description(); },
        [](const TooLarge& large) {
            return "The link's audio is larger than " + std::to_string(large.limit >> 20) +
                   " MiB, which is more than Vostel downloads.";
        },
        [](const TookTooLong& late) {
            return "The download took longer than " + std::to_string(late.limit.count()) + " minutes and was stopped.";
        },
        [](const NotOneFinishedVideo&) {
            return std::string{"The link does not lead to one finished video of at most 24 hours, so nothing was "
                               "downloaded; playlists, channels and live streams cannot be transcribed."};
        },
        [](const Refused& refused) { return std::string{sentence(refused.kind)}; },
        [](const Failed& failed) {
            return "yt-dlp could not download the audio (" +
                   (failed.status < 0 ? "ended by signal " + std::to_string(-failed.status)
                                      : "exit status " + std::to_string(failed.status)) +
                   "); an older version of it may no longer work, so please update it.";
        },
        [](const Cancelled&) { return std::string{"The transcription was cancelled."}; });
}

DownloadError downloadFailure(const std::string& message, int status) {
    // The first row that fits decides.
    constexpr struct {
        const char* phrase;
        Refusal kind;
    } known[] = {
        {"Private video", Refusal::isPrivate},
        {"members-only", Refusal::isPrivate},
        {"Join this channel", Refusal::isPrivate},
        {"Sign in to confirm", Refusal::signInNeeded},
        {"available in your country", Refusal::notInThisCountry},
        {"HTTP Error 429", Refusal::tooManyRequests},
        {"Video unavailable", Refusal::unavailable},
        {"This video has been removed", Refusal::unavailable},
        {"Incomplete YouTube ID", Refusal::unavailable},
        {"Requested format is not available", Refusal::noAudio},
        {"Unable to download", Refusal::network},
        {"Tunnel connection failed", Refusal::network},
    };
    for (const auto& row : known) {
        if (message.contains(row.phrase)) return {DownloadError::Refused{row.kind}};
    }
    // No extractor for single videos accepts the link.
    if (message.contains("Unsupported URL") || message.contains("No suitable extractor")) {
        return {DownloadError::NotOneFinishedVideo{}};
    }
    return {DownloadError::Failed{status}};
}

} // namespace vostel_companion
