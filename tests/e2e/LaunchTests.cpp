// Launching an application that is not running.

#include "tests/e2e/Stage.h"
#include "tests/support/Table.h"

#include <fstream>
#include <sstream>
#include <unistd.h>

namespace vostel_tests {

using nlohmann::json;
namespace files = std::filesystem;

namespace {

constexpr const char* notLaunched =
    "Vostel could not be launched automatically. Please open Vostel yourself and try again.";

/// An application bundle that contains the server and an executable that reports its start to the test.
class Bundle final {
public:
    explicit Bundle(const files::path& folder, std::string_view name = "Vostel.app")
        : path_{folder / name}, control_{listenAt(path_ / "Contents" / "control.sock", /*backlog=*/16)} {
        files::create_directories(executables());
        files::copy_file(serverPath, server());
    }

    [[nodiscard]] files::path executables() const { return path_ / "Contents" / "MacOS"; }
    /// A copy, because the server finds its bundle by the path of its own file, with links resolved.
    [[nodiscard]] files::path server() const { return executables() / "vostel-mcp"; }
    void addExecutable(std::string_view name) const { files::copy_file(LAUNCHED_APPLICATION, executables() / name); }
    void addPropertyList(std::string_view text) const { writeFile(path_ / "Contents" / "Info.plist", text); }

    /// The next application that is launched. It runs as long as the connection is open.
    ApplicationConnection nextLaunch() {
        auto connection = acceptFrom(control_, timeout());
        if (connection) return *std::move(connection);
        ADD_FAILURE() << "no application is launched";
        return ApplicationConnection{posix::FileDescriptor{}};
    }
    void expectNoLaunch() { EXPECT_FALSE(acceptFrom(control_, silence).has_value()); }

private:
    files::path path_;
    posix::FileDescriptor control_;
};

/// A server in a bundle that contains an application.
struct BundledServer {
    TemporaryFolder folder;
    Bundle bundle{folder.path()};
    ServerProcess server{{.home = folder.path(), .executable = bundle.server()}};

    BundledServer() { bundle.addExecutable("Vostel"); }
};

json readReport(ApplicationConnection& launched) {
    std::string line;
    while (!line.ends_with('\n')) {
        const std::string byte = launched.read(1);
        if (byte.empty()) break;
        line += byte;
    }
    return json::parse(line);
}

std::string propertyList(std::string_view executable) {
    return R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0">
<dict>
    <key>CFBundleIdentifier</key>
    <string>com.vostel.vostel</string>
    <key>CFBundleExecutable</key>
    <string>)" +
           std::string{executable} + R"(</string>
</dict>
</plist>
)";
}

std::size_t childCount(pid_t parent) {
    std::size_t count = 0;
    for (const auto& entry : files::directory_iterator{"/proc"}) {
        std::string status;
        std::getline(std::ifstream{entry.path() / "stat"}, status);
        // The name in parentheses may contain any character. The state and the parent follow it.
        const auto nameEnd = status.rfind(')');
        if (nameEnd == std::string::npos) continue;
        std::istringstream fields{status.substr(nameEnd + 1)};
        std::string state;
        pid_t itsParent = 0;
        if (fields >> state >> itsParent && itsParent == parent) ++count;
    }
    return count;
}

} // namespace

TEST(Launch, the_application_of_the_bundle_is_started_in_the_background_and_waited_for) {
    TemporaryFolder folder;
    Bundle bundle{folder.path()};
    bundle.addExecutable("Vostel");
    ServerProcess server{{.home = folder.path(), .executable = bundle.server(), .workingFolder = folder.path()}};
    server.send(toolsCall("1"));

    ApplicationConnection launched = bundle.nextLaunch();
    const json report = readReport(launched);
    EXPECT_EQ(report.at("executable"), "Vostel");
    EXPECT_EQ(report.at("argumentCount"), 1);
    EXPECT_EQ(report.at("home"), folder.path().native());
    EXPECT_EQ(report.at("workingFolder"), "/");
    EXPECT_EQ(report.at("descriptors"), (json{{"0", "/dev/null"}, {"1", "/dev/null"}, {"2", "/dev/null"}}));
    EXPECT_TRUE(report.at("brokenPipeSignalIsDefault"));
    EXPECT_NE(report.at("parent"), server.processID());
    EXPECT_NE(report.at("session"), getsid(server.processID()));

    // While it starts slowly, the call waits and other requests are served.
    server.expectSilence();
    server.send(ping("2"));
    EXPECT_EQ(server.line(), pingReply("2"));

    FakeApplication application{folder.path()};
    application.nextCall().answer("{}");
    EXPECT_EQ(server.line(), resultLine("1", "{}"));
    EXPECT_EQ(childCount(server.processID()), 0U);

    server.send(toolsCall("3"));
    application.nextCall().answer("{}");
    EXPECT_EQ(server.line(), resultLine("3", "{}"));
    bundle.expectNoLaunch();
}

