// Why a speech recognition model could not be listed, installed or removed.
#pragma once

#include "posix/SystemError.h"

#include <string>
#include <variant>

namespace vostel_companion {

struct ModelError {
    /// The catalogue file is invalid. `reason` is a clause.
    struct BadCatalogue {
        std::string path;
        std::string reason;
        bool operator==(const BadCatalogue&) const = default;
    };
    /// Neither in the catalogue nor installed. The identifier is the caller's own and is not repeated.
    struct Unknown {
        bool operator==(const Unknown&) const = default;
    };
    /// The model belongs to a system package. Only the package manager may remove it.
    struct BelongsToSystem {
        std::string identifier;
        bool operator==(const BelongsToSystem&) const = default;
    };
    /// The system's package with the model is missing.
    struct PackageMissing {
        std::string identifier;
        std::string package;
        bool operator==(const PackageMissing&) const = default;
    };
    /// The source contains something other than plain files and folders, or a name that a checksum list cannot contain.
    struct BadSource {
        std::string path;
        std::string reason;
        bool operator==(const BadSource&) const = default;
    };
    /// `reason` is a clause.
    struct DownloadFailed {
        std::string identifier;
        std::string link;
        std::string reason;
        bool operator==(const DownloadFailed&) const = default;
    };
    /// Another process downloads the model.
    struct BeingDownloaded {
        std::string identifier;
        bool operator==(const BeingDownloaded&) const = default;
    };
    /// The copy differs from what the catalogue describes.
    struct WrongChecksum {
        std::string identifier;
        std::string expected;
        std::string found;
        bool operator==(const WrongChecksum&) const = default;
    };
    struct Cancelled {
        bool operator==(const Cancelled&) const = default;
    };

    std::variant<BadCatalogue, Unknown, BelongsToSystem, PackageMissing, BadSource, DownloadFailed, BeingDownloaded,
                 WrongChecksum, Cancelled, posix::SystemError>
        is;

    /// One full sentence for the user.
    [[nodiscard]] std::string description() const;

    bool operator==(const ModelError&) const = default;
};

} // namespace vostel_companion
