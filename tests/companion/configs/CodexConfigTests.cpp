#include "companion/configs/CodexConfig.h"
#include "tests/companion/configs/ClientConfigsFixture.h"
#include "tests/companion/configs/RealTOML.h"

#include <gtest/gtest.h>

namespace vostel_companion::CodexConfig {

using VostelMCPKit::MCPClientConfigLogic::MCPClientEntry;
namespace Logic = VostelMCPKit::MCPClientConfigLogic;

namespace {

const std::string table = "[mcp_servers.vostel]\ncommand = \"/opt/v/vostel-mcp\"\ntool_timeout_sec = 3600\n";

/// The configuration of a user who has used the client for a long time.
std::string largeFile() {
    std::string text = "model = \"o\"\n";
    for (int project = 0; text.size() < 256 * 1024; ++project) {
        text += "\n[projects.\"/home/ä/" + std::to_string(project) +
                "\"] # [mcp_servers.vostel]\ntrust = 'yes'\nnotes = \"\"\"\n[mcp_servers.vostel]\ncommand = "
                "\\\"x\\\"\n\"\"\"\nlist = [\n  1, # one ]\n  { a = [ ] },\n]\n";
    }
    return text;
}

struct Row {
    const char* when;
    std::string text;
};

/// Texts without our entry. An entry is appended to each.
std::vector<Row> rows() {
    return {
        {"a missing or empty file", ""},
        {"only spaces", "   "},
        {"only empty lines", "\n\n"},
        {"one empty line", "\n"},
        {"only a byte order mark", byteOrderMark},
        {"only a comment", "# [mcp_servers.vostel]\n"},
        {"a comment without an end of line", "# mine"},
        {"a setting", "model = \"o\"\n"},
        {"no final line break", "model = \"o\""},
        {"an empty line at the end", "model = \"o\"\n\n"},
        {"spaces after the last line break", "model = \"o\"\n  "},
        {"line breaks of two bytes", "model = \"o\"\r\n\r\n[a]\r\nb = 1\r\n"},
        {"line breaks of two bytes, but none at the end", "model = \"o\"\r\n[a]\r\nb = 1"},
        {"line breaks of both kinds", "a = 1\r\nb = 2\n"},
        {"a byte order mark", byteOrderMark + "model = \"o\"\n"},
        {"other servers",
         "[mcp_servers.other]\ncommand = \"x\"\n\n[mcp_servers.other.env]\nA = \"1\"\n\n[tools]\nweb = true\n"},
        {"a table of all servers", "[mcp_servers]\n\n[mcp_servers.other]\ncommand = \"x\"\n"},
        {"another server by dotted keys", "mcp_servers.other.command = \"x\"\n"},
        {"another server within the table of all", "[mcp_servers]\nother = { command = \"x\" }\n"},
        {"names that only look alike",
         "[mcp_servers.Vostel]\n[mcp_servers.vostel2]\n[mcp_servers.\"vostel \"]\n[\"mcp_servers.vostel\"]\n[vostel]\n"
         "[x.mcp_servers.vostel]\n[mcp-servers.vostel]\n"},
        {"the header in a long string", "a = \"\"\"\n[mcp_servers.vostel]\ncommand = \"/x\"\n\"\"\"\n"},
        {"the header in a long literal string", "a = '''\n[mcp_servers.vostel]\ncommand = \"/x\"\n'''\n"},
        {"the header in an array", "a = [\n  \"\"\"\n[mcp_servers.vostel]\"\"\",\n  [\"mcp_servers.vostel\"],\n]\n"},
        {"a long string that ends with quotes", "a = \"\"\"x\"\"\"\"\"\nb = '''y'''''\n"},
        {"long strings with escapes",
         "a = \"\"\"\\\"\"\"\\\"\"\"\" # [mcp_servers.vostel]\nb = \"\"\"a \\\n   b\"\"\"\n"},
        {"literal strings with backslashes", "a = 'C:\\'\nb = '''\\'''\nc = \"\\\\\"\n"},
        {"a comment after everything", "a = 1 # \"\n[b] # '''\nc = [ # [\n 1, # ]\n] # x\n"},
        {"an array of tables of another name", "[[mcp_servers_list]]\na = 1\n[[mcp_servers_list]]\na = 2\n"},
        {"an array of tables after a server", "[mcp_servers.other]\n[[mcp_servers.other.x]]\na = 1\n"},
        {"our names in an array", "servers = [ { mcp_servers = { vostel = { command = \"/x\" } } } ]\n"},
        {"our names in another inline table", "a = { mcp_servers.vostel.command = \"/x\" }\n"},
        {"values of every kind", "a = 1979-05-27 07:32:00Z\nb = 1979-05-27T07:32:00.5-07:00\nc = 07:32:00\nd = -inf\ne "
                                 "= +nan\nf = 0xdead_beef\ng = "
                                 "6.626e-34\nh = false\ni = 1979-05-27\nj = -17\n"},
        {"keys of every kind", "a-b_1 = 1\n\"quo ted\" = 2\n'lit.eral' = 3\n1234 = 4\n\"\" = 5\na . \"b\" . 'c' = 6\n"},
        {"beyond ASCII", "\"ключ\" = \"日本 🙂\" # naïve\n"},
        {"escapes", "a = \"\\b\\t\\n\\f\\r\\\"\\\\\\u00E9\\U0001F642\"\n"},
        {"tabs", "\t[a]\t\n\tb\t=\t1\t\n"},
        {"a very large file", largeFile()},
    };
}

/// Entries of ours in every form, with text around them, that start /old/vostel-mcp.
std::vector<Row> staleRows() {
    return {
        {"as it is installed", "a = 1\n\n[mcp_servers.vostel]\ncommand = \"/old/vostel-mcp\"\n"},
        {"with settings and comments of the user", "[mcp_servers.vostel] # mine\n# note\nargs = [\"-v\"]\ncommand = "
                                                   "\"/old/vostel-mcp\" # here\n\n[mcp_servers.vostel.env]\nA = "
                                                   "\"1\"\n\n[b]\nc = 1\n"},
        {"a literal string", "[mcp_servers.vostel]\ncommand = '/old/vostel-mcp'\n"},
        {"a long string", "[mcp_servers.vostel]\ncommand = \"\"\"\n/old/\\\n   vostel-mcp\"\"\"\nx = 1\n"},
        {"a long literal string", "[mcp_servers.vostel]\ncommand = '''\n/old/vostel-mcp'''\n"},
        {"escapes", "[mcp_servers.vostel]\ncommand = \"\\u002Fold/vostel\\U0000002Dmcp\"\n"},
        {"quoted keys", "[ \"mcp_servers\" . 'vostel' ]\n\"command\" = \"/old/vostel-mcp\"\n"},
        {"quoted keys with escapes", "[mcp_servers.\"\\u0076ostel\"]\n\"c\\u006Fmmand\" = \"/old/vostel-mcp\"\n"},
        {"an inline table", "[mcp_servers]\nb = 1\nvostel = { command = \"/old/vostel-mcp\", args = [ ] }\nc = 2\n"},
        {"an inline table by a dotted key",
         "mcp_servers.vostel = { args = [ \"a\" ], command = \"/old/vostel-mcp\" }\nb = 1\n"},
        {"dotted keys",
         "a = 1\nmcp_servers.vostel.command = \"/old/vostel-mcp\"\nmcp_servers.vostel.args = []\nb = 2\n"},
        {"dotted keys in the table of all servers",
         "[mcp_servers]\nvostel.command = \"/old/vostel-mcp\"\nother.command = \"x\"\n"},
        {"line breaks of two bytes",
         "a = 1\r\n\r\n[mcp_servers.vostel]\r\ncommand = \"/old/vostel-mcp\"\r\nargs = []\r\n"},
        {"a byte order mark", byteOrderMark + "[mcp_servers.vostel]\ncommand = \"/old/vostel-mcp\"\n"},
        {"no final line break", "a = 1\n[mcp_servers.vostel]\ncommand = \"/old/vostel-mcp\""},
        {"a sub-table before it",
         "[mcp_servers.vostel.env]\nA = \"1\"\n[b]\nc = 1\n[mcp_servers.vostel]\ncommand = \"/old/vostel-mcp\"\n[d]\n"},
        {"an array of tables inside it",
         "[mcp_servers.vostel]\ncommand = \"/old/vostel-mcp\"\n[[mcp_servers.vostel.x]]\na = "
         "1\n[[mcp_servers.vostel.x]]\n"},
        {"other servers around it", "[mcp_servers.a]\ncommand = \"x\"\n\n[mcp_servers.vostel]\ncommand = "
                                    "\"/old/vostel-mcp\"\n\n[mcp_servers.b]\ncommand = \"y\"\n"},
    };
}

nlohmann::json withoutOurs(nlohmann::json document) {
    if (!document.contains("mcp_servers")) document["mcp_servers"] = nlohmann::json::object();
    document["mcp_servers"].erase("vostel");
    return document;
}

std::string withCommand(std::string text, std::string_view from, std::string_view to) {
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos);
    return text.replace(at, from.size(), to);
}

} // namespace

