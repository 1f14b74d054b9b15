#include "companion/store/Database.h"
#include "companion/store/Settings.h"
#include "tests/companion/store/StoreFixture.h"
#include "tests/support/endForkedProcess.h"

#include <cerrno>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>

namespace vostel_companion {

namespace {

using vostel_tests::endForkedProcess;
using namespace std::chrono_literals;

Database openEmpty() {
    auto database = Database::open(":memory:");
    EXPECT_TRUE(database.has_value());
    return *std::move(database);
}

std::expected<int, DatabaseError> countRows(Database& database) {
    Statement count{database, "SELECT count(*) FROM numbers"};
    auto found = count.first([](const Statement& row) { return static_cast<int>(row.integer(0)); });
    if (!found) return std::unexpected(found.error());
    return found->value_or(-1);
}

} // namespace

TEST(Database, each_commit_flushes_the_cache_of_the_disk) {
    Database database = openEmpty();
    for (const char* setting : {"PRAGMA fullfsync", "PRAGMA checkpoint_fullfsync"}) {
        Statement select{database, setting};
        ASSERT_EQ(select.step(), true) << setting;
        EXPECT_EQ(select.integer(0), 1) << setting;
    }
}

TEST(Database, every_kind_of_value_is_read_as_it_was_bound) {
    Database database = openEmpty();
    Statement select{database, "SELECT ?, ?, ?, ?, ?, ?, ?, ?"};
    const std::string withNul{"a\0b", 3};
    select.bind(std::int64_t{-5}, 2.5, withNul, true, at(1234), Seconds{1.5}, std::optional<std::string>{},
                std::string_view{});
    const auto row = select.step();
    ASSERT_EQ(row, true);
    EXPECT_EQ(select.integer(0), -5);
    EXPECT_EQ(select.real(1), 2.5);
    EXPECT_EQ(select.text(2), withNul);
    EXPECT_TRUE(select.boolean(3));
    EXPECT_EQ(select.timestamp(4), at(1234));
    EXPECT_EQ(select.seconds(5), Seconds{1.5});
    EXPECT_EQ(select.optionalText(6), std::nullopt);
    EXPECT_EQ(select.optionalText(7), "");
    EXPECT_EQ(select.step(), false);
}

TEST(Database, a_statement_runs_again_with_other_values) {
    Database database = openEmpty();
    ASSERT_TRUE(database.execute("CREATE TABLE numbers (value INTEGER) STRICT"));
    Statement insert{database, "INSERT INTO numbers VALUES (?)"};
    ASSERT_TRUE(insert.bind(1).run());
    ASSERT_TRUE(insert.bind(2).run());
    EXPECT_EQ(countRows(database), 2);
    EXPECT_EQ(database.changes(), 1);
}

TEST(Database, a_bad_statement_is_an_error_of_its_run) {
    Database database = openEmpty();
    Statement bad{database, "SELEKT ?"};
    const auto done = bad.bind(1).run();
    ASSERT_FALSE(done);
    const auto* const refused = std::get_if<DatabaseError::Refused>(&done.error().is);
    ASSERT_NE(refused, nullptr);
    EXPECT_EQ(refused->code, SQLITE_ERROR);
    EXPECT_EQ(done.error().description(), "Vostel's database could not be used: near \"SELEKT\": syntax error.");
}

TEST(Database, too_many_values_are_an_error_of_the_run) {
    Database database = openEmpty();
    Statement select{database, "SELECT ?"};
    EXPECT_FALSE(select.bind(1, 2).run());
}

TEST(Database, a_value_of_the_wrong_type_is_refused_by_its_column) {
    Database database = openEmpty();
    ASSERT_TRUE(database.execute("CREATE TABLE numbers (value INTEGER) STRICT"));
    Statement insert{database, "INSERT INTO numbers VALUES (?)"};
    EXPECT_FALSE(insert.bind("three").run());
}

TEST(Database, a_transaction_whose_work_fails_leaves_nothing) {
    Database database = openEmpty();
    ASSERT_TRUE(database.execute("CREATE TABLE numbers (value INTEGER) STRICT"));
    const auto done = inTransaction(database, Transaction::Kind::writing, [&]() -> std::expected<void, DatabaseError> {
        if (auto inserted = database.execute("INSERT INTO numbers VALUES (1)"); !inserted) return inserted;
        return database.execute("INSERT INTO nothing VALUES (1)");
    });
    EXPECT_FALSE(done);
    EXPECT_FALSE(database.isInTransaction());
    EXPECT_EQ(countRows(database), 0);
}

TEST(Database, an_inner_transaction_is_part_of_the_outer_one) {
    Database database = openEmpty();
    ASSERT_TRUE(database.execute("CREATE TABLE numbers (value INTEGER) STRICT"));
    const auto insert = [&] { return database.execute("INSERT INTO numbers VALUES (1)"); };
    const auto outer = inTransaction(database, Transaction::Kind::writing, [&]() -> std::expected<void, DatabaseError> {
        if (auto inner = inTransaction(database, Transaction::Kind::writing, insert); !inner) return inner;
        EXPECT_TRUE(database.isInTransaction());
        return database.execute("INSERT INTO nothing VALUES (1)");
    });
    EXPECT_FALSE(outer);
    EXPECT_EQ(countRows(database), 0);
}

TEST(Database, a_reference_to_nothing_is_refused) {
    Database database = openEmpty();
    ASSERT_TRUE(database.execute("CREATE TABLE parents (id INTEGER PRIMARY KEY) STRICT;"
                                 "CREATE TABLE numbers (value INTEGER REFERENCES parents (id)) STRICT"));
    EXPECT_FALSE(database.execute("INSERT INTO numbers VALUES (7)"));
}

TEST(Database, a_new_file_is_for_its_owner_alone_and_so_are_its_logs) {
    const StoreFolder folder;
    const std::string path = folder / "store.sqlite";
    auto database = openStore(path);
    ASSERT_TRUE(database && database->execute("CREATE TABLE numbers (value INTEGER)"));
    for (const char* const suffix : {"", "-wal", "-shm"}) {
        SCOPED_TRACE(suffix);
        struct stat file{};
        ASSERT_EQ(::stat((path + suffix).c_str(), &file), 0);
        EXPECT_EQ(file.st_mode & 0777U, 0600U);
    }
}

TEST(Database, a_missing_folder_is_reported) {
    const StoreFolder folder;
    const std::string path = folder / "no/such/store.sqlite";
    const auto database = Database::open(path);
    ASSERT_FALSE(database);
    EXPECT_EQ(database.error(), (DatabaseError{DatabaseError::Inaccessible{path, {ENOENT}}}));
    EXPECT_EQ(database.error().description(),
              "Vostel's database " + path + " could not be opened: No such file or directory.");
}

TEST(Database, two_connections_see_each_others_commits) {
    const StoreFolder folder;
    auto first = openStore(folder / "store.sqlite");
    auto second = openStore(folder / "store.sqlite");
    ASSERT_TRUE(first && second);
    ASSERT_TRUE(first->execute("CREATE TABLE numbers (value INTEGER) STRICT; INSERT INTO numbers VALUES (1)"));
    EXPECT_EQ(countRows(*second), 1);
}

TEST(Database, a_reading_transaction_keeps_its_view_while_others_write) {
    const StoreFolder folder;
    auto reader = openStore(folder / "store.sqlite");
    auto writer = openStore(folder / "store.sqlite");
    ASSERT_TRUE(reader && writer);
    ASSERT_TRUE(writer->execute("CREATE TABLE numbers (value INTEGER) STRICT"));
    const auto seen = inTransaction(*reader, Transaction::Kind::reading, [&]() -> std::expected<int, DatabaseError> {
        EXPECT_EQ(countRows(*reader), 0);
        EXPECT_TRUE(writer->execute("INSERT INTO numbers VALUES (1)"));
        return countRows(*reader);
    });
    EXPECT_EQ(seen, 0);
    EXPECT_EQ(countRows(*reader), 1);
}

TEST(Database, another_process_does_not_delete_the_log_while_a_connection_is_open_here) {
    const StoreFolder folder;
    const std::string path = folder / "Vostel.sqlite";
    const auto addRow = [&] {
        auto database = openStore(path);
        return database && database->execute("INSERT INTO vocabulary VALUES (hex(randomblob(8)), 'a', 'b')");
    };
    // The fork comes before the database is opened, because SQLite's state does not survive a fork.
    int asked[2];
    int answered[2];
    ASSERT_EQ(::pipe(asked), 0);
    ASSERT_EQ(::pipe(answered), 0);
    const pid_t other = ::fork();
    if (other == 0) {
        ::close(asked[1]);
        for (char word = 0; ::read(asked[0], &word, 1) == 1;) {
            word = addRow() ? 'y' : 'n';
            if (::write(answered[1], &word, 1) != 1) break;
        }
        endForkedProcess(0);
    }

    auto staying = openStore(path);
    ASSERT_TRUE(staying);
    ASSERT_TRUE(loadSettings(*staying)) << "the log is open from the first use on";
    for (std::int64_t round = 1; round <= 3; ++round) {
        ASSERT_TRUE(addRow());
        char word = '?';
        ASSERT_EQ(::write(asked[1], &word, 1), 1);
        ASSERT_EQ(::read(answered[0], &word, 1), 1);
        EXPECT_EQ(word, 'y');
        EXPECT_TRUE(std::filesystem::exists(path + "-wal")) << "the other process was not the last one";
        Statement select{*staying, "SELECT count(*) FROM vocabulary"};
        EXPECT_EQ(select.first([](const Statement& row) { return row.integer(0); }), 2 * round);
    }
    for (const int end : {asked[0], asked[1], answered[0], answered[1]}) ::close(end);
    EXPECT_EQ(::waitpid(other, nullptr, 0), other);
}

} // namespace vostel_companion
