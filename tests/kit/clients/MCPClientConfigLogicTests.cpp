#include "kit/clients/MCPClientConfigLogic.h"
#include "tests/support/JSON.h"
#include "tests/support/Table.h"

#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

namespace VostelMCPKit {
namespace {

using namespace MCPClientConfigLogic;
using vostel_tests::json;
using Args = std::vector<std::string>;

const std::string ours = "/Applications/Vostel.app/Contents/MacOS/vostel-mcp";

TEST(MCPClientConfigLogic, an_entry_needs_an_absolute_path) {
    EXPECT_EQ(makeEntry(ours, {}), (MCPClientEntry{ours, {}}));
    EXPECT_EQ(makeEntry("/", {"--a", ""}), (MCPClientEntry{"/", {"--a", ""}}));
    for (const std::string_view path : {"vostel-mcp", "./vostel-mcp", "../bin/vostel-mcp", "~/vostel-mcp", " /a", ""}) {
        SCOPED_TRACE(path);
        EXPECT_EQ(makeEntry(path, {}), std::nullopt);
    }
}

TEST(MCPClientConfigLogic, an_installation_is_judged_by_its_command_alone) {
    struct Row {
        const char* when;
        std::optional<std::string_view> existing;
        std::string wanted;
        InstallationStatus expected;
    };
    const Row rows[] = {
        {"no entry", std::nullopt, ours, {InstallationStatus::NotInstalled{}}},
        {"the wanted path", ours, ours, {InstallationStatus::UpToDate{}}},
        {"another copy", "/opt/vostel-mcp", ours, {InstallationStatus::StalePath{"/opt/vostel-mcp"}}},
        {"a copy found by the search path", "vostel-mcp", ours, {InstallationStatus::StalePath{"vostel-mcp"}}},
        {"the wanted path, differently written",
         "/Applications//Vostel.app/Contents/MacOS/vostel-mcp",
         ours,
         {InstallationStatus::StalePath{"/Applications//Vostel.app/Contents/MacOS/vostel-mcp"}}},
        {"a slash after the name", "/opt/vostel-mcp/", ours, {InstallationStatus::StalePath{"/opt/vostel-mcp/"}}},
        {"some other program", "/usr/bin/node", ours, {InstallationStatus::ForeignEntry{"/usr/bin/node"}}},
        {"the name in capitals", "/opt/Vostel-MCP", ours, {InstallationStatus::ForeignEntry{"/opt/Vostel-MCP"}}},
        {"the name with an ending",
         "/opt/vostel-mcp.sh",
         ours,
         {InstallationStatus::ForeignEntry{"/opt/vostel-mcp.sh"}}},
        {"the name with a beginning",
         "/opt/not-vostel-mcp",
         ours,
         {InstallationStatus::ForeignEntry{"/opt/not-vostel-mcp"}}},
        {"the name as a folder",
         "/opt/vostel-mcp/run",
         ours,
         {InstallationStatus::ForeignEntry{"/opt/vostel-mcp/run"}}},
        {"an empty command", "", ours, {InstallationStatus::ForeignEntry{""}}},
        {"the root folder", "/", ours, {InstallationStatus::ForeignEntry{"/"}}},
        {"equal, but not named as the server",
         "/opt/other",
         "/opt/other",
         {InstallationStatus::ForeignEntry{"/opt/other"}}},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        EXPECT_EQ(compareInstallation(row.existing, {row.wanted, {}}), row.expected);
        EXPECT_EQ(compareInstallation(row.existing, {row.wanted, {"--other", "arguments"}}), row.expected);
    });
}

TEST(MCPClientConfigLogic, each_client_gets_its_text) {
    const MCPClientEntry plain{ours, {}};
    const MCPClientEntry needsEscapes{R"(/opt/a "b" \c/vostel-mcp)", {"--x", R"(say "hi\")", ""}};
    struct Row {
        const char* when;
        MCPClientKind kind;
        MCPClientEntry entry;
        std::string expected;
    };
    const Row rows[] = {
        {"Claude Code", MCPClientKind::claudeCode, plain,
         R"({"args":[],"command":"/Applications/Vostel.app/Contents/MacOS/vostel-mcp","type":"stdio"})"},
        {"Claude Code, with escapes", MCPClientKind::claudeCode, needsEscapes,
         R"({"args":["--x","say \"hi\\\"",""],"command":"/opt/a \"b\" \\c/vostel-mcp","type":"stdio"})"},
        {"Claude Desktop", MCPClientKind::claudeDesktop, plain,
         R"({"manifest_version":"0.3","name":"vostel","server":{"mcp_config":{"args":[],)"
         R"("command":"/Applications/Vostel.app/Contents/MacOS/vostel-mcp","type":"stdio"},"type":"binary"}})"},
        {"Claude Desktop with arguments",
         MCPClientKind::claudeDesktop,
         {"/v", {"a", "b"}},
         R"({"manifest_version":"0.3","name":"vostel","server":{"mcp_config":{"args":["a","b"],"command":"/v",)"
         R"("type":"stdio"},"type":"binary"}})"},
        {"Codex", MCPClientKind::codex, plain,
         "[mcp_servers.vostel]\ncommand = \"/Applications/Vostel.app/Contents/MacOS/vostel-mcp\"\n"},
        {"Codex with one argument",
         MCPClientKind::codex,
         {"/v", {"a"}},
         "[mcp_servers.vostel]\ncommand = \"/v\"\nargs = [\"a\"]\n"},
        {"Codex, with escapes", MCPClientKind::codex, needsEscapes,
         R"([mcp_servers.vostel]
command = "/opt/a \"b\" \\c/vostel-mcp"
args = ["--x", "say \"hi\\\"", ""]
)"},
        {"Codex, bytes that are not UTF-8",
         MCPClientKind::codex,
         {"/a\xFF", {"\xC3("}},
         "[mcp_servers.vostel]\ncommand = \"/a\uFFFD\"\nargs = [\"\uFFFD(\"]\n"},
        {"Claude Code, bytes that are not UTF-8",
         MCPClientKind::claudeCode,
         {"/a\xFF", {"\xC3("}},
         "{\"args\":[\"\uFFFD(\"],\"command\":\"/a\uFFFD\",\"type\":\"stdio\"}"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) { EXPECT_EQ(snippetText(row.kind, row.entry), row.expected); });
    EXPECT_EQ(claudeCodeSnippetText(needsEscapes), snippetText(MCPClientKind::claudeCode, needsEscapes));
    EXPECT_EQ(claudeDesktopManifestText(needsEscapes), snippetText(MCPClientKind::claudeDesktop, needsEscapes));
    EXPECT_EQ(codexSnippetText(needsEscapes), snippetText(MCPClientKind::codex, needsEscapes));
    EXPECT_EQ(claudeCodeEntry(needsEscapes), json(claudeCodeSnippetText(needsEscapes)));
    EXPECT_EQ(claudeDesktopManifest(needsEscapes), json(claudeDesktopManifestText(needsEscapes)));
}