TEST(CodexConfig, an_entry_is_added_after_everything_and_removed_again) {
    for (const Row& row : rows()) {
        SCOPED_TRACE(row.when);
        EXPECT_EQ(existingCommand(row.text), std::nullopt);
        const auto after = withEntry(row.text, ourEntry);
        ASSERT_TRUE(after) << after.error().description("file");
        EXPECT_TRUE(after->starts_with(row.text));
        EXPECT_EQ(existingCommand(*after), ours);
        EXPECT_EQ(withEntry(*after, ourEntry), *after);
        EXPECT_EQ(withoutEntry(*after), row.text);
        EXPECT_EQ(withoutEntry(row.text), row.text);
    }
}

TEST(CodexConfig, other_readers_find_our_entry_and_nothing_else_changed) {
    for (const Row& row : rows()) {
        SCOPED_TRACE(row.when);
        const auto before = parseTOML(row.text);
        const auto after = withEntry(row.text, ourEntry);
        ASSERT_TRUE(before && after);
        nlohmann::json expected = *before;
        expected["mcp_servers"]["vostel"]["command"] = ours;
        // Otherwise Codex would give up long calls.
        expected["mcp_servers"]["vostel"]["tool_timeout_sec"] = 3600;
        EXPECT_EQ(parseTOML(*after), expected);
    }
}

