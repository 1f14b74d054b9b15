#include "companion/models/ModelStore.h"
#include "companion/models/SHA256.h"
#include "tests/companion/models/ModelFixture.h"
#include "tests/support/Table.h"

#include <cerrno>
#include <sys/stat.h>

namespace vostel_companion {

namespace fs = std::filesystem;

namespace {

std::string sentence(const std::expected<void, ModelError>& result) {
    return result ? "it succeeded" : result.error().description();
}

} // namespace

TEST(SHA256, digests_are_those_of_the_standard) {
    SHA256 nothing;
    EXPECT_EQ(nothing.finish(), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    SHA256 pieces;
    pieces.add("a");
    pieces.add("");
    pieces.add("bc");
    EXPECT_EQ(pieces.finish(), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST(ModelStore, the_systems_model_is_there_without_a_catalogue) {
    const ModelFixture fixture;
    fs::remove(fixture.folder / "models.json");
    EXPECT_EQ(fixture.models.list(), (std::vector<Model>{{"en-us", "English (United States)", "en", true}}));
    EXPECT_EQ(fixture.models.installedFolder("en-us"), fixture.folder / "system");
}

TEST(ModelStore, the_catalogue_follows_the_systems_model) {
    const ModelFixture fixture;
    EXPECT_EQ(fixture.models.list(),
              (std::vector<Model>{{"en-us", "English (United States)", "en", true}, {"de", "German", "de", false}}));
    EXPECT_EQ(fixture.models.installedFolder("de"), std::nullopt);
}

TEST(ModelStore, says_that_the_package_is_missing) {
    const ModelFixture fixture;
    fs::remove_all(fixture.folder / "system");
    EXPECT_FALSE(fixture.models.list()->front().isInstalled);
    EXPECT_EQ(sentence(fixture.models.install("en-us", {})),
              "The model en-us comes with the system package pocketsphinx-en-us, which is not installed.");
}

TEST(ModelStore, an_installed_model_is_a_copy_of_its_source) {
    const ModelFixture fixture;
    std::vector<double> fractions;
    ASSERT_EQ(sentence(fixture.models.install("de", {[&](double fraction) { fractions.push_back(fraction); }, {}})),
              "it succeeded");
    EXPECT_EQ(fixture.contents(), ModelFixture::whole);
    EXPECT_EQ(readFile(fixture.installed() / "a/one"), "abc");
    EXPECT_EQ(readFile(fixture.installed() / "b/my file"), "hello\n");
    EXPECT_EQ(fixture.models.installedFolder("de"), fixture.installed());
    EXPECT_TRUE(fixture.models.list()->back().isInstalled);
    EXPECT_EQ(fractions, (std::vector{3.0 / 9, 1.0}));
}

TEST(ModelStore, an_installed_model_is_for_its_owner_alone) {
    const ModelFixture fixture;
    ASSERT_TRUE(fixture.models.install("de", {}));
    for (const char* const name : {"models", "models/de", "models/de/a", "models/de/a/one"}) {
        SCOPED_TRACE(name);
        struct stat entry{};
        ASSERT_EQ(::stat((fixture.folder / name).c_str(), &entry), 0);
        EXPECT_EQ(entry.st_mode & 0077U, 0U);
    }
}

TEST(ModelStore, installing_again_does_not_change_the_model) {
    const ModelFixture fixture;
    ASSERT_TRUE(fixture.models.install("de", {}));
    fs::remove_all(fixture.folder / "german");
    EXPECT_TRUE(fixture.models.install("de", {}));
    EXPECT_TRUE(fixture.models.install("en-us", {}));
    EXPECT_EQ(fixture.contents(), ModelFixture::whole);
}

TEST(ModelStore, a_single_file_is_a_model_too) {
    const ModelFixture fixture;
    fs::remove_all(fixture.folder / "german");
    writeFile(fixture.folder / "german", "abc");
    fixture.writeCatalogue("BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD");
    ASSERT_EQ(sentence(fixture.models.install("de", {})), "it succeeded");
    EXPECT_EQ(fixture.contents(), (std::set<std::string>{".staging", "de", "de/german"}));
}

TEST(ModelStore, a_model_that_cannot_be_installed_leaves_nothing) {
    const std::string zeros(64, '0');
    struct Row {
        const char* when;
        void (*prepare)(const ModelFixture&);
        const char* begin;
    };
    const Row rows[] = {
        {"the checksum is another", [](const ModelFixture& fixture) { fixture.writeCatalogue(std::string(64, '0')); },
         "The model de was not installed, because its SHA-256 is "},
        {"a file has changed", [](const ModelFixture& fixture) { writeFile(fixture.folder / "german/a/one", "abd"); },
         "The model de was not installed, because its SHA-256 is "},
        {"there is a file too many",
         [](const ModelFixture& fixture) { writeFile(fixture.folder / "german/extra", ""); },
         "The model de was not installed, because its SHA-256 is "},
        {"the source is missing", [](const ModelFixture& fixture) { fs::remove_all(fixture.folder / "german"); },
         "Vostel could not read '"},
        {"the source is empty",
         [](const ModelFixture& fixture) {
             fs::remove_all(fixture.folder / "german");
             fs::create_directory(fixture.folder / "german");
         },
         "The model could not be copied from "},
        {"the source holds a link out of it",
         [](const ModelFixture& fixture) { fs::create_symlink("/etc/passwd", fixture.folder / "german/link"); },
         "The model could not be copied from "},
        {"the source holds a pipe",
         [](const ModelFixture& fixture) { ASSERT_EQ(::mkfifo((fixture.folder / "german/pipe").c_str(), 0600), 0); },
         "The model could not be copied from "},
        {"the source is a pipe",
         [](const ModelFixture& fixture) {
             fs::remove_all(fixture.folder / "german");
             ASSERT_EQ(::mkfifo((fixture.folder / "german").c_str(), 0600), 0);
         },
         "Vostel could not read '"},
        {"a name holds a line feed", [](const ModelFixture& fixture) { writeFile(fixture.folder / "german/a\nb", ""); },
         "The model could not be copied from "},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        const ModelFixture fixture;
        ASSERT_NO_FATAL_FAILURE(row.prepare(fixture));
        const auto installed = fixture.models.install("de", {});
        EXPECT_TRUE(sentence(installed).starts_with(row.begin)) << sentence(installed);
        EXPECT_EQ(fixture.contents(), std::set<std::string>{".staging"});
        EXPECT_EQ(fixture.models.installedFolder("de"), std::nullopt);
    });
}

TEST(ModelStore, a_wrong_checksum_names_both) {
    const ModelFixture fixture;
    fixture.writeCatalogue(std::string(64, '0'));
    EXPECT_EQ(sentence(fixture.models.install("de", {})), "The model de was not installed, because its SHA-256 is " +
                                                              std::string{ModelFixture::germanChecksum} + " and not " +
                                                              std::string(64, '0') + " as the catalogue says.");
}

TEST(ModelStore, an_unknown_identifier_is_refused_and_changes_nothing) {
    const ModelFixture fixture;
    for (const char* const identifier : {"fr", "", "..", "../german", "/etc", ".staging", "de/a"}) {
        SCOPED_TRACE(identifier);
        const std::string expected = "Vostel knows no speech recognition model with this identifier.";
        EXPECT_EQ(sentence(fixture.models.install(identifier, {})), expected);
        EXPECT_EQ(sentence(fixture.models.checkRemovable(identifier)), expected);
        EXPECT_EQ(fixture.models.takeAway(identifier, uuid(1)), false);
    }
    EXPECT_TRUE(fs::exists(fixture.folder / "german/a/one"));
}

TEST(ModelStore, a_broken_catalogue_is_reported_but_installed_models_stay_usable) {
    const ModelFixture fixture;
    ASSERT_TRUE(fixture.models.install("de", {}));
    writeFile(fixture.folder / "models.json", "{");
    EXPECT_FALSE(fixture.models.list());
    EXPECT_FALSE(fixture.models.install("fr", {}));
    EXPECT_EQ(fixture.models.installedFolder("de"), fixture.installed());
    EXPECT_TRUE(fixture.models.checkRemovable("de"));
}

TEST(ModelStore, a_cancelled_installation_leaves_nothing) {
    const ModelFixture fixture;
    int pieces = 0;
    const auto installed = fixture.models.install("de", {{}, [&] { return ++pieces == 2; }});
    EXPECT_EQ(sentence(installed), "The installation was cancelled; nothing was installed.");
    EXPECT_EQ(pieces, 2);
    EXPECT_EQ(fixture.contents(), std::set<std::string>{".staging"});
}

TEST(ModelStore, two_installations_at_once_both_succeed_and_install_one_model) {
    const ModelFixture fixture;
    bool isSecondDone = false;
    const auto installSecond = [&](double) {
        if (isSecondDone) return;
        isSecondDone = true;
        EXPECT_TRUE(fixture.models.install("de", {}));
    };
    EXPECT_TRUE(fixture.models.install("de", {installSecond, {}}));
    EXPECT_EQ(fixture.contents(), ModelFixture::whole);
}

TEST(ModelStore, an_installed_model_that_is_no_longer_in_the_catalogue_is_still_listed) {
    const ModelFixture fixture;
    ASSERT_TRUE(fixture.models.install("de", {}));
    fs::remove(fixture.folder / "models.json");
    EXPECT_EQ(fixture.models.list()->back(), (Model{"de", "de", std::nullopt, true}));
    EXPECT_TRUE(fixture.models.checkRemovable("de"));
}

TEST(ModelStore, the_systems_model_is_not_removed) {
    const ModelFixture fixture;
    const char* const expected = "The model en-us belongs to the system and cannot be removed by Vostel.";
    EXPECT_EQ(sentence(fixture.models.checkRemovable("en-us")), expected);
    const auto taken = fixture.models.takeAway("en-us", uuid(1));
    ASSERT_FALSE(taken);
    EXPECT_EQ(taken.error().description(), expected);
    EXPECT_TRUE(fs::exists(fixture.folder / "system/mdef"));
}

TEST(ModelStore, a_model_is_moved_away_once_per_request) {
    const ModelFixture fixture;
    EXPECT_EQ(fixture.models.takeAway("de", uuid(1)), false);
    ASSERT_TRUE(fixture.models.install("de", {}));
    EXPECT_EQ(fixture.models.takeAway("de", uuid(1)), false) << "the first call of this request found no model";
    EXPECT_TRUE(fs::exists(fixture.installed()));
    fixture.models.deleteTaken(uuid(1));
    EXPECT_FALSE(fs::exists(fixture.folder / "models/.removed" / uuid(1).text()));

    EXPECT_EQ(fixture.models.takeAway("de", uuid(2)), true);
    EXPECT_FALSE(fs::exists(fixture.installed()));

    // The model was installed again. The request that moved the first one away does not touch it.
    ASSERT_TRUE(fixture.models.install("de", {}));
    EXPECT_EQ(fixture.models.takeAway("de", uuid(2)), true);
    EXPECT_TRUE(fs::exists(fixture.installed()));
    fixture.models.deleteTaken(uuid(2));
    EXPECT_FALSE(fs::exists(fixture.folder / "models/.removed" / uuid(2).text()));
}

TEST(ModelStore, leftovers_of_crashed_processes_are_deleted_and_running_copies_are_not) {
    const ModelFixture fixture;
    EXPECT_TRUE(fixture.models.deleteLeftovers());
    EXPECT_FALSE(fs::exists(fixture.folder / "models"));

    const auto deleteMeanwhile = [&](double) { EXPECT_TRUE(fixture.models.deleteLeftovers()); };
    ASSERT_TRUE(fixture.models.install("de", {deleteMeanwhile, {}}));
    writeFile(fixture.folder / "models/.staging/dead/model/half", "bytes");
    writeFile(fixture.folder / "models/.removed" / uuid(7).text() / "mdef", "bytes");
    ASSERT_TRUE(fixture.models.deleteLeftovers());
    auto expected = ModelFixture::whole;
    expected.insert(".removed");
    EXPECT_EQ(fixture.contents(), expected);
}

TEST(ModelStore, a_folder_that_cannot_be_created_is_an_error) {
    const ModelFixture fixture;
    writeFile(fixture.folder / "models", "a file in the way");
    const auto installed = fixture.models.install("de", {});
    ASSERT_FALSE(installed);
    EXPECT_TRUE(std::holds_alternative<posix::SystemError>(installed.error().is));
}

} // namespace vostel_companion
