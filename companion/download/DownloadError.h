// Why a link yielded no audio.
#pragma once

#include "posix/SystemError.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <variant>

namespace vostel_companion {

struct DownloadError {
    /// yt-dlp is nowhere in the PATH.
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
    /// A playlist, a channel, a live stream or something that runs for days: nothing was fetched.
    struct NotOneFinishedVideo {
        bool operator==(const NotOneFinishedVideo&) const = default;
    };
    /// yt-dlp said why, in one of the ways that we know.
    struct Refused {
        enum class Kind { unavailable, isPrivate, signInNeeded, notInThisCountry, tooManyRequests, noAudio, network };
        Kind kind = Kind::unavailable;
        bool operator==(const Refused&) const = default;
    };
    /// yt-dlp ended with this status, or was ended by the signal of its negative.
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

/// What yt-dlp's own message means, when that is known. Deliberate: the message itself goes no further. It repeats
/// what the page says, and a failure stands outside the fence that keeps other people's text from instructing a model.
[[nodiscard]] DownloadError downloadFailure(const std::string& message, int status);

} // namespace vostel_companion
