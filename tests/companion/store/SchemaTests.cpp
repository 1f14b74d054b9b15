#include "companion/store/Dictations.h"
#include "companion/store/Schema.h"
#include "companion/store/SearchIndex.h"
#include "companion/store/Transcripts.h"
#include "tests/companion/store/StoreFixture.h"
#include "tests/support/Table.h"
#include "tests/support/endForkedProcess.h"

#include <array>
#include <cstdio>
#include <sys/wait.h>
#include <unistd.h>

namespace vostel_companion {

namespace {

using vostel_tests::endForkedProcess;

std::string readOne(Database& database, std::string_view sql) {
    Statement select{database, sql};
    const auto found = select.first([](const Statement& row) { return row.text(0); });
    return found ? found->value_or("nothing") : found.error().description();
}

bool isDamaged(const DatabaseError& error) { return std::holds_alternative<DatabaseError::Damaged>(error.is); }

/// Makes an intact store with many pages.
void fillStore(const std::string& path) {
    auto database = openStore(path);
    ASSERT_TRUE(database);
    Transcripts transcripts{*database};
    for (std::uint8_t number = 0; number < 40; ++number) {
        ASSERT_TRUE(transcripts.add(uuid(number), {at(number), {}, {}, {}, std::string(3000, 'x'), {}}));
    }
}

} // namespace

TEST(Schema, a_new_database_has_the_last_version_and_our_mark) {
    Database database = openInMemory();
    EXPECT_EQ(readOne(database, "PRAGMA user_version"), std::to_string(schemaMigrations().size()));
    EXPECT_EQ(readOne(database, "PRAGMA application_id"), "1450407020");
    EXPECT_EQ(readOne(database, "PRAGMA foreign_keys"), "1");
    EXPECT_EQ(readOne(database, "PRAGMA synchronous"), "2");
}

TEST(Schema, a_file_uses_a_write_ahead_log) {
    const StoreFolder folder;
    auto database = openStore(folder / "store.sqlite");
    ASSERT_TRUE(database);
    EXPECT_EQ(readOne(*database, "PRAGMA journal_mode"), "wal");
}

TEST(Schema, every_table_is_strict) {
    Database database = openInMemory();
    EXPECT_EQ(readOne(database, "SELECT group_concat(name) FROM pragma_table_list WHERE schema = 'main' AND "
                                "type = 'table' AND NOT strict AND name NOT LIKE 'sqlite_%'"),
              "");
}

TEST(Schema, only_the_missing_migrations_run) {
    auto database = Database::open(":memory:");
    ASSERT_TRUE(database);
    const std::array one = {"CREATE TABLE first (value INTEGER)"};
    const std::array two = {"this one has run and is not run again", "CREATE TABLE second (value INTEGER)"};
    ASSERT_TRUE(migrate(*database, one));
    ASSERT_TRUE(migrate(*database, two));
    EXPECT_EQ(readOne(*database, "PRAGMA user_version"), "2");
    EXPECT_EQ(readOne(*database, "SELECT group_concat(name) FROM sqlite_schema"), "first,second");
}

TEST(Schema, a_migration_that_fails_leaves_the_database_as_it_was) {
    auto database = Database::open(":memory:");
    ASSERT_TRUE(database);
    const std::array one = {"CREATE TABLE first (value INTEGER)"};
    const std::array three = {one[0], "CREATE TABLE second (value INTEGER)", "nonsense"};
    ASSERT_TRUE(migrate(*database, one));
    EXPECT_FALSE(migrate(*database, three));
    EXPECT_EQ(readOne(*database, "PRAGMA user_version"), "1");
    EXPECT_EQ(readOne(*database, "SELECT group_concat(name) FROM sqlite_schema"), "first");
}

TEST(Schema, dictations_of_an_older_file_get_ids_of_their_own) {
    auto database = Database::open(":memory:");
    ASSERT_TRUE(database);
    ASSERT_TRUE(migrate(*database, schemaMigrations().first(2)));
    ASSERT_TRUE(database->execute("INSERT INTO dictations (id, date, outcome, text) VALUES (7, 1, 'pending', 'older'), "
                                  "(9, 2, 'delivered', 'newer')"));
    ASSERT_TRUE(migrate(*database, schemaMigrations()));

    const auto page = Dictations{*database}.list({});
    ASSERT_TRUE(page);
    ASSERT_EQ(page->totalCount, 2);
    const Dictation& newer = page->entries[0];
    const Dictation& older = page->entries[1];
    EXPECT_EQ(newer, (Dictation{newer.id, at(2), "newer", Dictation::Outcome::delivered, {}, {}, {}}));
    EXPECT_EQ(older, (Dictation{older.id, at(1), "older", Dictation::Outcome::pending, {}, {}, {}}));
    EXPECT_NE(older.id, newer.id);
    EXPECT_NE(older.id, VostelMCPKit::UUID{}) << "the text of the id is read as a UUID";
    EXPECT_EQ(VostelMCPKit::UUID::fromRandom(older.id.bytes), older.id) << "it has the version and the variant of ours";
    EXPECT_EQ(Dictations{*database}.find(older.id).value(), std::optional{older});
}

TEST(Schema, the_texts_of_an_older_file_can_be_searched) {
    auto database = Database::open(":memory:");
    ASSERT_TRUE(database);
    ASSERT_TRUE(migrate(*database, schemaMigrations().first(3)));
    const std::string older =
        "INSERT INTO transcripts (number, id, date, sourceKind, sourceValue, characterCount, preview, text) "
        "VALUES (5, '" +
        uuid(1).text() +
        "', 1, 'link', 'https://youtu.be/x', 3, 'boat', 'the boat');"
        "INSERT INTO dictations (number, id, date, outcome, text) VALUES (5, '" +
        uuid(2).text() +
        "', 2, 'pending', 'a boat');"
        "INSERT INTO recordings (number, id, date, state, lineCount, preview) VALUES (5, '" +
        uuid(3).text() + "', 3, 'ready', 2, ''), (6, '" + uuid(4).text() +
        "', 4, 'recording', 0, '');"
        "INSERT INTO recordingLines (recording, position, track, speaker, startTime, endTime, text) "
        "VALUES (5, 1, 'system', 'Them', 1, 2, 'boat there'), (5, 0, 'microphone', 'Me', 0, 1, 'is a')";
    ASSERT_TRUE(database->execute(older.c_str()));
    ASSERT_TRUE(migrate(*database, schemaMigrations()));

    const std::string word = "boat";
    const auto found = SearchIndex{*database}.find({&word, 1}, {});
    ASSERT_TRUE(found) << found.error().description();
    const TranscriptSource link{TranscriptSource::Kind::link, "https://youtu.be/x"};
    EXPECT_EQ(*found, (Page<SearchHit>{{{SearchHit::Kind::recording, uuid(3), at(3), {}, "is a\nboat there"},
                                        {SearchHit::Kind::dictation, uuid(2), at(2), {}, "a boat"},
                                        {SearchHit::Kind::transcript, uuid(1), at(1), link, "the boat"}},
                                       3}));
}

TEST(Schema, a_newer_schema_is_refused_and_not_changed) {
    const StoreFolder folder;
    const std::string path = folder / "store.sqlite";
    {
        auto database = openStore(path);
        ASSERT_TRUE(database);
        ASSERT_TRUE(database->execute("PRAGMA user_version = 99"));
    }
    const std::string before = readFile(path);
    const auto refused = openStore(path);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().description(), "Vostel's database " + path +
                                                 " was written by a newer version of Vostel (schema 99, this version "
                                                 "knows 4); please update Vostel.");
    EXPECT_EQ(readFile(path), before);
}