TEST(MCPClientConfigLogic, the_claude_code_command_is_read_back_or_absent) {
    EXPECT_EQ(claudeCodeCommand(claudeCodeEntry({ours, {"a"}})), ours);
    struct Row {
        const char* text;
        std::optional<std::string> expected;
    };
    const Row rows[] = {
        {R"({"command":"x"})", "x"},           {R"({"type":"http","command":"","env":{}})", ""},
        {R"({"args":[]})", std::nullopt},      {R"({"command":["x"]})", std::nullopt},
        {R"({"command":null})", std::nullopt}, {R"({"command":1})", std::nullopt},
        {R"({"Command":"x"})", std::nullopt},  {R"(["command","x"])", std::nullopt},
        {R"("command")", std::nullopt},        {"null", std::nullopt},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(claudeCodeCommand(json(row.text)), row.expected);
    }
}

TEST(MCPClientConfigLogic, the_claude_desktop_command_is_read_back_or_absent) {
    EXPECT_EQ(claudeDesktopCommand(claudeDesktopManifest({ours, {"a"}})), ours);
    struct Row {
        const char* text;
        std::optional<std::string> expected;
    };
    const Row rows[] = {
        {R"({"server":{"mcp_config":{"command":"x"}}})", "x"},
        {R"({"server":{"mcp_config":{"command":5}}})", std::nullopt},
        {R"({"server":{"mcp_config":{}}})", std::nullopt},
        {R"({"server":{"mcp_config":"command"}})", std::nullopt},
        {R"({"server":{"mcp_config":[{"command":"x"}]}})", std::nullopt},
        {R"({"server":{"mcp_config":null}})", std::nullopt},
        {R"({"server":{"command":"x"}})", std::nullopt},
        {R"({"server":[]})", std::nullopt},
        {R"({"mcp_config":{"command":"x"}})", std::nullopt},
        {"[]", std::nullopt},
        {"null", std::nullopt},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(claudeDesktopCommand(json(row.text)), row.expected);
    }
}