TEST(Launch, the_application_outlives_the_server) {
    BundledServer started;
    auto& [folder, bundle, server] = started;
    server.send(toolsCall("1"));
    ApplicationConnection launched = bundle.nextLaunch();
    const json report = readReport(launched);
    server.closeInput();
    EXPECT_EQ(server.waitForEnd(), Ending{});
    EXPECT_TRUE(files::exists(files::path{"/proc"} / report.at("processID").dump()));
}

TEST(Launch, the_executable_is_the_one_that_the_property_list_names) {
    struct Row {
        const char* when;
        const char* bundle;
        std::string propertyList;
        const char* executable;
    };
    const Row rows[] = {
        {"named", "Vostel.app", propertyList("Other"), "Other"},
        {"no property list", "Vostel.app", "", "Vostel"},
        {"no property list, another bundle", "My Vostel 2.app", "", "My Vostel 2"},
        {"one without the key", "Vostel.app", "<plist><dict></dict></plist>", "Vostel"},
        {"one that is not a property list", "Vostel.app", std::string{"\0\xff<key>", 7}, "Vostel"},
        {"one that leads out of the bundle", "Vostel.app", propertyList("../../../bin/sh"), "Vostel"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        TemporaryFolder folder;
        Bundle bundle{folder.path(), row.bundle};
        bundle.addExecutable(row.executable);
        if (!row.propertyList.empty()) bundle.addPropertyList(row.propertyList);
        ServerProcess server{{.home = folder.path(), .executable = bundle.server()}};
        server.send(toolsCall("1"));
        ApplicationConnection launched = bundle.nextLaunch();
        EXPECT_EQ(readReport(launched).at("executable"), row.executable);
    });
}

TEST(Launch, a_folder_in_place_of_the_property_list_names_no_executable) {
    TemporaryFolder folder;
    Bundle bundle{folder.path()};
    bundle.addExecutable("Vostel");
    files::create_directories(folder.path() / "Vostel.app" / "Contents" / "Info.plist");
    ServerProcess server{{.home = folder.path(), .executable = bundle.server()}};
    server.send(toolsCall("1"));
    ApplicationConnection launched = bundle.nextLaunch();
    EXPECT_EQ(readReport(launched).at("executable"), "Vostel");
}

TEST(Launch, a_link_to_the_server_in_the_bundle_finds_the_bundle) {
    TemporaryFolder folder;
    Bundle bundle{folder.path()};
    bundle.addExecutable("Vostel");
    files::create_symlink(bundle.server(), folder.path() / "vostel-mcp");
    ServerProcess server{{.home = folder.path(), .executable = folder.path() / "vostel-mcp"}};
    server.send(toolsCall("1"));
    std::ignore = bundle.nextLaunch();
}

TEST(Launch, a_bundle_that_cannot_be_launched_fails_the_call_at_once) {
    struct Row {
        const char* when;
        void (*prepare)(const Bundle&);
    };
    const Row rows[] = {
        {"no executable", [](const Bundle&) {}},
        {"the named executable is missing",
         [](const Bundle& bundle) {
             bundle.addExecutable("Vostel");
             bundle.addPropertyList(propertyList("Other"));
         }},
        {"a file that is not executable",
         [](const Bundle& bundle) { writeFile(bundle.executables() / "Vostel", "#!/bin/sh\n"); }},
        {"a file that the system cannot run",
         [](const Bundle& bundle) {
             writeFile(bundle.executables() / "Vostel", "no program");
             files::permissions(bundle.executables() / "Vostel", files::perms::all);
         }},
        {"a folder", [](const Bundle& bundle) { files::create_directory(bundle.executables() / "Vostel"); }},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        TemporaryFolder folder;
        Bundle bundle{folder.path()};
        row.prepare(bundle);
        ServerProcess server{{.home = folder.path(), .executable = bundle.server()}};
        server.send(toolsCall("1"));
        EXPECT_EQ(server.line(), internalErrorLine("1", notLaunched));
        bundle.expectNoLaunch();
        EXPECT_EQ(childCount(server.processID()), 0U);
    });
}