TEST(CodexConfig, the_kit_says_that_an_added_entry_is_up_to_date) {
    for (const Row& row : rows()) {
        SCOPED_TRACE(row.when);
        // The reader of the library treats lines inside a string as headers.
        if (row.text.find("\n[mcp_servers.vostel]") != std::string::npos) continue;
        const auto after = withEntry(row.text, ourEntry);
        ASSERT_TRUE(after);
        const auto read = Logic::parseCodexTable({.tableName = "vostel", .text = *after});
        ASSERT_TRUE(read);
        EXPECT_EQ(read->command, ours);
        EXPECT_EQ(Logic::compareInstallation(read->command, ourEntry),
                  Logic::InstallationStatus{Logic::InstallationStatus::UpToDate{}});
    }
}

TEST(CodexConfig, the_added_text_follows_the_file) {
    struct Added {
        const char* when;
        std::string before;
        std::string after;
    };
    const Added cases[] = {
        {"nothing there", "", table},
        {"after a line", "a = 1\n", "a = 1\n\n" + table},
        {"after a line without its end", "a = 1", "a = 1\n\n" + table.substr(0, table.size() - 1)},
        {"after line breaks of two bytes", "a = 1\r\n", "a = 1\r\n\r\n" + withCRLF(table)},
        {"after a byte order mark, which some readers take for a part of the first line", byteOrderMark,
         byteOrderMark + "\n" + table},
    };
    for (const Added& row : cases) {
        SCOPED_TRACE(row.when);
        EXPECT_EQ(withEntry(row.before, ourEntry), row.after);
    }
}