TEST(MCPClientConfigLogic, a_codex_table_reads_line_by_line) {
    using Table = CodexTable;
    struct Row {
        const char* when;
        std::string text;
        std::optional<Table> expected;
    };
    const Row rows[] = {
        {"an empty file", "", std::nullopt},
        {"no such table", "model = \"o3\"\n[mcp_servers.other]\ncommand = \"/x\"\n", std::nullopt},
        {"a subtable", "[mcp_servers.vostel.env]\ncommand = \"/x\"\n", std::nullopt},
        {"a header with a comment", "[mcp_servers.vostel] # ours\ncommand = \"/x\"\n", std::nullopt},
        {"a header in a comment", "# [mcp_servers.vostel]\ncommand = \"/x\"\n", std::nullopt},
        {"a header with spaces inside", "[ mcp_servers.vostel ]\n", std::nullopt},
        {"a header in capitals", "[MCP_SERVERS.VOSTEL]\n", std::nullopt},
        {"only the header", "[mcp_servers.vostel]", Table{}},
        {"only the header and its line end", "[mcp_servers.vostel]\n", Table{}},
        {"command and arguments", "[mcp_servers.vostel]\ncommand = \"/x\"\nargs = [\"a\", \"b\"]\n",
         Table{"/x", {"a", "b"}}},
        {"no line feed at the end", "[mcp_servers.vostel]\ncommand = \"/x\"", Table{"/x", {}}},
        {"lines ended by CR LF", "model = 1\r\n[mcp_servers.vostel]\r\ncommand = \"/x\"\r\nargs = [\"a\"]\r\n",
         Table{"/x", {"a"}}},
        {"white space everywhere",
         "\t[mcp_servers.vostel]  \n \t command\t=\t \"/x y\" \n\u00A0args=[ \"a\" ,\t\"b\" ] ",
         Table{"/x y", {"a", "b"}}},
        {"comments, empty lines and other keys",
         "[mcp_servers.vostel]\n\n# command = \"/no\"\n  #\nenabled = true\nstartup_timeout_sec = 20\ncommand = "
         "\"/x\"\n"
         "nonsense\n= \"/no\"\n",
         Table{"/x", {}}},
        {"the next table ends it", "[mcp_servers.vostel]\n[other]\ncommand = \"/no\"\n", Table{}},
        {"an array of tables ends it", "[mcp_servers.vostel]\nargs = [\"a\"]\n [[x]]\ncommand = \"/no\"\n",
         Table{std::nullopt, {"a"}}},
        {"the first of two tables counts",
         "[mcp_servers.vostel]\ncommand = \"/1\"\n[a]\n[mcp_servers.vostel]\ncommand = \"/2\"\n", Table{"/1", {}}},
        {"an equals sign in the value", "[mcp_servers.vostel]\ncommand = \"/a=b\"\n", Table{"/a=b", {}}},
        {"a key that begins like it", "[mcp_servers.vostel]\ncommands = \"/no\"\nargs2 = [\"a\"]\n", Table{}},
        {"a quoted key", "[mcp_servers.vostel]\n\"command\" = \"/no\"\n", Table{}},
        {"a command in single quotes", "[mcp_servers.vostel]\ncommand = '/no'\n", Table{}},
        {"a command without quotes", "[mcp_servers.vostel]\ncommand = /no\n", Table{}},
        {"a command that is one quote", "[mcp_servers.vostel]\ncommand = \"\n", Table{}},
        {"an empty command", "[mcp_servers.vostel]\ncommand = \"\"\n", Table{"", {}}},
        {"a command with a comment after it", "[mcp_servers.vostel]\ncommand = \"/no\" # x\n", Table{}},
        {"escapes in the command", "[mcp_servers.vostel]\ncommand = \"/a \\\"b\\\" \\\\c\"\n",
         Table{R"(/a "b" \c)", {}}},
        {"other escapes stay", "[mcp_servers.vostel]\ncommand = \"/a\\tb\"\n", Table{R"(/a\tb)", {}}},
        {"an invalid command does not replace a valid one", "[mcp_servers.vostel]\ncommand = \"/x\"\ncommand = no\n",
         Table{"/x", {}}},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        EXPECT_EQ(parseCodexTable({.tableName = "vostel", .text = row.text}), row.expected);
    });
    EXPECT_EQ(parseCodexTable({.tableName = "a.b", .text = "[mcp_servers.a.b]\ncommand = \"/x\""}), (Table{"/x", {}}));
}

