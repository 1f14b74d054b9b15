// Installing a model from a link, with a real https server on the loopback interface.
#include "companion/models/ModelStore.h"
#include "companion/models/SHA256.h"
#include "posix/FileDescriptor.h"
#include "posix/FileLock.h"
#include "tests/companion/models/ModelFixture.h"
#include "tests/companion/support/Loopback.h"
#include "tests/companion/support/TLSServer.h"
#include "tests/support/Table.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <map>
#include <mutex>
#include <sys/resource.h>
#include <sys/socket.h>

namespace vostel_companion {

namespace fs = std::filesystem;

namespace {

std::string sumOf(std::string_view text) {
    SHA256 sum;
    sum.add(text);
    return sum.finish();
}

/// The number after "Range: bytes=" of a request.
std::size_t rangeIn(const std::string& request) {
    constexpr std::string_view name = "Range: bytes=";
    const std::size_t at = request.find(name);
    return at == std::string::npos ? 0 : std::strtoul(request.c_str() + at + name.size(), nullptr, 10);
}

std::string ok(const std::string& content) {
    return "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(content.size()) + "\r\n\r\n" + content;
}

/// The rest of `content` from `begin` on.
std::string rest(const std::string& content, std::size_t begin) {
    const std::string size = std::to_string(content.size());
    const std::string range = std::to_string(begin) + "-" + std::to_string(content.size() - 1) + "/" + size;
    return "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes " + range +
           "\r\nContent-Length: " + std::to_string(content.size() - begin) + "\r\n\r\n" + content.substr(begin);
}

std::string redirectTo(const std::string& link) {
    return "HTTP/1.1 302 Found\r\nLocation: " + link + "\r\nContent-Length: 0\r\n\r\n";
}

/// A server with files, and a store with one model whose source is that server.
struct LinkFixture {
    ModelFixture local;
    /// The answer of the server, if it is not a file.
    std::function<std::optional<std::string>(const std::string& request)> special = [](const std::string&) {
        return std::nullopt;
    };
    std::map<std::string, std::string> files;
    std::mutex mutex;
    std::vector<std::string> requests;
    vostel_tests::TLSServer server{local.folder.path(), [this](const std::string& request) { return answer(request); }};
    DownloadRules rules{.certificates = server.certificate()};
    std::vector<double> fractions;

    LinkFixture() {
        // A proxy of this machine could not reach the server.
        ::setenv("no_proxy", "127.0.0.1", 1);
    }

    /// A catalogue with one model: a file, or the folder of `names`.
    void offer(const std::string& path, const std::string& checksum, const std::string& names = "") const {
        writeFile(local.folder / "models.json", R"({"models":[{"identifier":"fr","displayName":"French","source":")" +
                                                    server.address() + path + R"(","sha256":")" + checksum + "\"" +
                                                    (names.empty() ? "" : ",\"files\":" + names) + "}]}");
    }

    [[nodiscard]] ModelStore store() const {
        return ModelStore{{local.folder / "models", local.folder / "models.json", local.folder / "system"}, rules};
    }

    /// "" for a success, or the error's sentence.
    std::string install() {
        const auto installed = store().install("fr", {[&](double fraction) { fractions.push_back(fraction); }, {}});
        return installed ? "" : installed.error().description();
    }
    /// The requests since the last call, each with its range.
    std::vector<std::string> takeRequests() {
        const std::lock_guard lock{mutex};
        return std::exchange(requests, {});
    }

