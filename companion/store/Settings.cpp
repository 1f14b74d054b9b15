#include "companion/store/Settings.h"

namespace vostel_companion {

std::expected<Settings, DatabaseError> loadSettings(Database& database) {
    Statement select{database, "SELECT reading FROM settings WHERE id = 1"};
    const auto found = select.first([](const Statement& row) { return Settings{row.boolean(0)}; });
    if (!found) return std::unexpected(found.error());
    return found->value_or(Settings{});
}

std::expected<void, DatabaseError> saveSettings(Database& database, const Settings& settings) {
    Statement insert{database, "INSERT INTO settings (id, reading) VALUES (1, ?) "
                               "ON CONFLICT (id) DO UPDATE SET reading = excluded.reading"};
    return insert.bind(settings.isReadingAllowed).run();
}

} // namespace vostel_companion