TEST(MCPClientConfigLogic, codex_arguments_are_read_by_a_simple_rule) {
    struct Row {
        const char* when;
        std::string value;
        Args expected;
    };
    const Row rows[] = {
        {"none", "[]", {}},
        {"white space", "[  ]", {}},
        {"one", R"(["a"])", {"a"}},
        {"no value", "", {}},
        {"no array", R"("a")", {}},
        {"an opening bracket alone", "[", {}},
        {"the first of several lines", "[\n\"a\",\n]", {}},
        {"a bracket not closed", R"(["a")", {}},
        {"a bracket not opened", R"("a"])", {}},
        {"a comment after it", R"(["a"] # x)", {}},
        {"a comma at the end", R"(["a",])", {"a"}},
        {"commas alone", "[,,]", {}},
        {"white space between commas is an empty argument", R"(["a", ,"b"])", {"a", "", "b"}},
        {"an empty argument", R"(["", "b"])", {"", "b"}},
        {"a comma in quotes", R"(["a,b", "c"])", {R"("a)", R"(b")", "c"}},
        {"without quotes", "[a, 1, true]", {"a", "1", "true"}},
        {"single quotes are kept", "['a']", {"'a'"}},
        {"one quote is kept", R"([", a])", {R"(")", "a"}},
        {"a quote at one end is kept", R"(["a, b])", {R"("a)", "b"}},
        {"an array in it", R"([["a"]])", {R"(["a"])"}},
        {"an escaped quote", R"(["say \"hi\""])", {R"(say "hi")"}},
        {"an escaped backslash", R"(["a\\b"])", {R"(a\b)"}},
        {"both", R"(["\\\""])", {R"(\")"}},
        {"a backslash before the last quote", R"(["a\\"])", {R"(a\)"}},
        {"an escaped backslash before a bare quote: quotes are unescaped first", R"(["a\\"b"])", {R"(a\"b)"}},
        {"three backslashes", R"(["\\\"])", {R"(\\)"}},
        {"another escape stays", R"(["a\nb"])", {R"(a\nb)"}},
        {"escapes outside quotes stay", R"([a\\b])", {R"(a\\b)"}},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        const auto table =
            parseCodexTable({.tableName = "vostel", .text = "[mcp_servers.vostel]\nargs = " + row.value + "\n"});
        ASSERT_TRUE(table.has_value());
        EXPECT_EQ(table->args, row.expected);
    });
}

TEST(MCPClientConfigLogic, a_codex_snippet_reads_back_as_its_entry) {
    const MCPClientEntry entries[] = {
        {ours, {}},
        {ours, {"--a", "b c", ""}},
        {R"(/a "quoted" name\with\\backslashes\)", {R"(\)", R"(")", R"(\")", R"("\)", R"(\\""\\)"}},
        {"/имя/vostel-mcp", {"日本語"}},
    };
    for (const MCPClientEntry& entry : entries) {
        SCOPED_TRACE(codexSnippetText(entry));
        EXPECT_EQ(parseCodexTable({.tableName = "vostel", .text = "a = 1\n\n" + codexSnippetText(entry) + "[next]\n"}),
                  (CodexTable{entry.command, entry.args}));
    }
}

} // namespace
} // namespace VostelMCPKit