    [[nodiscard]] bool isInstalled() const { return fs::exists(local.folder / "models/fr"); }
    [[nodiscard]] bool keepsParts() const {
        return fs::exists(local.folder / "models/.partial") && !fs::is_empty(local.folder / "models/.partial");
    }

private:
    std::string answer(const std::string& request) {
        const std::string path = request.substr(4, request.find(' ', 4) - 4);
        const std::size_t begin = rangeIn(request);
        {
            const std::lock_guard lock{mutex};
            requests.push_back(path + (begin > 0 ? " from " + std::to_string(begin) : ""));
        }
        if (const auto given = special(request)) return *given;
        const auto found = files.find(path);
        if (found == files.end()) return "HTTP/1.1 404 Not Found\r\nContent-Length: 4\r\n\r\ngone";
        return begin > 0 ? rest(found->second, begin) : ok(found->second);
    }
};

/// A file that arrives from the network in several pieces.
std::string largeContent() {
    std::string content;
    while (content.size() < 300'000) content += std::to_string(content.size()) + "\n";
    return content;
}

} // namespace

TEST(ModelDownload, a_file_is_installed_from_its_link) {
    LinkFixture fixture;
    fixture.files = {{"/models/french.bin", largeContent()}};
    fixture.offer("/models/french.bin", sumOf(largeContent()));
    EXPECT_EQ(fixture.install(), "");
    EXPECT_TRUE(readFile(fixture.local.folder / "models/fr/french.bin") == largeContent());
    EXPECT_EQ(fixture.takeRequests(), std::vector<std::string>{"/models/french.bin"});
    EXPECT_FALSE(fixture.keepsParts());
    EXPECT_TRUE(std::ranges::is_sorted(fixture.fractions));
    EXPECT_EQ(fixture.fractions.back(), 1);
    EXPECT_EQ(fixture.install(), "") << "which is installed already";
    EXPECT_EQ(fixture.takeRequests(), std::vector<std::string>{});
}

TEST(ModelDownload, a_folder_is_installed_from_its_link_and_the_names_of_its_files) {
    LinkFixture fixture;
    fixture.files = {{"/german/a/one", "abc"}, {"/german/a-two", ""}, {"/german/b/my%20file", "hello\n"}};
    fixture.offer("/german/", ModelFixture::germanChecksum, R"(["b/my file","a/one","a-two"])");
    EXPECT_EQ(fixture.install(), "");
    EXPECT_EQ(readFile(fixture.local.folder / "models/fr/a/one"), "abc");
    EXPECT_EQ(readFile(fixture.local.folder / "models/fr/a-two"), "");
    EXPECT_EQ(readFile(fixture.local.folder / "models/fr/b/my file"), "hello\n");
}

TEST(ModelDownload, a_download_that_broke_off_goes_on_where_it_stopped) {
    LinkFixture fixture;
    const std::string content = largeContent();
    const std::string list = sumOf(content) + "  a\n" + sumOf("second") + "  b\n";
    fixture.files = {{"/f/a", content}, {"/f/b", "second"}};
    fixture.offer("/f/", sumOf(list), R"(["a","b"])");
    fixture.special = [&](const std::string& request) -> std::optional<std::string> {
        if (rangeIn(request) > 0) return std::nullopt;
        const std::string whole = ok(content);
        return whole.substr(0, whole.size() - 100'000);
    };
    EXPECT_EQ(fixture.install(), "The model fr could not be downloaded from " + fixture.server.address() +
                                     "/f/a: the connection ended too early; try again, and the download continues "
                                     "where it stopped.");
    EXPECT_FALSE(fixture.isInstalled());
    EXPECT_TRUE(fixture.keepsParts());
    EXPECT_EQ(fixture.takeRequests(), std::vector<std::string>{"/f/a"});

    EXPECT_TRUE(fixture.store().deleteLeftovers()) << "it keeps new downloads";
    fixture.special = [](const std::string& request) -> std::optional<std::string> {
        if (request.starts_with("GET /f/b")) return "";
        return std::nullopt;
    };
    EXPECT_NE(fixture.install(), "");
    EXPECT_EQ(fixture.takeRequests(),
              (std::vector<std::string>{"/f/a from " + std::to_string(content.size() - 100'000), "/f/b"}));

    fixture.special = [](const std::string&) { return std::nullopt; };
    EXPECT_EQ(fixture.install(), "");
    EXPECT_EQ(fixture.takeRequests(), std::vector<std::string>{"/f/b"}) << "the first file was complete";
    EXPECT_TRUE(readFile(fixture.local.folder / "models/fr/a") == content);
    EXPECT_FALSE(fixture.keepsParts());
}

TEST(ModelDownload, if_the_server_cannot_resume_the_download_begins_again) {
    for (const bool isRefused : {false, true}) {
        SCOPED_TRACE(isRefused);
        LinkFixture fixture;
        const std::string content = largeContent();
        fixture.offer("/f", sumOf(content));
        fixture.special = [&](const std::string&) -> std::optional<std::string> {
            return ok(content).substr(0, 200'000);
        };
        EXPECT_NE(fixture.install(), "");
        fixture.special = [&](const std::string& request) -> std::optional<std::string> {
            if (isRefused && rangeIn(request) > 0) {
                return "HTTP/1.1 416 Range Not Satisfiable\r\nContent-Length: 0\r\n\r\n";
            }
            return ok(content);
        };
        EXPECT_EQ(fixture.install(), "");
        EXPECT_EQ(fixture.takeRequests().size(), 3U);
        EXPECT_TRUE(readFile(fixture.local.folder / "models/fr/f") == content);
    }
}

TEST(ModelDownload, an_interrupted_download_is_deleted_after_a_week_without_an_attempt) {
    LinkFixture fixture;
    fixture.offer("/f", sumOf("content"));
    fixture.special = [](const std::string&) { return ok("content").substr(0, 40); };
    EXPECT_NE(fixture.install(), "");
    const fs::path part = fixture.local.folder / "models/.partial" / sumOf("content");
    const auto week = fs::file_time_type::clock::now() - std::chrono::days{8};
    fs::last_write_time(part / "unfinished", week);
    EXPECT_TRUE(fixture.store().deleteLeftovers());
    EXPECT_TRUE(fixture.keepsParts()) << "the folder is new";
    fs::last_write_time(part, week);
    EXPECT_TRUE(fixture.store().deleteLeftovers());
    EXPECT_FALSE(fixture.keepsParts());
}

TEST(ModelDownload, each_failure_has_a_sentence_and_installs_nothing) {
    const std::string content = largeContent();
    struct Row {
        const char* when;
        std::function<void(LinkFixture&)> prepare;
        std::string reason;
        bool keepsUnfinished = true;
    };
    const auto answering = [](const std::string& bytes) {
        return [bytes](LinkFixture& fixture) {
            fixture.special = [bytes](const std::string&) -> std::optional<std::string> { return bytes; };
        };
    };
    const Row rows[] = {
        {"the file is missing", [](LinkFixture& fixture) { fixture.files.clear(); },
         "the server answered with status 404; the link in the catalogue does not exist any more"},
        {"the server is broken", answering("HTTP/1.1 503 Service Unavailable\r\nContent-Length: 0\r\n\r\n"),
         "the server answered with status 503"},
        {"the certificate is not among those that are trusted",
         [](LinkFixture& fixture) {
             fs::create_directory(fixture.local.folder / "other");
             const vostel_tests::TLSServer other{fixture.local.folder / "other", {}};
             fixture.rules.certificates = other.certificate();
         },
         "the server's certificate is not valid, so this may be another server"},
        {"the file of certificates is missing", [](LinkFixture& fixture) { fixture.rules.certificates = "/nowhere"; },
         "the certificates of this machine cannot be read; install the package ca-certificates"},
        {"a redirect to http", answering(redirectTo("http://127.0.0.1:1/f")),
         "the server redirects to a link that is not https"},
        {"a redirect to a file", answering(redirectTo("file:///etc/passwd")),
         "the server redirects to a link that is not https"},
        {"a redirect to itself", answering(redirectTo("/f")), "the server redirects too often"},
        {"no answer", answering(""),
         "the connection ended too early; try again, and the download continues where it stopped"},
        {"larger than it may be, as the server says", [](LinkFixture& fixture) { fixture.rules.mostBytes = 1000; },
         "it is larger than 1000 bytes", false},
        {"larger than it may be, and the server does not say so",
         [&](LinkFixture& fixture) {
             fixture.rules.mostBytes = 1000;
             fixture.special = [&](const std::string&) { return "HTTP/1.1 200 OK\r\n\r\n" + content; };
         },
         "it is larger than 1000 bytes", false},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        LinkFixture fixture;
        fixture.files = {{"/f", content}};
        fixture.offer("/f", sumOf(content));
        row.prepare(fixture);
        EXPECT_EQ(fixture.install(),
                  "The model fr could not be downloaded from " + fixture.server.address() + "/f: " + row.reason + ".");
        EXPECT_FALSE(fixture.isInstalled());
        EXPECT_EQ(fs::exists(fixture.local.folder / "models/.partial" / sumOf(content) / "unfinished"),
                  row.keepsUnfinished);
    });
}

TEST(ModelDownload, says_that_the_server_cannot_be_reached) {
    // The port belongs to this socket, which does not listen.
    const posix::FileDescriptor bound{::socket(AF_INET, SOCK_STREAM, 0)};
    sockaddr_in address = vostel_tests::loopback(0);
    socklen_t size = sizeof address;
    auto* const plain = reinterpret_cast<sockaddr*>(&address);
    ASSERT_EQ(::bind(bound.get(), plain, size), 0);
    ASSERT_EQ(::getsockname(bound.get(), plain, &size), 0);

    ::setenv("no_proxy", "127.0.0.1", 1);
    const ModelFixture local;
    const std::string link = "https://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/f";
    writeFile(local.folder / "models.json", R"({"models":[{"identifier":"fr","displayName":"French","source":")" +
                                                link + R"(","sha256":")" + sumOf("") + "\"}]}");
    const auto installed = local.models.install("fr", {});
    ASSERT_FALSE(installed);
    EXPECT_EQ(installed.error().description(), "The model fr could not be downloaded from " + link +
                                                   ": the server cannot be reached; check the network and try again.");
}

TEST(ModelDownload, a_redirect_to_another_https_link_is_followed) {
    LinkFixture fixture;
    fixture.files = {{"/new", "content"}};
    fixture.offer("/old", sumOf("content"));
    fixture.special = [](const std::string& request) -> std::optional<std::string> {
        if (request.starts_with("GET /old ")) return redirectTo("/new");
        return std::nullopt;
    };
    EXPECT_EQ(fixture.install(), "");
    EXPECT_EQ(readFile(fixture.local.folder / "models/fr/old"), "content");
}

TEST(ModelDownload, a_wrong_checksum_installs_nothing_and_the_next_attempt_begins_again) {
    LinkFixture fixture;
    fixture.files = {{"/f", "contents"}};
    fixture.offer("/f", sumOf("content"));
    EXPECT_EQ(fixture.install(), "The model fr was not installed, because its SHA-256 is " + sumOf("contents") +
                                     " and not " + sumOf("content") + " as the catalogue says.");
    EXPECT_FALSE(fixture.isInstalled());
    EXPECT_FALSE(fixture.keepsParts());
    fixture.files = {{"/f", "content"}};
    EXPECT_EQ(fixture.install(), "");
}

TEST(ModelDownload, a_cancelled_download_installs_nothing) {
    LinkFixture fixture;
    fixture.files = {{"/f", largeContent()}};
    fixture.offer("/f", sumOf(largeContent()));
    const auto installed = fixture.store().install("fr", {{}, [] { return true; }});
    ASSERT_FALSE(installed);
    EXPECT_EQ(installed.error(), ModelError{ModelError::Cancelled{}});
    EXPECT_FALSE(fixture.isInstalled());
}

TEST(ModelDownload, says_that_the_disk_is_full_and_deletes_the_file) {
    LinkFixture fixture;
    fixture.files = {{"/f", largeContent()}};
    fixture.offer("/f", sumOf(largeContent()));
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit small{100'000, before.rlim_max};
    std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    const std::string sentence = fixture.install();
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
    std::signal(SIGXFSZ, SIG_DFL);
    const fs::path unfinished = fixture.local.folder / "models/.partial" / sumOf(largeContent()) / "unfinished";
    EXPECT_TRUE(sentence.starts_with("Vostel could not write '" + unfinished.string() + "'")) << sentence;
    EXPECT_FALSE(fs::exists(unfinished));
    EXPECT_FALSE(fixture.isInstalled());
}

TEST(ModelDownload, another_process_that_downloads_the_model_is_not_disturbed) {
    LinkFixture fixture;
    fixture.files = {{"/f", "content"}};
    fixture.offer("/f", sumOf("content"));
    const fs::path part = fixture.local.folder / "models/.partial" / sumOf("content");
    fs::create_directories(part);
    {
        const auto held = posix::FileLock::acquire(part, posix::FileLock::IfMissing::fail);
        ASSERT_TRUE(held);
        EXPECT_EQ(fixture.install(),
                  "The model fr is being downloaded by another process. Try again when that has finished.");
        fs::last_write_time(part, fs::file_time_type::clock::now() - std::chrono::days{8});
        EXPECT_TRUE(fixture.store().deleteLeftovers());
        EXPECT_TRUE(fixture.keepsParts());
    }
    EXPECT_EQ(fixture.install(), "");
}

} // namespace vostel_companion