TEST(Launch, outside_a_bundle_the_user_is_asked_to_open_the_application) {
    TemporaryFolder folder;
    for (const char* place : {"bin/vostel-mcp", "Vostel.app/vostel-mcp", "Vostel.App/Contents/MacOS/vostel-mcp",
                              "Vostel/Contents/MacOS/vostel-mcp"}) {
        SCOPED_TRACE(place);
        const files::path executable = folder.path() / place;
        files::create_directories(executable.parent_path());
        files::copy_file(serverPath, executable);
        ServerProcess server{{.home = folder.path(), .executable = executable}};
        server.send(toolsCall("1"));
        EXPECT_EQ(server.line(), internalErrorLine("1", notLaunched));
    }
}

TEST(Launch, a_socket_without_a_listener_is_not_a_running_application) {
    TemporaryFolder folder;
    Bundle bundle{folder.path()};
    bundle.addExecutable("Vostel");
    const files::path path = socketPath(folder.path());
    // The listener is closed at once and its file stays, as after a crash.
    std::ignore = listenAt(path, /*backlog=*/1);
    ServerProcess server{{.home = folder.path(), .executable = bundle.server()}};
    server.send(toolsCall("1"));
    ApplicationConnection launched = bundle.nextLaunch();
    files::remove(path);
    FakeApplication application{folder.path()};
    application.nextCall().answer("{}");
    EXPECT_EQ(server.line(), resultLine("1", "{}"));
}

TEST(Launch, a_file_in_place_of_the_socket_is_not_a_running_application) {
    TemporaryFolder folder;
    writeFile(socketPath(folder.path()), "not a socket");
    ServerProcess server{{.home = folder.path()}};
    server.send(toolsCall("1"));
    EXPECT_EQ(server.line(), internalErrorLine("1", notLaunched));
}

TEST(Launch, every_call_without_a_listener_launches_and_all_are_answered) {
    constexpr int count = 4;
    BundledServer started;
    auto& [folder, bundle, server] = started;
    for (int id = 0; id < count; ++id) server.send(toolsCall(std::to_string(id)));
    std::vector<ApplicationConnection> launched;
    for (int id = 0; id < count; ++id) launched.push_back(bundle.nextLaunch());
    FakeApplication application{folder.path()};
    for (int id = 0; id < count; ++id) application.nextCall().answer("{}");
    for (int id = 0; id < count; ++id) EXPECT_TRUE(json::parse(server.line()).contains("result"));
    EXPECT_EQ(childCount(server.processID()), 0U);
}

// The launched application receives a call that the client has cancelled. It receives no cancellation, because no
// process listened when the cancellation was sent. Its answer is dropped.
TEST(Launch, a_cancelled_call_still_waits_for_its_launch_and_is_not_answered) {
    BundledServer started;
    auto& [folder, bundle, server] = started;
    server.send(toolsCall("1"));
    ApplicationConnection launched = bundle.nextLaunch();
    server.send(cancelled("1"));
    server.expectSilence();
    bundle.expectNoLaunch();

    FakeApplication application{folder.path()};
    ReceivedCall call = application.nextCall();
    call.answer("{}");
    call.connection.expectClosedByServer();
    server.expectSilence();
    application.expectNobody();
    server.send(ping("2"));
    EXPECT_EQ(server.line(), pingReply("2"));
}

TEST(Launch, the_end_of_input_ends_the_wait_for_the_application) {
    BundledServer started;
    auto& [folder, bundle, server] = started;
    server.send(toolsCall("1"));
    ApplicationConnection launched = bundle.nextLaunch();
    server.closeInput();
    EXPECT_EQ(server.waitForEnd(), Ending{});
    EXPECT_EQ(server.unreadOutput(), "");
}

} // namespace vostel_tests
