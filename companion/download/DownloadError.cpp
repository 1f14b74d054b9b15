#include "companion/download/DownloadError.h"

#include "kit/support/match.h"

namespace vostel_companion {

namespace {

using Kind = DownloadError::Refused::Kind;

const char* sentence(Kind kind) {
    switch (kind) {
    case Kind::unavailable:
        return "The video is not available.";
    case Kind::isPrivate:
        return "The video is private, or for members of its channel only.";
    case Kind::signInNeeded:
        return "YouTube shows the video only to signed-in users, and Vostel cannot sign in.";
    case Kind::notInThisCountry:
        return "The video is not available in this country.";
    case Kind::tooManyRequests:
        return "YouTube refuses further downloads from this network for now; please try again later.";
    case Kind::noAudio:
        return "The link has no audio that could be downloaded.";
    case Kind::network:
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
        Kind kind;
    } known[] = {
        {"Private video", Kind::isPrivate},
        {"members-only", Kind::isPrivate},
        {"Join this channel", Kind::isPrivate},
        {"Sign in to confirm", Kind::signInNeeded},
        {"available in your country", Kind::notInThisCountry},
        {"HTTP Error 429", Kind::tooManyRequests},
        {"Video unavailable", Kind::unavailable},
        {"This video has been removed", Kind::unavailable},
        {"Incomplete YouTube ID", Kind::unavailable},
        {"Requested format is not available", Kind::noAudio},
        {"Unable to download", Kind::network},
        {"Tunnel connection failed", Kind::network},
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