TEST(CodexConfig, in_an_older_entry_of_ours_only_the_command_changes_in_every_form) {
    for (const Row& row : staleRows()) {
        SCOPED_TRACE(row.when);
        EXPECT_EQ(existingCommand(row.text), "/old/vostel-mcp");
        const auto after = withEntry(row.text, ourEntry);
        ASSERT_TRUE(after) << after.error().description("file");
        EXPECT_EQ(existingCommand(*after), ours);
        const auto before = parseTOML(row.text);
        ASSERT_TRUE(before);
        nlohmann::json expected = *before;
        expected["mcp_servers"]["vostel"]["command"] = ours;
        EXPECT_EQ(parseTOML(*after), expected);
    }
    const std::string text = staleRows()[1].text;
    EXPECT_EQ(withEntry(text, ourEntry), withCommand(text, "/old/vostel-mcp", ours));
}

TEST(CodexConfig, an_entry_is_removed_in_every_form) {
    for (const Row& row : staleRows()) {
        SCOPED_TRACE(row.when);
        const auto before = parseTOML(row.text);
        const auto removed = withoutEntry(row.text);
        ASSERT_TRUE(before);
        ASSERT_TRUE(removed) << removed.error().description("file");
        EXPECT_EQ(existingCommand(*removed), std::nullopt);
        const auto after = parseTOML(*removed);
        ASSERT_TRUE(after);
        EXPECT_EQ(withoutOurs(*after), withoutOurs(*before));
    }
}

TEST(CodexConfig, removal_removes_only_the_lines_of_the_entry) {
    struct Removal {
        const char* when;
        std::string before;
        std::string after;
    };
    const Removal cases[] = {
        {"between tables", "[a]\nb = 1\n\n[mcp_servers.vostel]\ncommand = \"x\"\n\n[c]\nd = 1\n",
         "[a]\nb = 1\n\n[c]\nd = 1\n"},
        {"close to other tables", "[a]\n[mcp_servers.vostel]\ncommand = \"x\"\n[c]\n", "[a]\n[c]\n"},
        {"comments inside are removed, those around it stay",
         "# a\n[mcp_servers.vostel]\n# b\ncommand = \"x\" # c\n\n# d\n[e]\n", "# a\n\n# d\n[e]\n"},
        {"all its sub-tables are removed",
         "[mcp_servers.vostel]\ncommand = \"x\"\n\n[a]\n\n[mcp_servers.vostel.env]\nA = \"\"\"\n[b]\n\"\"\"\n",
         "\n[a]\n"},
        {"lines of the entry between other lines",
         "[mcp_servers]\na.command = \"y\"\nvostel.command = \"x\"\nvostel.args = [\n  "
         "\"z\",\n]\n# b\nc.command = \"z\"\n",
         "[mcp_servers]\na.command = \"y\"\n# b\nc.command = \"z\"\n"},
        {"two tables at the end, which has no line break",
         "a = 1\n[mcp_servers.vostel]\ncommand = \"x\"\n[mcp_servers.vostel.env]\nA = \"1\"", "a = 1"},
        {"two tables apart at the end, which has no line break",
         "a = 1\r\n\r\n[mcp_servers.vostel]\r\ncommand = \"x\"\r\n\r\n[mcp_servers.vostel.env]\r\nA = \"1\"", "a = 1"},
        {"everything", "[mcp_servers.vostel]\ncommand = \"x\"", ""},
    };
    for (const Removal& row : cases) {
        SCOPED_TRACE(row.when);
        EXPECT_EQ(withoutEntry(row.before), row.after);
    }
}

