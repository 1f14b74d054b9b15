// Why a file gives no audio.
#pragma once

#include "kit/support/PosixError.h"

#include <chrono>
#include <string>
#include <variant>

namespace vostel_companion {

struct AudioError {
    struct Missing {
        bool operator==(const Missing&) const = default;
    };
    /// The user has no permission to read it.
    struct Forbidden {
        bool operator==(const Forbidden&) const = default;
    };
    struct Folder {
        bool operator==(const Folder&) const = default;
    };
    /// A device, a pipe or a socket. Reading one may block for ever or have side effects.
    struct NotARegularFile {
        bool operator==(const NotARegularFile&) const = default;
    };
    struct Empty {
        bool operator==(const Empty&) const = default;
    };
    /// The container or the codec is unknown, or the file is a playlist.
    struct NotAudio {
        bool operator==(const NotAudio&) const = default;
    };
    struct NoAudioTrack {
        bool operator==(const NoAudioTrack&) const = default;
    };
    struct Damaged {
        /// How much of the audio could be read.
        std::chrono::duration<double> after;
        bool operator==(const Damaged&) const = default;
    };
    struct TooLong {
        std::chrono::hours limit;
        bool operator==(const TooLong&) const = default;
    };
    /// The call was cancelled while the file was read.
    struct Cancelled {
        bool operator==(const Cancelled&) const = default;
    };

    std::variant<Missing, Forbidden, Folder, NotARegularFile, Empty, NotAudio, NoAudioTrack, Damaged, TooLong,
                 Cancelled, VostelMCPKit::PosixError>
        is;

    /// One sentence for the user about the file at `path`.
    [[nodiscard]] std::string description(const std::string& path) const;

    bool operator==(const AudioError&) const = default;
};

} // namespace vostel_companion
