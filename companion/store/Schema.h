// The schema of the companion's database, and the migration of older files.
#pragma once

#include "companion/store/Database.h"

#include <span>

namespace vostel_companion {

/// The SQL that takes a database from each version of its schema to the next. The first one creates version 1. A
/// released migration is never changed; a new one is appended.
using Migrations = std::span<const char* const>;

/// The migrations of this release.
[[nodiscard]] Migrations schemaMigrations();

/// Brings the database to the last version in one transaction. A newer schema and another application's database are
/// errors and are not changed.
[[nodiscard]] std::expected<void, DatabaseError> migrate(Database& database, Migrations migrations);

/// Opens the companion's database and migrates it. Others that open it wait, also in other processes, on the lock of a
/// file beside the database. Its name is that of the database with "-lock" appended.
[[nodiscard]] std::expected<Database, DatabaseError> openStore(const std::string& path);

/// Reads every page, which takes about a second per 100 MB. For the start of the serving program, so that a damaged
/// file is found before much is written to it.
[[nodiscard]] std::expected<void, DatabaseError> checkIntegrity(Database& database);

} // namespace vostel_companion
