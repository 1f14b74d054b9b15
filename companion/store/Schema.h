// The shape of the companion's database and how older files come to have it.
#pragma once

#include "companion/store/Database.h"

#include <span>

namespace vostel_companion {

/// The SQL that takes a database from one version of its schema to the next: the first one from nothing to version 1.
/// A released migration is never changed; a new one is put behind it.
using Migrations = std::span<const char* const>;

/// The migrations of this release.
[[nodiscard]] Migrations schemaMigrations();

/// Brings the database to the last version, in one transaction: it either has the new schema or is as it was. Refuses
/// a newer schema and another application's database; neither is changed.
[[nodiscard]] std::expected<void, DatabaseError> migrate(Database& database, Migrations migrations);

/// Opens the companion's database and brings it up to date. Meanwhile other openers wait, those in other processes
/// included; a file beside the database, named like it with "-lock" behind, holds them up.
[[nodiscard]] std::expected<Database, DatabaseError> openStore(const std::string& path);

/// Reads every page, which takes about a second for each 100 MB. For the start of a program that stays: a damaged file
/// is better found before much is written to it.
[[nodiscard]] std::expected<void, DatabaseError> checkIntegrity(Database& database);

} // namespace vostel_companion
