#include "kit/connect/MCPConnectLogic.h"
#include "kit/connect/MCPSocketAddress.h"
#include "tests/support/Repeat.h"
#include "tests/support/Table.h"

#include <gtest/gtest.h>

namespace VostelMCPKit {
namespace {

using namespace std::chrono_literals;
using vostel_tests::repeat;

TEST(MCPConnectLogic, its_constants_are_those_of_the_application) {
    EXPECT_EQ(MCPConnectLogic::hostApplicationSupportDirectoryName, "com.vostel.vostel");
    EXPECT_EQ(MCPConnectLogic::socketFileName, "mcp.sock");
    EXPECT_EQ(MCPConnectLogic::socketPathByteLimit, 104U);
    EXPECT_EQ(MCPConnectLogic::pollingCeiling, 120s);
    EXPECT_EQ(MCPConnectLogic::pollingInterval, 500ms);
}

TEST(MCPConnectLogic, the_socket_is_in_the_folder_named_after_the_application) {
    struct Row {
        const char* when;
        const char* folder;
        const char* expected;
    };
    const Row rows[] = {
        {"the usual folder", "/Users/robin/Library/Application Support",
         "/Users/robin/Library/Application Support/com.vostel.vostel/mcp.sock"},
        {"a slash at the end", "/Users/robin/Library/Application Support/",
         "/Users/robin/Library/Application Support/com.vostel.vostel/mcp.sock"},
        {"letters beyond ASCII", "/Users/Zoë", "/Users/Zoë/com.vostel.vostel/mcp.sock"},
        {"the root", "/", "/com.vostel.vostel/mcp.sock"},
    };
    vostel_tests::forEachRow(rows,
                             [&](const Row& row) { EXPECT_EQ(MCPConnectLogic::socketPath(row.folder), row.expected); });
}

TEST(MCPConnectLogic, a_path_fits_when_its_bytes_and_the_nul_fill_at_most_the_address_field) {
    struct Row {
        const char* when;
        std::string path;
        bool fits;
    };
    const Row rows[] = {
        {"nothing", "", true},
        {"room for the NUL", std::string(103, 'a'), true},
        {"no room for the NUL", std::string(104, 'a'), false},
        {"far too long", std::string(1'000, 'a'), false},
        {"two bytes per letter, and one that just fits", repeat("é", 51) + "a", true},
        {"two bytes per letter", repeat("é", 52), false},
        {"four bytes per letter", repeat("😀", 26), false},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        const auto checked = MCPConnectLogic::validateSocketPathLength(row.path);
        EXPECT_EQ(checked.has_value(), row.fits);
        const auto address = MCPConnectLogic::socketAddress(row.path);
        EXPECT_EQ(address.has_value(), row.fits);
        if (address) {
            EXPECT_EQ(address->sun_family, AF_UNIX);
            EXPECT_EQ(address->sun_path, row.path);
        }
        if (!checked) {
            EXPECT_EQ(checked.error(),
                      (ConnectError{ConnectError::SocketPathTooLong{row.path, row.path.size(), /*limit=*/103}}));
        }
    });
}

TEST(MCPConnectLogic, polling_continues_strictly_before_the_ceiling) {
    struct Row {
        const char* when;
        std::chrono::duration<double> elapsed;
        std::chrono::duration<double> ceiling;
        bool continues;
    };
    const Row rows[] = {
        {"at the start", 0s, 120s, true},      {"just before the end", 119'900ms, 120s, true},
        {"at the ceiling", 120s, 120s, false}, {"after the ceiling", 120'500ms, 120s, false},
        {"no time at all", 0s, 0s, false},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        EXPECT_EQ(MCPConnectLogic::shouldContinuePolling({.elapsed = row.elapsed, .ceiling = row.ceiling}),
                  row.continues);
    });
}

TEST(MCPConnectLogic, the_bundle_is_three_levels_above_the_helper_if_its_name_ends_in_app) {
    struct Row {
        const char* when;
        const char* helper;
        std::optional<std::filesystem::path> bundle;
    };
    const Row rows[] = {
        {"the usual place", "/Applications/Vostel.app/Contents/MacOS/vostel-mcp", "/Applications/Vostel.app"},
        {"folders of any name between", "/Applications/Vostel.app/a/b/c", "/Applications/Vostel.app"},
        {"a space in the name", "/My Apps/Vostel 2.app/Contents/MacOS/vostel-mcp", "/My Apps/Vostel 2.app"},
        {"two extensions, the last one counts", "/x/Vostel.old.app/Contents/MacOS/vostel-mcp", "/x/Vostel.old.app"},
        {"a build folder", "/home/robin/vostel/build/server/vostel-mcp", {}},
        {"another extension", "/x/Vostel.application/Contents/MacOS/vostel-mcp", {}},
        {"another letter case", "/x/Vostel.APP/Contents/MacOS/vostel-mcp", {}},
        {"app without a point", "/x/Vostelapp/Contents/MacOS/vostel-mcp", {}},
        {"a point and nothing before it", "/x/.app/Contents/MacOS/vostel-mcp", {}},
        {"one level too deep", "/x/Vostel.app/Contents/MacOS/bin/vostel-mcp", {}},
        {"one level too high", "/x/Vostel.app/Contents/vostel-mcp", {}},
        {"in the root", "/vostel-mcp", {}},
        {"no path", "", {}},
    };
    vostel_tests::forEachRow(
        rows, [&](const Row& row) { EXPECT_EQ(MCPConnectLogic::hostApplicationBundleURL(row.helper), row.bundle); });
}

TEST(ConnectError, each_case_has_its_sentence) {
    struct Row {
        const char* when;
        ConnectError error;
        const char* expected;
    };
    const Row rows[] = {
        {"path too long",
         {ConnectError::SocketPathTooLong{"/Users/x/mcp.sock", 104, 103}},
         "Vostel MCP socket path '/Users/x/mcp.sock' is 104 bytes, over the 103-byte sun_path limit. Shorten your "
         "macOS username or home directory path."},
        {"timed out after the full wait",
         {ConnectError::TimedOutWaitingForApp{120.0s}},
         "Vostel did not become ready within 120 seconds after launch. Please open Vostel yourself and try again."},
        {"timed out, the fraction dropped",
         {ConnectError::TimedOutWaitingForApp{120.93s}},
         "Vostel did not become ready within 120 seconds after launch. Please open Vostel yourself and try again."},
        {"cannot be launched",
         {ConnectError::LaunchServicesUnavailable{}},
         "Vostel could not be launched automatically. Please open Vostel yourself and try again."},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) { EXPECT_EQ(row.error.errorDescription(), row.expected); });
}

TEST(ConnectError, compares_case_and_payload) {
    const ConnectError error{ConnectError::SocketPathTooLong{"/a", 104, 103}};
    EXPECT_EQ(error, ConnectError{error});
    EXPECT_NE(error, (ConnectError{ConnectError::SocketPathTooLong{"/b", 104, 103}}));
    EXPECT_NE(error, (ConnectError{ConnectError::LaunchServicesUnavailable{}}));
    EXPECT_NE((ConnectError{ConnectError::TimedOutWaitingForApp{1s}}),
              (ConnectError{ConnectError::TimedOutWaitingForApp{2s}}));
}

} // namespace
} // namespace VostelMCPKit