TEST(CodexConfig, a_foreign_entry_is_replaced_completely) {
    struct Foreign {
        const char* when;
        std::string before;
        std::string command;
        std::string after;
    };
    const Foreign cases[] = {
        {"another program",
         "[mcp_servers.vostel]\ncommand = \"node\"\nargs = [\"x\"]\n\n[mcp_servers.vostel.env]\nA = \"1\"\n", "node",
         table},
        {"a server on the web", "a = 1\n[mcp_servers.vostel]\nurl = \"http://x\"\n[b]\n", "", "a = 1\n[b]\n\n" + table},
        {"only a sub-table", "[mcp_servers.vostel.env]\nA = \"1\"\n", "", table},
        {"an empty table", "[mcp_servers.vostel]\n", "", table},
        {"no table", "[mcp_servers]\nvostel = 1\n", "", "[mcp_servers]\n\n" + table},
        {"a command that is not text", "[mcp_servers.vostel]\ncommand = [\"/a/vostel-mcp\"]\n", "", table},
    };
    for (const Foreign& row : cases) {
        SCOPED_TRACE(row.when);
        EXPECT_EQ(existingCommand(row.before), row.command);
        EXPECT_EQ(withEntry(row.before, ourEntry), row.after);
        EXPECT_TRUE(parseTOML(row.after));
    }
}

TEST(CodexConfig, servers_in_one_inline_table_are_read_and_updated_but_not_added_to_or_removed_from) {
    const std::string others = "a = 1\nmcp_servers = { other = { command = \"x\" } }\n";
    const std::string sentence =
        "f writes mcp_servers as an inline table (line 2, column 15), which Vostel does not edit; change it by hand.";
    EXPECT_EQ(existingCommand(others), std::nullopt);
    EXPECT_EQ(withoutEntry(others), others);
    ASSERT_FALSE(withEntry(others, ourEntry));
    EXPECT_EQ(withEntry(others, ourEntry).error().description("f"), sentence);

    const std::string stale =
        "a = 1\nmcp_servers = { vostel = { command = \"/old/vostel-mcp\" }, other.command = \"x\" }\n";
    EXPECT_EQ(existingCommand(stale), "/old/vostel-mcp");
    EXPECT_EQ(withEntry(stale, ourEntry), withCommand(stale, "/old/vostel-mcp", ours));
    ASSERT_FALSE(withoutEntry(stale));
    EXPECT_EQ(withoutEntry(stale).error().description("f"), sentence);

    const std::string foreign = "a = 1\nmcp_servers = { vostel.url = \"http://x\" }\n";
    EXPECT_EQ(existingCommand(foreign), "");
    ASSERT_FALSE(withEntry(foreign, ourEntry));
    EXPECT_EQ(withEntry(foreign, ourEntry).error().description("f"), sentence);
}

