#include "companion/models/ModelCatalogue.h"
#include "tests/companion/store/StoreFixture.h"
#include "tests/support/Table.h"

#include <sys/stat.h>

namespace vostel_companion {

namespace {

const std::string digest(64, 'a');

std::string entry(const std::string& identifier, const std::string& source, const std::string& sha256 = digest) {
    return R"({"identifier":")" + identifier + R"(","displayName":"Name","source":")" + source + R"(","sha256":")" +
           sha256 + R"("})";
}

std::string entryFor(const std::string& language) {
    return R"({"identifier":"de","displayName":"Name","source":"/mnt","sha256":")" + digest + R"(","language":")" +
           language + R"("})";
}

std::string entryWithFiles(const std::string& source, const std::string& files) {
    return R"({"identifier":"de","displayName":"Name","source":")" + source + R"(","sha256":")" + digest +
           R"(","files":)" + files + "}";
}

std::string catalogue(const std::string& entries) { return R"({"models":[)" + entries + "]}"; }

std::expected<std::string, std::string> sourceOf(const std::string& source) {
    auto models = parseModelCatalogue(catalogue(entry("de", source)), "/data/Vostel");
    if (!models) return std::unexpected(std::move(models.error()));
    return models->front().source;
}

} // namespace

TEST(ModelCatalogue, an_entry_is_read_with_all_its_fields) {
    const std::string text = R"({"models":[{"identifier":"de","displayName":"German","language":"de",
        "source":"/mnt/german","sha256":")" +
                             std::string(64, 'A') + R"(","comment":"ignored"}]})";
    EXPECT_EQ(parseModelCatalogue(text, "/data"),
              (std::vector<ModelDescription>{{"de", "German", "de", "/mnt/german", digest}}));
}

TEST(ModelCatalogue, a_source_is_a_local_path) {
    struct Row {
        const char* when;
        const char* source;
        const char* path;
    };
    const Row rows[] = {
        {"an absolute path", "/mnt/german", "/mnt/german"},
        {"a path from the catalogue's folder", "models/german", "/data/Vostel/models/german"},
        {"a path that leads up", "../german", "/data/german"},
        {"a file URL", "file:///mnt/german", "/mnt/german"},
        {"a file URL with this host", "file://localhost/mnt/german", "/mnt/german"},
        {"a short file URL", "file:/mnt/german", "/mnt/german"},
        {"a scheme in capitals", "FILE:///mnt/german", "/mnt/german"},
        {"escapes", "file:///mnt/my%20models/%C3%A9%25", "/mnt/my models/é%"},
        {"a path is not unescaped", "/mnt/my%20models", "/mnt/my%20models"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) { EXPECT_EQ(sourceOf(row.source), row.path); });
}

TEST(ModelCatalogue, a_source_is_a_link) {
    EXPECT_EQ(sourceOf("https://example.com/a/b.bin"), "https://example.com/a/b.bin");
    EXPECT_EQ(sourceOf("HTTPS://example.com:8443/%C3%A9"), "https://example.com:8443/%C3%A9");
    const auto models =
        parseModelCatalogue(catalogue(entryWithFiles("https://h/f/", R"(["b/c d","a","b.x"])")), "/data");
    ASSERT_TRUE(models);
    EXPECT_TRUE(models->front().isLink());
    EXPECT_EQ(models->front().files, (std::vector<std::string>{"a", "b.x", "b/c d"}));
}

TEST(ModelCatalogue, a_folder_at_a_link_needs_the_paths_of_its_files) {
    struct Row {
        const char* when;
        const char* source;
        std::string files;
        const char* reason;
    };
    const char* const paths = "models[0].files has something other than relative paths";
    const Row rows[] = {
        {"no files", "https://h/f/", "[]", "models[0].files is missing, and source is the link of a folder"},
        {"files of a file", "https://h/f", R"(["a"])",
         "models[0].files is given, but source is not a link that ends in '/'"},
        {"files of a path", "/mnt/", R"(["a"])", "models[0].files is given, but source is not a link that ends in '/'"},
        {"an absolute path", "https://h/f/", R"(["/a"])", paths},
        {"a path that leads up", "https://h/f/", R"(["a/../../b"])", paths},
        {"a path of a folder", "https://h/f/", R"(["a/"])", paths},
        {"an empty path", "https://h/f/", R"([""])", paths},
        {"a backslash", "https://h/f/", R"(["a\\b"])", paths},
        {"a line feed", "https://h/f/", R"(["a\nb"])", paths},
        {"one path twice", "https://h/f/", R"(["a","b","a"])", "models[0].files has one path twice"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        EXPECT_EQ(parseModelCatalogue(catalogue(entryWithFiles(row.source, row.files)), "/data"),
                  std::unexpected(std::string{row.reason}));
    });
}

