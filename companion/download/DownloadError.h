// Why a link gave no audio.
#pragma once

#include "posix/SystemError.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <variant>

namespace vostel_companion {

struct DownloadError {
    /// yt-dlp is in none of the folders that were searched.
    struct DownloaderMissing {
        bool operator==(const DownloaderMissing&) const = default;
    };
    struct TooLarge {
        std::uintmax_t limit = 0;
        bool operator==(const TooLarge&) const = default;
    };
    struct TookTooLong {
        std::chrono::minutes limit{0};
        bool operator==(const TookTooLong&) const = default;
    };
    /// A playlist, a channel, a live stream or something longer than a day. Nothing was fetched.
    struct NotOneFinishedVideo {
        bool operator==(const NotOneFinishedVideo&) const = default;
    };
    /// yt-dlp gave a reason that we know.
    struct Refused {
        enum class Kind { unavailable, isPrivate, signInNeeded, notInThisCountry, tooManyRequests, noAudio, network };
        Kind kind = Kind::unavailable;
        bool operator==(const Refused&) const = default;
    };
    /// The exit status of yt-dlp, or minus the signal that ended it.
    struct Failed {
        int status = 0;
        bool operator==(const Failed&) const = default;
    };
    struct Cancelled {
        bool operator==(const Cancelled&) const = default;
    };

    std::variant<DownloaderMissing, posix::SystemError, TooLarge, TookTooLong, NotOneFinishedVideo, Refused, Failed,
                 Cancelled>
        is;

    /// One sentence for the user.
    [[nodiscard]] std::string description() const;

    bool operator==(const DownloadError&) const = default;
};

/// The error for a message of yt-dlp. A message that we do not know gives `Failed`. Deliberate: the message itself is
/// not passed on. It may repeat text of the page, which could contain instructions for the AI client's model.
[[nodiscard]] DownloadError downloadFailure(const std::string& message, int status);

} // namespace vostel_companion
