// A thin layer over SQLite's C interface: one connection, its statements, its transactions.
//
// A commit is on the disk when it returns (write-ahead log, synchronous=FULL), so it survives a crash and a power cut.
// Several processes may use one file. Each waits up to five seconds for another's write.
#pragma once

#include "companion/store/DatabaseError.h"
#include "companion/support/Time.h"

#include <chrono>
#include <concepts>
#include <cstdint>
#include <expected>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace vostel_companion {

/// One connection, for one thread at a time.
class Database final {
public:
    struct Closer {
        void operator()(sqlite3* connection) const;
    };

    /// The path of a database in memory.
    static constexpr std::string_view inMemory = ":memory:";

    /// Opens the file at `path`. A missing file is created for its owner alone. A damaged file is an error and is not
    /// changed. The caller is responsible for the schema.
    [[nodiscard]] static std::expected<Database, DatabaseError> open(const std::string& path);

    [[nodiscard]] sqlite3* connection() const { return connection_.get(); }
    /// The last failure of this connection.
    [[nodiscard]] DatabaseError lastError() const;
    /// Rows changed by the last INSERT, UPDATE or DELETE.
    [[nodiscard]] std::int64_t changes() const;
    [[nodiscard]] std::int64_t lastInsertedRow() const;
    [[nodiscard]] bool isInTransaction() const;
    [[nodiscard]] const std::string& path() const { return path_; }

    /// Runs statements without parameters and without rows.
    [[nodiscard]] std::expected<void, DatabaseError> execute(const char* sql);

    // Movable, so that open() can return one.
    Database(Database&&) = default;
    Database& operator=(Database&&) = default;

private:
    Database(std::unique_ptr<sqlite3, Closer> connection, std::string path)
        : connection_{std::move(connection)}, path_{std::move(path)} {}

    std::unique_ptr<sqlite3, Closer> connection_;
    std::string path_;
};

/// Whether `path` leads to a file of the database at `database`, under any name. In a process that uses the database,
/// only SQLite may open such a file: closing any descriptor of it releases all locks of the process.
[[nodiscard]] bool isFileOfDatabase(const std::filesystem::path& path, const std::filesystem::path& database);

/// One prepared statement, for use in one scope. The first failure, such as a bad statement or value, is kept and
/// returned by the operation that runs the statement.
class Statement final {
public:
    /// `sql` must be one statement.
    Statement(Database& database, std::string_view sql);
    ~Statement();
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    /// Binds all parameters in order. Texts are copied. May be called again after a run.
    template <class... Values>
    Statement& bind(const Values&... values) {
        rewind();
        (bindNext(values), ...);
        return *this;
    }

    /// Moves to the next row. False after the last one.
    [[nodiscard]] std::expected<bool, DatabaseError> step();
    /// Runs to the end.
    [[nodiscard]] std::expected<void, DatabaseError> run();

    /// The result of `read` for each row.
    template <class Read>
    [[nodiscard]] auto all(Read read)
        -> std::expected<std::vector<std::invoke_result_t<Read, const Statement&>>, DatabaseError> {
        std::vector<std::invoke_result_t<Read, const Statement&>> rows;
        while (true) {
            auto row = step();
            if (!row) return std::unexpected(std::move(row.error()));
            if (!*row) return rows;
            rows.push_back(read(*this));
        }
    }
    /// The result of `read` for the first row, if there is one.
    template <class Read>
    [[nodiscard]] auto first(Read read)
        -> std::expected<std::optional<std::invoke_result_t<Read, const Statement&>>, DatabaseError> {
        auto row = step();
        if (!row) return std::unexpected(std::move(row.error()));
        if (!*row) return std::nullopt;
        return read(*this);
    }

    // The columns of the current row.
    [[nodiscard]] bool isNull(int column) const;
    [[nodiscard]] std::int64_t integer(int column) const;
    [[nodiscard]] double real(int column) const;
    [[nodiscard]] std::string text(int column) const;
    [[nodiscard]] bool boolean(int column) const { return integer(column) != 0; }
    [[nodiscard]] Timestamp timestamp(int column) const {
        return Timestamp{std::chrono::milliseconds{integer(column)}};
    }
    [[nodiscard]] Seconds seconds(int column) const { return Seconds{real(column)}; }
    [[nodiscard]] std::optional<std::string> optionalText(int column) const;
    [[nodiscard]] std::optional<double> optionalReal(int column) const;
    [[nodiscard]] std::optional<Seconds> optionalSeconds(int column) const;

private:
    void rewind();
    void bindNext(std::int64_t value);
    void bindNext(double value);
    void bindNext(std::string_view value);
    void bindNext(std::nullopt_t);
    void bindNext(const std::string& value) { bindNext(std::string_view{value}); }
    void bindNext(const char* value) { bindNext(std::string_view{value}); }
    void bindNext(std::same_as<bool> auto value) { bindNext(std::int64_t{value}); }
    void bindNext(std::same_as<int> auto value) { bindNext(std::int64_t{value}); }
    void bindNext(Timestamp value) { bindNext(std::int64_t{value.time_since_epoch().count()}); }
    void bindNext(Seconds value) { bindNext(value.count()); }
    template <class Value>
    void bindNext(const std::optional<Value>& value) {
        if (value) {
            bindNext(*value);
        } else {
            bindNext(std::nullopt);
        }
    }
    /// Keeps the first failure.
    void check(int code);

    Database& database_;
    sqlite3_stmt* statement_ = nullptr;
    int nextParameter_ = 1;
    std::optional<DatabaseError> failure_;
};

/// Rolls back unless it was committed. Inside another transaction it is a part of that one.
class Transaction final {
public:
    enum class Kind {
        /// A consistent view of the data for several reads.
        reading,
        /// Takes the write lock at once, so that data cannot change between reading and writing.
        writing
    };

    explicit Transaction(Database& database) : database_{database} {}
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    [[nodiscard]] std::expected<void, DatabaseError> begin(Kind kind);
    [[nodiscard]] std::expected<void, DatabaseError> commit();

private:
    Database& database_;
    bool isOutermost_ = false;
};

/// Runs `work` in a transaction and commits if it succeeded. `work` returns a std::expected with an error type that is
/// constructible from a DatabaseError.
template <class Work>
[[nodiscard]] auto inTransaction(Database& database, Transaction::Kind kind, Work work) -> std::invoke_result_t<Work> {
    Transaction transaction{database};
    if (auto begun = transaction.begin(kind); !begun) return std::unexpected(std::move(begun.error()));
    auto result = work();
    if (!result) return result;
    if (auto committed = transaction.commit(); !committed) return std::unexpected(std::move(committed.error()));
    return result;
}

} // namespace vostel_companion