TEST(CodexConfig, a_file_that_is_broken_or_ambiguous_is_reported_by_every_operation) {
    const Refused cases[] = {
        {"no value", "a = \n",
         "f is not valid TOML at line 1, column 5: a value is missing, or a text is not in quotes."},
        {"a text without quotes", "a = 1\nb = hello\n",
         "f is not valid TOML at line 2, column 5: a value is missing, or a text is not in quotes."},
        {"no equals sign", "a\n", "f is not valid TOML at line 1, column 2: '=' is missing after the key."},
        {"no key", "é = 1\n", "f is not valid TOML at line 1, column 1: a key is missing."},
        {"an open header", "[a\nb = 1\n",
         "f is not valid TOML at line 1, column 3: the table's name does not end with its bracket."},
        {"a half-closed header", "[[a]\n",
         "f is not valid TOML at line 1, column 5: the table's name does not end with its bracket."},
        {"an empty header", "[]\n", "f is not valid TOML at line 1, column 2: a key is missing."},
        {"a header with more text after it", "[a] b = 1\n",
         "f is not valid TOML at line 1, column 5: unexpected text at the end of the line."},
        {"two settings in a line", "a = 1 b = 2\n",
         "f is not valid TOML at line 1, column 7: unexpected text at the end of the line."},
        {"an open string", "\"é\" = \"x\nb = 1\n",
         "f is not valid TOML at line 1, column 7: the string has no end in its line."},
        {"an open long string", "a = 1\nb = \"\"\"x\n\n\n",
         "f is not valid TOML at line 2, column 5: the string has no end."},
        {"an open literal string", "a = 'x", "f is not valid TOML at line 1, column 5: the string has no end."},
        {"an open array", "a = [\n 1,\n", "f is not valid TOML at line 1, column 5: the bracket is never closed."},
        {"an open inline table", "a = { b = 1\n",
         "f is not valid TOML at line 1, column 5: the bracket is never closed."},
        {"an array without its comma", "a = [1 2]\n",
         "f is not valid TOML at line 1, column 8: a comma or the closing bracket is missing."},
        {"the wrong bracket", "a = [1}\n",
         "f is not valid TOML at line 1, column 7: a comma or the closing bracket is missing."},
        {"an unknown escape", "a = \"C:\\Users\"\n",
         "f is not valid TOML at line 1, column 10: an escape that does not exist."},
        {"a surrogate without its other half", "a = \"\\uD800\"\n",
         "f is not valid TOML at line 1, column 12: an escape for an invalid character."},
        {"a control character", "a = \"\x01\"\n", "f is not valid TOML at line 1, column 6: a control character."},
        {"a control character in a comment", "# \x01\n",
         "f is not valid TOML at line 1, column 3: a control character."},
        {"a carriage return without a line feed", "a = 1\rb = 2\n",
         "f is not valid TOML at line 1, column 6: unexpected text at the end of the line."},
        {"not UTF-8", "a = 1\nb = \"\xE9\"\n", "f is not valid TOML at line 2, column 6: this is not UTF-8."},
        {"JSON", "{\"a\": 1}\n", "f is not valid TOML at line 1, column 1: a key is missing."},
        {"servers that are not a table", "mcp_servers = 1\n",
         "f has something other than an object under mcp_servers (line 1, column 15)."},
        {"servers in an array", "mcp_servers = [ { vostel = {} } ]\n",
         "f has something other than an object under mcp_servers (line 1, column 15)."},
        {"servers as an array of tables", "a = 1\n[[mcp_servers]]\nvostel.command = \"/x/vostel-mcp\"\n",
         "f writes mcp_servers as an array of tables (line 2, column 1), which Vostel does not edit; change it by "
         "hand."},
        {"the entry as an array of tables", "[[mcp_servers.vostel]]\ncommand = \"/x/vostel-mcp\"\n",
         "f writes mcp_servers.vostel as an array of tables (line 1, column 1), which Vostel does not edit; change it "
         "by "
         "hand."},
        {"the entry twice", "[mcp_servers.vostel]\n[a]\n[mcp_servers.'vostel']\n",
         "f contains mcp_servers.vostel more than once, again at line 3, column 1; keep one of them and try again."},
        {"the entry outside the inline table of all servers",
         "mcp_servers = {}\n[mcp_servers.vostel]\ncommand = \"/old/vostel-mcp\"\n",
         "f contains mcp_servers more than once, again at line 2, column 1; keep one of them and try again."},
        {"the servers as an inline table and as a table", "mcp_servers = {}\n[mcp_servers]\n",
         "f contains mcp_servers more than once, again at line 2, column 1; keep one of them and try again."},
        {"a dotted key of the entry after the inline table of all servers",
         "mcp_servers = {}\n  mcp_servers.vostel.command = \"/old/vostel-mcp\"\n",
         "f contains mcp_servers more than once, again at line 2, column 3; keep one of them and try again."},
        {"a dotted key of the entry before the inline table of all servers",
         "mcp_servers.vostel.command = \"/old/vostel-mcp\"\nmcp_servers = {}\n",
         "f contains mcp_servers more than once, again at line 2, column 15; keep one of them and try again."},
        {"the command twice", "[mcp_servers.vostel]\ncommand = \"a\"\ncommand = \"b\"\n",
         "f contains mcp_servers.vostel.command more than once, again at line 3, column 11; keep one of them and try "
         "again."},
    };
    expectRefusal(cases, existingCommand, withEntry, withoutEntry);
}

