#include "companion/store/Database.h"

#include "posix/FileDescriptor.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cerrno>
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vostel_companion {

namespace {

constexpr std::chrono::milliseconds busyTimeout{5000};

DatabaseError makeError(int code, std::string reason, const std::string& path) {
    const int primary = code & 0xFF;
    if (primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB) {
        return {DatabaseError::Damaged{path, std::move(reason)}};
    }
    return {DatabaseError::Refused{code, std::move(reason)}};
}

std::unexpected<DatabaseError> inaccessible(const std::string& path, int errorNumber) {
    return std::unexpected(DatabaseError{DatabaseError::Inaccessible{path, {errorNumber}}});
}

/// Creates a missing file that only its owner may use. SQLite would use the process's umask. SQLite gives its log files
/// the mode of the database.
std::expected<void, DatabaseError> prepareFile(const std::string& path) {
    // Deliberate: never opens an existing file. Closing it would release the locks of this process's other connections.
    // Another process could then delete the log that they use.
    const posix::FileDescriptor created{::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600)};
    if (!created.isOpen() && errno != EEXIST) return inaccessible(path, errno);
    if (::access(path.c_str(), R_OK | W_OK) != 0) return inaccessible(path, errno);
    struct stat file{};
    const bool isEmpty = ::stat(path.c_str(), &file) == 0 && file.st_size == 0;

    // If the file is empty but its log is not: SQLite would treat the file as a new database and delete the log with
    // everything that was committed.
    struct stat log{};
    if (isEmpty && ::stat((path + "-wal").c_str(), &log) == 0 && log.st_size > 0) {
        return std::unexpected(DatabaseError{DatabaseError::Damaged{path, "it is empty, its log is not"}});
    }
    return {};
}

} // namespace

bool isFileOfDatabase(const std::filesystem::path& path, const std::filesystem::path& database) {
    return std::ranges::any_of(std::array{"", "-wal", "-shm"}, [&](const char* suffix) {
        std::error_code ignored;
        return std::filesystem::equivalent(path, database.string() + suffix, ignored);
    });
}

void Database::Closer::operator()(sqlite3* connection) const { sqlite3_close_v2(connection); }

std::expected<Database, DatabaseError> Database::open(const std::string& path) {
    if (path != inMemory) {
        if (auto prepared = prepareFile(path); !prepared) return std::unexpected(std::move(prepared.error()));
    }
    sqlite3* connection = nullptr;
    const int code = sqlite3_open_v2(path.c_str(), &connection, SQLITE_OPEN_READWRITE, nullptr);
    if (connection == nullptr) return std::unexpected(makeError(SQLITE_NOMEM, sqlite3_errstr(SQLITE_NOMEM), path));
    Database database{std::unique_ptr<sqlite3, Closer>{connection}, path};
    if (code != SQLITE_OK) return std::unexpected(database.lastError());

    sqlite3_extended_result_codes(connection, 1);
    sqlite3_busy_timeout(connection, static_cast<int>(busyTimeout.count()));
    sqlite3_db_config(connection, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    const char* const settings = "PRAGMA trusted_schema = OFF;"
                                 "PRAGMA cell_size_check = ON;"
                                 "PRAGMA foreign_keys = ON;"
                                 "PRAGMA synchronous = FULL;"
                                 // For macOS, where a plain flush leaves the data in the disk's cache.
                                 "PRAGMA fullfsync = ON;"
                                 "PRAGMA checkpoint_fullfsync = ON;";
    if (auto set = database.execute(settings); !set) return std::unexpected(std::move(set.error()));
    return database;
}

DatabaseError Database::lastError() const {
    return makeError(sqlite3_extended_errcode(connection()), sqlite3_errmsg(connection()), path_);
}

std::int64_t Database::changes() const { return sqlite3_changes64(connection()); }

std::int64_t Database::lastInsertedRow() const { return sqlite3_last_insert_rowid(connection()); }

bool Database::isInTransaction() const { return sqlite3_get_autocommit(connection()) == 0; }

std::expected<void, DatabaseError> Database::execute(const char* sql) {
    if (sqlite3_exec(connection(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) return std::unexpected(lastError());
    return {};
}

Statement::Statement(Database& database, std::string_view sql) : database_{database} {
    const char* tail = nullptr;
    check(sqlite3_prepare_v2(database.connection(), sql.data(), static_cast<int>(sql.size()), &statement_, &tail));
    assert(failure_ || tail == sql.data() + sql.size());
}

Statement::~Statement() { sqlite3_finalize(statement_); }

std::expected<bool, DatabaseError> Statement::step() {
    if (failure_) return std::unexpected(*failure_);
    const int code = sqlite3_step(statement_);
    if (code == SQLITE_ROW) return true;
    if (code == SQLITE_DONE) return false;
    failure_ = database_.lastError();
    return std::unexpected(*failure_);
}

std::expected<void, DatabaseError> Statement::run() {
    while (true) {
        auto row = step();
        if (!row) return std::unexpected(std::move(row.error()));
        if (!*row) return {};
    }
}

bool Statement::isNull(int column) const { return sqlite3_column_type(statement_, column) == SQLITE_NULL; }

std::int64_t Statement::integer(int column) const { return sqlite3_column_int64(statement_, column); }

double Statement::real(int column) const { return sqlite3_column_double(statement_, column); }

std::string Statement::text(int column) const {
    const auto* const bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
    if (bytes == nullptr) return {};
    return {bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))};
}

std::optional<std::string> Statement::optionalText(int column) const {
    if (isNull(column)) return std::nullopt;
    return text(column);
}

std::optional<double> Statement::optionalReal(int column) const {
    if (isNull(column)) return std::nullopt;
    return real(column);
}

std::optional<Seconds> Statement::optionalSeconds(int column) const {
    if (isNull(column)) return std::nullopt;
    return seconds(column);
}

void Statement::rewind() {
    nextParameter_ = 1;
    if (statement_ == nullptr) return;
    // The result of reset repeats the failure of the last run, which step() has returned already.
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
}

void Statement::bindNext(std::int64_t value) {
    if (statement_ != nullptr) check(sqlite3_bind_int64(statement_, nextParameter_++, value));
}

void Statement::bindNext(double value) {
    if (statement_ != nullptr) check(sqlite3_bind_double(statement_, nextParameter_++, value));
}

void Statement::bindNext(std::string_view value) {
    if (statement_ == nullptr) return;
    // A null pointer would bind NULL instead of the empty text.
    const char* const bytes = value.data() == nullptr ? "" : value.data();
    check(sqlite3_bind_text64(statement_, nextParameter_++, bytes, value.size(), SQLITE_TRANSIENT, SQLITE_UTF8));
}

void Statement::bindNext(std::nullopt_t) {
    if (statement_ != nullptr) check(sqlite3_bind_null(statement_, nextParameter_++));
}

void Statement::check(int code) {
    if (code != SQLITE_OK && !failure_) failure_ = database_.lastError();
}

Transaction::~Transaction() {
    if (isOutermost_ && database_.isInTransaction()) std::ignore = database_.execute("ROLLBACK");
}

std::expected<void, DatabaseError> Transaction::begin(Kind kind) {
    if (database_.isInTransaction()) return {};
    auto begun = database_.execute(kind == Kind::writing ? "BEGIN IMMEDIATE" : "BEGIN DEFERRED");
    isOutermost_ = begun.has_value();
    return begun;
}

std::expected<void, DatabaseError> Transaction::commit() {
    if (!isOutermost_) return {};
    return database_.execute("COMMIT");
}

} // namespace vostel_companion