TEST(Schema, another_applications_database_is_refused_and_not_changed) {
    struct Row {
        const char* when;
        const char* sql;
    };
    const Row rows[] = {
        {"it has tables and no mark", "CREATE TABLE photos (name TEXT)"},
        {"it has a mark of its own", "PRAGMA application_id = 7"},
        {"it has a version of its own", "PRAGMA user_version = 1"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        const StoreFolder folder;
        const std::string path = folder / "store.sqlite";
        {
            auto other = Database::open(path);
            ASSERT_TRUE(other && other->execute(row.sql));
        }
        const std::string before = readFile(path);
        const auto refused = openStore(path);
        ASSERT_FALSE(refused);
        EXPECT_EQ(refused.error(), (DatabaseError{DatabaseError::Foreign{path}}));
        EXPECT_EQ(refused.error().description(),
                  "The file " + path + " is a database of another application, so Vostel does not touch it.");
        EXPECT_EQ(readFile(path), before);
    });
}

TEST(Schema, a_file_that_is_not_a_database_is_reported_and_not_changed) {
    struct Row {
        const char* when;
        std::string content;
    };
    const Row rows[] = {
        {"a text", "A long text, " + std::string(2000, '.')},
        {"a short text", "hello"},
        {"zeros", std::string(8192, '\0')},
        {"only the beginning of a header", "SQLite format 3"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        const StoreFolder folder;
        const std::string path = folder / "store.sqlite";
        writeFile(path, row.content);
        const auto database = openStore(path);
        ASSERT_FALSE(database);
        EXPECT_TRUE(isDamaged(database.error())) << database.error().description();
        EXPECT_EQ(readFile(path), row.content);
    });
}

