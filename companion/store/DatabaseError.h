// A failure of the companion's database.
#pragma once

#include "kit/support/PosixError.h"

#include <string>
#include <variant>

namespace vostel_companion {

struct DatabaseError {
    /// SQLite failed: its extended result code and message (disk full, busy for too long, read-only, ...).
    struct Refused {
        int code = 0;
        std::string reason;
        bool operator==(const Refused&) const = default;
    };
    /// The file is damaged. It is not changed.
    struct Damaged {
        std::string path;
        std::string reason;
        bool operator==(const Damaged&) const = default;
    };
    /// Written by a later release. This one could damage its data.
    struct NewerSchema {
        std::string path;
        int found = 0;
        int known = 0;
        bool operator==(const NewerSchema&) const = default;
    };
    /// An intact database of another application.
    struct Foreign {
        std::string path;
        bool operator==(const Foreign&) const = default;
    };
    /// The file could not be created or opened.
    struct Inaccessible {
        std::string path;
        VostelMCPKit::PosixError reason;
        bool operator==(const Inaccessible&) const = default;
    };

    std::variant<Refused, Damaged, NewerSchema, Foreign, Inaccessible> is;

    /// One full sentence for the user.
    [[nodiscard]] std::string description() const;

    bool operator==(const DatabaseError&) const = default;
};

} // namespace vostel_companion