TEST(CodexConfig, text_that_only_TOML_1_1_allows_stays_unchanged) {
    const std::string text = "a = {\n  b = \"\\e\\x41\", # c\n  d = 1,\n}\n";
    EXPECT_EQ(withEntry(text, ourEntry), text + "\n" + table);
}

TEST(CodexConfig, a_path_with_special_characters_is_written_and_read_back) {
    const MCPClientEntry awkward{"/Applications/My \"Apps\"\\ö/🙂/vostel-mcp", {}};
    const std::string stale = "[mcp_servers.vostel]\ncommand = \"/old/vostel-mcp\"\n";
    for (const std::string& before : {std::string{}, stale}) {
        SCOPED_TRACE(before);
        const auto text = withEntry(before, awkward);
        ASSERT_TRUE(text);
        EXPECT_EQ(existingCommand(*text), awkward.command);
        EXPECT_EQ((*parseTOML(*text))["mcp_servers"]["vostel"]["command"], awkward.command);
        EXPECT_EQ(Logic::parseCodexTable({.tableName = "vostel", .text = *text})->command, awkward.command);
    }
}

TEST(CodexConfig, a_hundred_thousand_nested_brackets_are_read) {
    const std::string depth(100'000, '[');
    EXPECT_TRUE(withEntry("a = " + depth + std::string(depth.size(), ']') + "\n", ourEntry));
    EXPECT_FALSE(withEntry("a = " + depth, ourEntry));
    std::string tables = "mcp_servers.vostel";
    for (int level = 0; level < 100'000; ++level) tables += "={a";
    EXPECT_FALSE(existingCommand(tables));
}

TEST(CodexConfig, an_edit_of_any_file_changes_only_our_entry) {
    std::vector<std::string> seeds;
    for (const Row& row : rows()) {
        if (row.text.size() < 1000) seeds.push_back(row.text);
    }
    for (const Row& row : staleRows()) seeds.push_back(row.text);
    Mutator mutator{seeds};
    int edited = 0;
    int valid = 0;
    for (int count = 0; count < 5000; ++count) {
        const std::string text = mutator.next();
        const auto before = parseTOML(text);
        if (!before) continue;
        ++valid;
        const auto after = withEntry(text, ourEntry);
        // We may refuse to edit a text that the other reader accepts, but not because of a syntax error.
        EXPECT_TRUE(after || !std::holds_alternative<ConfigError::SyntaxError>(after.error().is))
            << text << "\n"
            << after.error().description("f");
        if (after) {
            ++edited;
            const auto read = parseTOML(*after);
            ASSERT_TRUE(read) << text;
            EXPECT_EQ((*read)["mcp_servers"]["vostel"]["command"], ours) << text;
            EXPECT_EQ(withoutOurs(*read), withoutOurs(*before)) << text;
        }
        const auto removed = withoutEntry(text);
        if (removed) {
            const auto read = parseTOML(*removed);
            ASSERT_TRUE(read) << text;
            EXPECT_EQ(withoutOurs(*read), withoutOurs(*before)) << text;
        }
    }
    EXPECT_GT(valid, 500);
    EXPECT_GT(edited, 500);
}

} // namespace vostel_companion::CodexConfig