TEST(Schema, a_damaged_file_is_reported) {
    struct Row {
        const char* when;
        void (*damage)(std::string& content);
    };
    const Row rows[] = {
        {"its second half is missing", [](std::string& content) { content.resize(content.size() / 2); }},
        {"its header is overwritten", [](std::string& content) { content.replace(0, 100, 100, '\0'); }},
        {"its schema page is overwritten", [](std::string& content) { content.replace(100, 3996, 3996, '\xAA'); }},
        {"a page in the middle is overwritten",
         [](std::string& content) { content.replace(content.size() / 8192 * 4096, 4096, 4096, '\xAA'); }},
    };
    const StoreFolder intact;
    ASSERT_NO_FATAL_FAILURE(fillStore(intact / "store.sqlite"));
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        const StoreFolder folder;
        const std::string path = folder / "store.sqlite";
        std::string content = readFile(intact / "store.sqlite");
        row.damage(content);
        writeFile(path, content);

        auto database = openStore(path);
        std::optional<DatabaseError> error;
        if (!database) {
            error = database.error();
        } else if (auto sound = checkIntegrity(*database); !sound) {
            error = sound.error();
        }
        ASSERT_TRUE(error);
        EXPECT_TRUE(isDamaged(*error)) << error->description();
        EXPECT_EQ(readFile(path), content);
    });
}

TEST(Schema, an_intact_file_passes_the_check) {
    const StoreFolder folder;
    ASSERT_NO_FATAL_FAILURE(fillStore(folder / "store.sqlite"));
    auto database = openStore(folder / "store.sqlite");
    ASSERT_TRUE(database);
    EXPECT_TRUE(checkIntegrity(*database));
}

TEST(Schema, an_empty_file_beside_a_log_counts_as_damaged_and_the_log_stays) {
    const StoreFolder folder;
    const std::string path = folder / "store.sqlite";
    writeFile(path, "");
    writeFile(path + "-wal", "committed pages");
    const auto database = openStore(path);
    ASSERT_FALSE(database);
    EXPECT_TRUE(isDamaged(database.error()));
    EXPECT_EQ(readFile(path + "-wal"), "committed pages");
}

TEST(Schema, an_empty_file_alone_is_a_new_database) {
    const StoreFolder folder;
    writeFile(folder / "store.sqlite", "");
    EXPECT_TRUE(openStore(folder / "store.sqlite"));
}

TEST(Schema, processes_that_open_a_new_file_at_once_all_succeed) {
    const StoreFolder folder;
    for (int round = 0; round < 10; ++round) {
        const std::string path = folder / ("store" + std::to_string(round) + ".sqlite");
        std::vector<pid_t> children;
        for (int count = 0; count < 8; ++count) {
            const pid_t child = ::fork();
            ASSERT_GE(child, 0);
            if (child == 0) {
                const auto opened = openStore(path);
                if (!opened) std::fprintf(stderr, "%s\n", opened.error().description().c_str());
                endForkedProcess(opened ? 0 : 1);
            }
            children.push_back(child);
        }
        for (const pid_t child : children) {
            int status = 0;
            ASSERT_EQ(::waitpid(child, &status, 0), child);
            EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
        }
        auto database = openStore(path);
        ASSERT_TRUE(database);
        EXPECT_TRUE(checkIntegrity(*database));
    }
}

} // namespace vostel_companion
