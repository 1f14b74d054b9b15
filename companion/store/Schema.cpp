#include "companion/store/Schema.h"

#include "posix/FileLock.h"

#include <array>
#include <optional>

namespace vostel_companion {

namespace {

/// Marks the file as ours ("Vstl").
constexpr std::int64_t applicationID = 0x5673746C;

// Dates are milliseconds since 1970 UTC. Durations are seconds. What the lists show (counts, previews) is stored with
// the text, so that listing never reads whole transcripts. Long texts are last in their rows for the same reason.
constexpr const char* firstSchema = R"sql(
CREATE TABLE settings (
    id INTEGER PRIMARY KEY CHECK (id = 1),
    reading INTEGER NOT NULL CHECK (reading IN (0, 1))
) STRICT;
INSERT INTO settings (id, reading) VALUES (1, 0);

CREATE TABLE vocabulary (
    key TEXT NOT NULL PRIMARY KEY,
    word TEXT NOT NULL,
    replacement TEXT NOT NULL
) STRICT, WITHOUT ROWID;

CREATE TABLE dictations (
    id INTEGER PRIMARY KEY,
    date INTEGER NOT NULL,
    outcome TEXT NOT NULL CHECK (outcome IN ('delivered', 'notDelivered', 'pending')),
    failureReason TEXT CHECK (failureReason IS NULL OR outcome = 'notDelivered'),
    targetApplication TEXT,
    duration REAL,
    text TEXT NOT NULL
) STRICT;
CREATE INDEX dictationsByDate ON dictations (date);

CREATE TABLE transcripts (
    number INTEGER PRIMARY KEY,
    id TEXT NOT NULL UNIQUE,
    date INTEGER NOT NULL,
    sourceKind TEXT NOT NULL CHECK (sourceKind IN ('file', 'link')),
    sourceValue TEXT NOT NULL,
    duration REAL,
    language TEXT,
    characterCount INTEGER NOT NULL,
    preview TEXT NOT NULL,
    text TEXT NOT NULL
) STRICT;
CREATE INDEX transcriptsByDate ON transcripts (date);

CREATE TABLE transcriptSegments (
    transcript INTEGER NOT NULL REFERENCES transcripts (number) ON DELETE CASCADE,
    position INTEGER NOT NULL,
    startTime REAL NOT NULL,
    endTime REAL NOT NULL,
    text TEXT NOT NULL,
    PRIMARY KEY (transcript, position)
) STRICT, WITHOUT ROWID;

CREATE TABLE recordings (
    number INTEGER PRIMARY KEY,
    id TEXT NOT NULL UNIQUE,
    date INTEGER NOT NULL,
    duration REAL,
    state TEXT NOT NULL CHECK (state IN ('recording', 'transcribing', 'ready', 'failed')),
    failureReason TEXT CHECK (failureReason IS NULL OR state = 'failed'),
    progress REAL CHECK (progress IS NULL OR (state = 'transcribing' AND progress BETWEEN 0 AND 1)),
    language TEXT,
    lineCount INTEGER NOT NULL,
    preview TEXT NOT NULL
) STRICT;
CREATE INDEX recordingsByDate ON recordings (date);

CREATE TABLE recordingLines (
    recording INTEGER NOT NULL REFERENCES recordings (number) ON DELETE CASCADE,
    position INTEGER NOT NULL,
    track TEXT NOT NULL CHECK (track IN ('microphone', 'system')),
    speaker TEXT NOT NULL,
    startTime REAL NOT NULL,
    endTime REAL NOT NULL,
    text TEXT NOT NULL,
    PRIMARY KEY (recording, position)
) STRICT, WITHOUT ROWID;

CREATE TABLE confirmations (
    id TEXT NOT NULL PRIMARY KEY,
    tool TEXT NOT NULL,
    argumentsKey TEXT NOT NULL,
    createdAt INTEGER NOT NULL,
    ttl REAL NOT NULL,
    decision TEXT CHECK (decision IN ('confirmed', 'denied')),
    isPerformed INTEGER NOT NULL DEFAULT 0 CHECK (isPerformed IN (0, 1)),
    UNIQUE (tool, argumentsKey)
) STRICT;

CREATE TABLE confirmationItems (
    confirmation TEXT NOT NULL REFERENCES confirmations (id) ON DELETE CASCADE,
    position INTEGER NOT NULL,
    item TEXT NOT NULL,
    removed TEXT,
    PRIMARY KEY (confirmation, position)
) STRICT, WITHOUT ROWID;
)sql";

// The client that asked, the time of the request on the steady clock, and when a client was first told the outcome.
constexpr const char* confirmationsForSeveralClients = R"sql(
ALTER TABLE confirmations ADD COLUMN client TEXT NOT NULL DEFAULT '';
ALTER TABLE confirmations ADD COLUMN madeAt INTEGER NOT NULL DEFAULT 0;
ALTER TABLE confirmations ADD COLUMN toldAt INTEGER;
)sql";