TEST(ModelCatalogue, anything_but_a_path_and_an_https_link_is_refused) {
    const std::string reason =
        "models[0].source is neither a path nor a file: URL nor an https link to a file or folder";
    for (const char* const source : {"",
                                     "http://example.com/model",
                                     "https://",
                                     "https://example.com",
                                     "https:///model",
                                     "https://me:secret@h/model",
                                     "https://h/model?x",
                                     "https://h/model#x",
                                     "https://h/my model",
                                     "https://h/\u00e9",
                                     "https://h/..",
                                     "https://h/a/.",
                                     "https://h/a\\\\b",
                                     "ftp://example.com/model",
                                     "file://example.com/mnt/german",
                                     "file:german",
                                     "file:",
                                     "file://",
                                     "file:///mnt/german?x",
                                     "file:///mnt/german#x",
                                     "file:///mnt/%",
                                     "file:///mnt/%4",
                                     "file:///mnt/%zz",
                                     "file:///mnt/%00",
                                     "/mnt/\\u0000german"}) {
        SCOPED_TRACE(source);
        EXPECT_EQ(sourceOf(source), std::unexpected(reason));
    }
}

TEST(ModelCatalogue, an_identifier_never_leads_out_of_the_folder) {
    for (const char* const identifier : {"de", "de-DE", "de_2.1", "0", "a..b"}) {
        SCOPED_TRACE(identifier);
        EXPECT_TRUE(isModelIdentifier(identifier));
    }
    EXPECT_TRUE(isModelIdentifier(std::string(64, 'a')));
    EXPECT_FALSE(isModelIdentifier(std::string(65, 'a')));
    EXPECT_FALSE(isModelIdentifier(std::string_view{"de\0", 3}));
    for (const char* const identifier : {"", ".", "..", "../de", "de/..", "/etc", "a/b", "a\\b", ".staging", ".removed",
                                         ".lock", "-de", "d e", "dé", "de\n"}) {
        SCOPED_TRACE(identifier);
        EXPECT_FALSE(isModelIdentifier(identifier));
    }
}

TEST(ModelCatalogue, a_wrong_entry_makes_the_whole_catalogue_fail_with_the_reason) {
    struct Row {
        const char* when;
        std::string text;
        const char* reason;
    };
    const Row rows[] = {
        {"no models", "{}", "models is missing"},
        {"an entry without source", catalogue(R"({"identifier":"de","displayName":"x","sha256":""})"),
         "models[0].source is missing"},
        {"a dangerous identifier", catalogue(entry("../de", "/mnt")),
         "models[0].identifier is not 1 to 64 letters, digits, '-', '_' and '.' that begin with a letter or digit"},
        {"a short checksum", catalogue(entry("de", "/mnt", "abc")), "models[0].sha256 is not 64 hexadecimal digits"},
        {"a checksum with other letters", catalogue(entry("de", "/mnt", std::string(64, 'g'))),
         "models[0].sha256 is not 64 hexadecimal digits"},
        {"a mistake in the second entry", catalogue(entry("de", "/a") + "," + entry("fr", "http://example.com/b")),
         "models[1].source is neither a path nor a file: URL nor an https link to a file or folder"},
        {"one identifier twice", catalogue(entry("de", "/a") + "," + entry("fr", "/b") + "," + entry("DE", "/c")),
         "two models are called de"},
        {"an empty language", catalogue(entryFor("")), "models[0].language is not a code such as 'de'"},
        {"any language", catalogue(entryFor("Auto")), "models[0].language is not a code such as 'de'"},
        {"a language's name", catalogue(entryFor("German")), "models[0].language is not a code such as 'de'"},
        {"the system's model", catalogue(entry("EN-us", "/mnt")),
         "models[0].identifier is en-us, which is the system's own model"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        EXPECT_EQ(parseModelCatalogue(row.text, "/data"), std::unexpected(std::string{row.reason}));
    });
    for (const char* const text : {"", "not JSON", "[]", "{\"models\":{}}", "{\"models\":[1]}"}) {
        SCOPED_TRACE(text);
        EXPECT_FALSE(parseModelCatalogue(text, "/data"));
    }
}

TEST(ModelCatalogue, a_missing_file_is_an_empty_catalogue) {
    const StoreFolder folder;
    EXPECT_EQ(readModelCatalogue(folder / "models.json"), std::vector<ModelDescription>{});
}

TEST(ModelCatalogue, a_file_that_cannot_be_used_is_named) {
    const StoreFolder folder;
    const auto path = folder / "models.json";
    writeFile(path, catalogue(entry("de", "/mnt", "abc")));
    const auto bad = readModelCatalogue(path);
    ASSERT_FALSE(bad);
    EXPECT_EQ(bad.error().description(), "The model catalogue " + path.string() +
                                             " could not be read: models[0].sha256 is not 64 hexadecimal digits.");

    writeFile(path, std::string((1 << 20) + 1, ' '));
    const auto large = readModelCatalogue(path);
    ASSERT_FALSE(large);
    EXPECT_EQ(large.error().description(),
              "The model catalogue " + path.string() + " could not be read: it is larger than 1 MiB.");

    EXPECT_FALSE(readModelCatalogue(folder.path()));
}

TEST(ModelCatalogue, a_pipe_at_the_path_of_the_file_does_not_block) {
    const StoreFolder folder;
    const auto path = folder / "models.json";
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    EXPECT_FALSE(readModelCatalogue(path));
}

} // namespace vostel_companion
