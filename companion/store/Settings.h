// What the user allows.
#pragma once

#include "companion/store/Database.h"

namespace vostel_companion {

struct Settings {
    /// Whether AI clients may read the history, the transcripts and the recordings. Off until the user turns it on.
    bool isReadingAllowed = false;

    bool operator==(const Settings&) const = default;
};

[[nodiscard]] std::expected<Settings, DatabaseError> loadSettings(Database& database);
[[nodiscard]] std::expected<void, DatabaseError> saveSettings(Database& database, const Settings& settings);

} // namespace vostel_companion