// Unlike a row number, an id is never used again. So a repeated command cannot delete another dictation.
constexpr const char* idsForDictations = R"sql(
ALTER TABLE dictations RENAME COLUMN id TO number;
ALTER TABLE dictations ADD COLUMN id TEXT NOT NULL DEFAULT '';
UPDATE dictations SET id = hex(randomblob(4)) || '-' || hex(randomblob(2)) || '-4' || substr(hex(randomblob(2)), 2) ||
    '-' || substr('89AB', 1 + (random() & 3), 1) || substr(hex(randomblob(2)), 2) || '-' || hex(randomblob(6));
CREATE UNIQUE INDEX dictationsByID ON dictations (id);
)sql";

// Written and read by SearchIndex alone.
constexpr const char* wordsToSearch = R"sql(
CREATE VIRTUAL TABLE searchIndex USING fts5(text, tokenize = 'unicode61 remove_diacritics 2');
INSERT INTO searchIndex (rowid, text) SELECT 4 * number, text FROM transcripts;
INSERT INTO searchIndex (rowid, text) SELECT 4 * number + 1, (
    SELECT group_concat(text, char(10)) FROM (
        SELECT text FROM recordingLines WHERE recording = number ORDER BY position
    )
) FROM recordings WHERE state = 'ready';
INSERT INTO searchIndex (rowid, text) SELECT 4 * number + 2, text FROM dictations;
)sql";

constexpr std::array<const char*, 4> migrations = {firstSchema, confirmationsForSeveralClients, idsForDictations,
                                                   wordsToSearch};

std::expected<std::int64_t, DatabaseError> readInteger(Database& database, const char* sql) {
    Statement statement{database, sql};
    auto value = statement.first([](const Statement& row) { return row.integer(0); });
    if (!value) return std::unexpected(std::move(value.error()));
    return value->value_or(0);
}

/// The version of the schema, 0 for a new file. An error if this release must not change the file.
std::expected<std::size_t, DatabaseError> findVersion(Database& database, Migrations known) {
    const auto found = readInteger(database, "PRAGMA user_version");
    if (!found) return std::unexpected(found.error());
    const auto owner = readInteger(database, "PRAGMA application_id");
    if (!owner) return std::unexpected(owner.error());
    const auto tables = readInteger(database, "SELECT count(*) FROM sqlite_schema");
    if (!tables) return std::unexpected(tables.error());

    const bool isNew = *owner == 0 && *found == 0 && *tables == 0;
    if (!isNew && *owner != applicationID) {
        return std::unexpected(DatabaseError{DatabaseError::Foreign{database.path()}});
    }
    if (*found < 0) {
        return std::unexpected(
            DatabaseError{DatabaseError::Damaged{database.path(), "its schema version is negative"}});
    }
    if (*found > static_cast<std::int64_t>(known.size())) {
        return std::unexpected(DatabaseError{
            DatabaseError::NewerSchema{database.path(), static_cast<int>(*found), static_cast<int>(known.size())}});
    }
    return static_cast<std::size_t>(*found);
}

std::expected<void, DatabaseError> applyMissing(Database& database, Migrations known) {
    const auto version = findVersion(database, known);
    if (!version) return std::unexpected(version.error());
    for (const char* const migration : known.subspan(*version)) {
        if (auto done = database.execute(migration); !done) return done;
    }
    // Pragmas take no parameters.
    const std::string marks = "PRAGMA application_id = " + std::to_string(applicationID) +
                              "; PRAGMA user_version = " + std::to_string(known.size());
    return database.execute(marks.c_str());
}

} // namespace

Migrations schemaMigrations() { return migrations; }

std::expected<void, DatabaseError> migrate(Database& database, Migrations known) {
    const auto version = findVersion(database, known);
    if (!version) return std::unexpected(version.error());
    if (*version == known.size()) return {};
    // Checked again inside the transaction, because another process may have been faster.
    return inTransaction(database, Transaction::Kind::writing, [&] { return applyMissing(database, known); });
}

std::expected<Database, DatabaseError> openStore(const std::string& path) {
    // One process at a time: a file that another process is creating looks damaged or foreign, and SQLite does not wait
    // for others when it changes the journal mode.
    std::optional<posix::FileLock> opening;
    if (path != Database::inMemory) {
        auto lock = posix::FileLock::acquire(path + "-lock", posix::FileLock::IfMissing::create);
        if (!lock) return std::unexpected(DatabaseError{DatabaseError::Inaccessible{path, lock.error().reason}});
        opening = *std::move(lock);
    }
    auto database = Database::open(path);
    if (!database) return database;
    if (auto done = migrate(*database, schemaMigrations()); !done) return std::unexpected(std::move(done.error()));
    // Only after migrate, which has found that the file is ours: the mode is written into the file.
    if (auto set = database->execute("PRAGMA journal_mode = WAL"); !set) {
        return std::unexpected(std::move(set.error()));
    }
    return database;
}

std::expected<void, DatabaseError> checkIntegrity(Database& database) {
    Statement check{database, "PRAGMA quick_check(1)"};
    auto report = check.first([](const Statement& row) { return row.text(0); });
    if (!report) return std::unexpected(std::move(report.error()));
    if (const std::string reason = report->value_or("no answer"); reason != "ok") {
        return std::unexpected(DatabaseError{DatabaseError::Damaged{database.path(), reason}});
    }
    return {};
}

} // namespace vostel_companion
