#include "companion/configs/ClaudeCodeConfig.h"
#include "kit/jsonrpc/JSONReader.h"
#include "tests/companion/configs/ClientConfigsFixture.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace vostel_companion::ClaudeCodeConfig {

using VostelMCPKit::MCPClientConfigLogic::MCPClientEntry;

namespace {

nlohmann::json read(std::string_view text) {
    if (text.starts_with(byteOrderMark)) text.remove_prefix(byteOrderMark.size());
    return nlohmann::json::parse(text, nullptr, false);
}

nlohmann::json withoutOurs(nlohmann::json document) {
    if (document.is_null()) document = nlohmann::json::object();
    if (!document.contains("mcpServers")) document["mcpServers"] = nlohmann::json::object();
    document["mcpServers"].erase("vostel");
    return document;
}

const char* const entryOfDepthTwo = R"("vostel": {
      "args": [],
      "command": "/opt/v/vostel-mcp",
      "type": "stdio"
    })";

/// The configuration of a user who has used the client for a long time.
std::string largeFile() {
    std::string text = "{\n  \"projects\": {\n";
    for (int project = 0; text.size() < 256 * 1024; ++project) {
        text += "    \"/home/ä/" + std::to_string(project) +
                "\": {\n      \"mcpServers\": {\"vostel\": {\"command\": \"/x\"}},\n      \"history\": "
                "[\"say \\\"}{][\\\" \\u00e9 \\\\\", 1.50, 1E2, -0, null]\n    },\n";
    }
    return text + "    \"last\": {}\n  },\n  \"mcpServers\": {\n    \"a\": {}\n  },\n  \"z\": 1\n}\n";
}

struct Row {
    const char* when;
    std::string before;
    std::string after;
    /// What removal leaves, where that is not `before`.
    std::optional<std::string> removed;
};

std::vector<Row> rows() {
    const std::string entry = entryOfDepthTwo;
    const std::string alone = "{\n  \"mcpServers\": {\n    " + entry + "\n  }\n}";
    const std::string emptied = "{\n  \"mcpServers\": {}\n}";
    const std::string nothing = "{}\n";
    const std::string large = largeFile();
    const std::string ourLine = R"({"args":[],"command":"/opt/v/vostel-mcp","type":"stdio"})";
    std::string largeAfter = large;
    largeAfter.replace(largeAfter.rfind("\"a\": {}"), 7, "\"a\": {},\n    " + entry);
    return {
        {"a missing or empty file", "", alone + "\n", nothing},
        {"only white space", " \n\t\n", " \n\t\n" + alone + "\n", " \n\t\n" + nothing},
        {"only a byte order mark", byteOrderMark, byteOrderMark + alone + "\n", byteOrderMark + nothing},
        {"only a line break of two characters", "\r\n", "\r\n" + withCRLF(alone + "\n"), "\r\n" + withCRLF(nothing)},
        {"an empty object", "{}", alone, {}},
        {"an empty object over lines", "{\n}\n", alone + "\n", nothing},
        {"an empty list of servers", "{\n  \"mcpServers\": {}\n}\n", alone + "\n", {}},
        {"an empty list of servers over lines", "{\n  \"mcpServers\": {\n  }\n}\n", alone + "\n", emptied + "\n"},
        {"other settings",
         "{\n  \"z\": 1,\n  \"a\": [1, 2]\n}\n",
         "{\n  \"z\": 1,\n  \"a\": [1, 2],\n  \"mcpServers\": {\n    " + entry + "\n  }\n}\n",
         {}},
        {"other servers",
         "{\n  \"mcpServers\": {\n    \"b\": {\"x\":1}\n  },\n  \"a\": 2\n}\n",
         "{\n  \"mcpServers\": {\n    \"b\": {\"x\":1},\n    " + entry + "\n  },\n  \"a\": 2\n}\n",
         {}},
        {"no final line break",
         "{\n  \"mcpServers\": {\n    \"b\": 1\n  }\n}",
         "{\n  \"mcpServers\": {\n    \"b\": 1,\n    " + entry + "\n  }\n}",
         {}},
        {"line breaks of two bytes",
         withCRLF("{\n  \"mcpServers\": {\n    \"b\": 1\n  }\n}\n"),
         withCRLF("{\n  \"mcpServers\": {\n    \"b\": 1,\n    " + entry + "\n  }\n}\n"),
         {}},
        {"line breaks of two bytes and no servers",
         withCRLF("{\n  \"b\": 1\n}\n"),
         withCRLF("{\n  \"b\": 1,\n  \"mcpServers\": {\n    " + entry + "\n  }\n}\n"),
         {}},
        {"a byte order mark",
         byteOrderMark + "{\n  \"mcpServers\": {\n    \"b\": 1\n  }\n}\n",
         byteOrderMark + "{\n  \"mcpServers\": {\n    \"b\": 1,\n    " + entry + "\n  }\n}\n",
         {}},
        {"tabs",
         "{\n\t\"mcpServers\": {\n\t\t\"b\": 1\n\t}\n}",
         "{\n\t\"mcpServers\": {\n\t\t\"b\": 1,\n\t\t\"vostel\": {\n\t\t\t\"args\": [],\n\t\t\t\"command\": "
         "\"/opt/v/vostel-mcp\",\n\t\t\t\"type\": \"stdio\"\n\t\t}\n\t}\n}",
         {}},
        {"four spaces and an empty list", "{\n    \"mcpServers\": { }\n}",
         "{\n    \"mcpServers\": {\n        \"vostel\": {\n            \"args\": [],\n            \"command\": "
         "\"/opt/v/vostel-mcp\",\n            \"type\": \"stdio\"\n        }\n    }\n}",
         "{\n    \"mcpServers\": {}\n}"},
        {"lines without indentation",
         "{\n\"mcpServers\":{\n\"b\":1\n}\n}",
         "{\n\"mcpServers\":{\n\"b\":1,\n\"vostel\":{\n\"args\":[],\n\"command\":\"/opt/v/vostel-mcp\",\n"
         "\"type\":\"stdio\"\n}\n}\n}",
         {}},
        {"everything in one line",
         R"({"a":1,"mcpServers":{"b":{}}})",
         R"({"a":1,"mcpServers":{"b":{},"vostel":)" + ourLine + "}}",
         {}},
        {"everything in one line, without servers",
         R"({"a":1})",
         R"({"a":1,"mcpServers":{"vostel":)" + ourLine + "}}",
         {}},
        {"everything in one line, with spaces",
         R"({ "a": 1, "mcpServers": { "b": 1 } })",
         R"({ "a": 1, "mcpServers": { "b": 1, "vostel": {"args": [], "command": "/opt/v/vostel-mcp", "type": "stdio"} } })",
         {}},
        {"servers in one line among lines",
         "{\n  \"mcpServers\": {\"b\": 1, \"c\": 2},\n  \"d\": 3\n}",
         "{\n  \"mcpServers\": {\"b\": 1, \"c\": 2, \"vostel\": {\"args\": [], \"command\": \"/opt/v/vostel-mcp\", "
         "\"type\": \"stdio\"}},\n  \"d\": 3\n}",
         {}},
        {"an empty line between the servers",
         "{\n  \"mcpServers\": {\n    \"b\": 1,\n\n    \"c\": 2\n\n  }\n}",
         "{\n  \"mcpServers\": {\n    \"b\": 1,\n\n    \"c\": 2,\n    " + entry + "\n\n  }\n}",
         {}},
        {"a space before the colons",
         "{\n  \"mcpServers\" : {\n    \"b\" : 1\n  }\n}",
         "{\n  \"mcpServers\" : {\n    \"b\" : 1,\n    \"vostel\" : {\n      \"args\" : [],\n      \"command\" : "
         "\"/opt/v/vostel-mcp\",\n      \"type\" : \"stdio\"\n    }\n  }\n}",
         {}},
        {"the same names elsewhere",
         "{\n  \"projects\": {\"/p\": {\"mcpServers\": {\"vostel\": {\"command\": \"/x\"}}}},\n  \"vostel\": {},\n  "
         "\"mcpServers\": {\n    \"b\": {\"vostel\": 1}\n  }\n}",
         "{\n  \"projects\": {\"/p\": {\"mcpServers\": {\"vostel\": {\"command\": \"/x\"}}}},\n  \"vostel\": {},\n  "
         "\"mcpServers\": {\n    \"b\": {\"vostel\": 1},\n    " +
             entry + "\n  }\n}",
         {}},
        {"names that only look alike",
         "{\n  \"mcpServers\": {\n    \"Vostel\": 1,\n    \"vostel \": 2\n  }\n}",
         "{\n  \"mcpServers\": {\n    \"Vostel\": 1,\n    \"vostel \": 2,\n    " + entry + "\n  }\n}",
         {}},
        {"strings with brackets and quotes",
         "{\n  \"a\": \"}],\\\"{:\\\\\",\n  \"mcpServers\": {\n    \"b\\\"}\": \"{\"\n  }\n}",
         "{\n  \"a\": \"}],\\\"{:\\\\\",\n  \"mcpServers\": {\n    \"b\\\"}\": \"{\",\n    " + entry + "\n  }\n}",
         {}},
        {"names with escapes",
         "{\n  \"mcp\\u0053ervers\": {\n    \"b\": 1\n  }\n}",
         "{\n  \"mcp\\u0053ervers\": {\n    \"b\": 1,\n    " + entry + "\n  }\n}",
         {}},
        {"beyond ASCII",
         "{\n  \"naïve 日本 🙂\": \"\\ud83d\\ude42\",\n  \"mcpServers\": {\n    \"ключ\": {}\n  }\n}",
         "{\n  \"naïve 日本 🙂\": \"\\ud83d\\ude42\",\n  \"mcpServers\": {\n    \"ключ\": {},\n    " + entry +
             "\n  }\n}",
         {}},
        {"numbers in unusual notations",
         "{\n  \"a\": [1.50, 1E2, -0.0, 12345678901234567890],\n  \"mcpServers\": "
         "{\n    \"b\": 1e-3\n  }\n}",
         "{\n  \"a\": [1.50, 1E2, -0.0, 12345678901234567890],\n  \"mcpServers\": {\n    \"b\": 1e-3,\n    " + entry +
             "\n  }\n}",
         {}},
        {"settings named twice elsewhere",
         "{\n  \"a\": 1,\n  \"a\": 2,\n  \"mcpServers\": {\n    \"b\": 1\n  }\n}",
         "{\n  \"a\": 1,\n  \"a\": 2,\n  \"mcpServers\": {\n    \"b\": 1,\n    " + entry + "\n  }\n}",
         {}},
        {"commas at the beginning of lines",
         "{ \"mcpServers\":\n  { \"b\": 1\n  , \"c\": 2\n  }\n}",
         "{ \"mcpServers\":\n  { \"b\": 1\n  , \"c\": 2, \"vostel\": {\"args\": [], \"command\": "
         "\"/opt/v/vostel-mcp\", \"type\": \"stdio\"}\n  }\n}",
         {}},
        {"a very large file", large, largeAfter, {}},
    };
}

} // namespace

TEST(ClaudeCodeConfig, an_entry_is_added_in_the_style_of_the_file_and_removed_again) {
    for (const Row& row : rows()) {
        SCOPED_TRACE(row.when);
        EXPECT_EQ(existingCommand(row.before), std::nullopt);
        const auto after = withEntry(row.before, ourEntry);
        ASSERT_TRUE(after) << after.error().description("file");
        EXPECT_EQ(*after, row.after);
        EXPECT_EQ(existingCommand(*after), ours);
        EXPECT_EQ(withEntry(*after, ourEntry), *after);

        const auto removed = withoutEntry(*after, row.before);
        ASSERT_TRUE(removed) << removed.error().description("file");
        EXPECT_EQ(*removed, row.removed.value_or(row.before));
        EXPECT_EQ(withoutEntry(row.before), row.before);
    }
}

TEST(ClaudeCodeConfig, another_reader_finds_our_entry_and_nothing_else_changed) {
    const nlohmann::json entry = {{"type", "stdio"}, {"command", ours}, {"args", nlohmann::json::array()}};
    for (const Row& row : rows()) {
        SCOPED_TRACE(row.when);
        const auto after = withEntry(row.before, ourEntry);
        ASSERT_TRUE(after);
        nlohmann::json expected = read(row.before);
        if (expected.is_discarded()) expected = nlohmann::json::object();
        expected["mcpServers"]["vostel"] = entry;
        EXPECT_EQ(read(*after), expected);
    }
}

TEST(ClaudeCodeConfig, half_a_surrogate_pair_stays_unchanged) {
    // Other programs write such escapes when they cut a text between the two halves.
    const std::string head =
        "{\n  \"a\": \"\\ud83d \\\\\\uDE42 \\\\ud83d \\ud83d\\ude42\",\n  \"\\ud83d\\ud83d\\ude42\": 1,\n"
        "  \"mcpServers\": {\n    \"b\\udc00\": 1";
    const std::string before = head + "\n  }\n}";
    const std::string after = head + ",\n    " + entryOfDepthTwo + "\n  }\n}";
    EXPECT_EQ(existingCommand(before), std::nullopt);
    EXPECT_EQ(withEntry(before, ourEntry), after);
    EXPECT_EQ(existingCommand(after), ours);
    EXPECT_EQ(withoutEntry(after), before);
}

TEST(ClaudeCodeConfig, in_an_older_entry_of_ours_only_the_command_changes) {
    struct Stale {
        const char* when;
        std::string before;
        std::string after;
    };
    const Stale cases[] = {
        {"with settings of the user",
         "{\"mcpServers\": {\"vostel\": {\"env\": {\"A\": \"1\"},\n  \"command\" :  \"/old/vostel-mcp\", \"args\": "
         "[\"-v\"]}, \"b\": 1}}",
         "{\"mcpServers\": {\"vostel\": {\"env\": {\"A\": \"1\"},\n  \"command\" :  \"/opt/v/vostel-mcp\", \"args\": "
         "[\"-v\"]}, \"b\": 1}}"},
        {"names with escapes", R"({"mcpServers":{"\u0076ostel":{"c\u006fmmand":"\/old\/vostel-mcp"}}})",
         R"({"mcpServers":{"\u0076ostel":{"c\u006fmmand":"/opt/v/vostel-mcp"}}})"},
    };
    for (const Stale& row : cases) {
        SCOPED_TRACE(row.when);
        EXPECT_EQ(existingCommand(row.before), "/old/vostel-mcp");
        EXPECT_EQ(withEntry(row.before, ourEntry), row.after);
    }
}

TEST(ClaudeCodeConfig, a_foreign_entry_is_replaced_completely) {
    struct Foreign {
        const char* when;
        std::string before;
        std::string command;
        std::string after;
    };
    const std::string inLines =
        std::string{"{\n  \"mcpServers\": {\n    "} + entryOfDepthTwo + ",\n    \"b\": 1\n  }\n}";
    const Foreign cases[] = {
        {"another program",
         "{\n  \"mcpServers\": {\n    \"vostel\": {\"command\": \"/usr/bin/node\", \"env\": {}},\n    \"b\": 1\n  }\n}",
         "/usr/bin/node", inLines},
        {"a server on the web", "{\n  \"mcpServers\": {\n    \"vostel\": {\"type\": \"http\"},\n    \"b\": 1\n  }\n}",
         "", inLines},
        {"no object",
         "{\n  \"mcpServers\": {\n    \"vostel\": [{\"command\": \"/a/vostel-mcp\"}],\n    \"b\": 1\n  }\n}", "",
         inLines},
        {"null", "{\n  \"mcpServers\": {\n    \"vostel\": null,\n    \"b\": 1\n  }\n}", "", inLines},
        {"a command that is not text", R"({"mcpServers":{"vostel":{"command":["vostel-mcp"]}}})", "",
         R"({"mcpServers":{"vostel":{"args":[],"command":"/opt/v/vostel-mcp","type":"stdio"}}})"},
    };
    for (const Foreign& row : cases) {
        SCOPED_TRACE(row.when);
        EXPECT_EQ(existingCommand(row.before), row.command);
        EXPECT_EQ(withEntry(row.before, ourEntry), row.after);
    }
}

TEST(ClaudeCodeConfig, an_entry_is_removed_with_its_comma) {
    struct Removal {
        const char* when;
        std::string before;
        std::string after;
        /// The text from before the entry was added, if it is known.
        std::string original = {};
    };
    const Removal cases[] = {
        {"the first", R"({"mcpServers": { "vostel": {}, "b": 1}})", R"({"mcpServers": { "b": 1}})"},
        {"between others", "{\"mcpServers\": {\n  \"a\": 1,\n  \"vostel\": {},\n  \"b\": 2\n}}",
         "{\"mcpServers\": {\n  \"a\": 1,\n  \"b\": 2\n}}"},
        {"the last", "{\"mcpServers\": {\n  \"a\": 1,\n  \"vostel\": {}\n}}", "{\"mcpServers\": {\n  \"a\": 1\n}}"},
        {"alone", "{\"mcpServers\": {\n  \"vostel\": {}\n}, \"a\": 1}", R"({"a": 1})"},
        {"alone, and the original had no servers", R"({"a": 1, "mcpServers": {"vostel": {}}})", R"({"a": 1})", R"({})"},
        {"alone, and the original had an empty list", R"({"mcpServers": {"vostel": {}}, "a": 1})",
         R"({"mcpServers": {}, "a": 1})", R"({"mcpServers": {}})"},
        {"alone, and the original is broken", R"({"mcpServers": {"vostel": {}}, "a": 1})", R"({"a": 1})", "{"},
        {"not there", R"({"mcpServers": [1]})", ""},
    };
    for (const Removal& row : cases) {
        SCOPED_TRACE(row.when);
        if (row.after.empty()) {
            EXPECT_FALSE(withoutEntry(row.before, row.original));
        } else {
            EXPECT_EQ(withoutEntry(row.before, row.original), row.after);
        }
    }
}

TEST(ClaudeCodeConfig, a_file_that_is_broken_or_ambiguous_is_reported_by_every_operation) {
    const Refused cases[] = {
        {"a trailing comma", "{\n  \"a\": 1,\n}", "f is not valid JSON at line 3, column 1."},
        {"a comment", "{\n  // mine\n  \"a\": 1\n}", "f is not valid JSON at line 2, column 3."},
        {"cut off", "{\n  \"é\": ", "f is not valid JSON at line 2, column 8."},
        {"a byte order mark counts for nothing", byteOrderMark + "{,}", "f is not valid JSON at line 1, column 2."},
        {"two documents", "{} {}", "f is not valid JSON at line 1, column 4."},
        {"single quotes", "{'a': 1}", "f is not valid JSON at line 1, column 2."},
        {"half a surrogate pair that is not an escape", "{\"a\": \"\xED\xA0\xBD\"}",
         "f is not valid JSON at line 1, column 8."},
        {"an error after half a surrogate pair", "{\"a\": \"\\ud83d\",}", "f is not valid JSON at line 1, column 16."},
        {"a surrogate pair that is cut off", "{\"a\": \"\\ud8", "f is not valid JSON at line 1, column 12."},
        {"not UTF-8", "{\"a\": \"\xE9\"}", "f is not valid JSON at line 1, column 8."},
        {"UTF-16", std::string{"\xFF\xFE{\0}\0", 6}, "f is not valid JSON at line 1, column 1."},
        {"a NUL after the end", std::string{"{}\0", 3}, "f is not valid JSON at line 1, column 3."},
        {"a merge conflict", "{\n<<<<<<< HEAD\n}", "f is not valid JSON at line 2, column 1."},
        {"a huge number", "{\"a\": 1e999}", "f contains a number that is too large."},
        {"an array", "\n []", "f does not contain an object (line 2, column 2)."},
        {"a string", "\"{}\"", "f does not contain an object (line 1, column 1)."},
        {"servers in an array", "{\"mcpServers\": []}",
         "f has something other than an object under mcpServers (line 1, column 16)."},
        {"servers null", "{\"mcpServers\": null}",
         "f has something other than an object under mcpServers (line 1, column 16)."},
        {"servers twice", "{\"mcpServers\": {},\n \"mcp\\u0053ervers\": {}}",
         "f contains mcpServers more than once, again at line 2, column 2; keep one of them and try again."},
        {"the entry twice", "{\"mcpServers\": {\"vostel\": {},\n \"\\u0076ostel\": {}}}",
         "f contains vostel more than once, again at line 2, column 2; keep one of them and try again."},
        {"the command twice", "{\"mcpServers\": {\"vostel\": {\"command\": \"a\", \"command\": \"b\"}}}",
         "f contains command more than once, again at line 1, column 44; keep one of them and try again."},
    };
    expectRefusal(cases, existingCommand, withEntry, withoutEntry);
}

TEST(ClaudeCodeConfig, a_path_with_special_characters_is_written_and_read_back) {
    const MCPClientEntry awkward{"/Applications/My \"Apps\"\\ö/🙂/vostel-mcp", {}};
    const auto text = withEntry("", awkward);
    ASSERT_TRUE(text);
    EXPECT_EQ(existingCommand(*text), awkward.command);
    EXPECT_EQ(read(*text)["mcpServers"]["vostel"]["command"], awkward.command);
}

TEST(ClaudeCodeConfig, a_hundred_thousand_nested_brackets_are_read) {
    const std::string depth(100'000, '[');
    const std::string text = "{\"a\":" + depth + std::string(depth.size(), ']') + ",\"mcpServers\":{}}";
    const auto after = withEntry(text, ourEntry);
    ASSERT_TRUE(after);
    EXPECT_EQ(existingCommand(*after), ours);
    EXPECT_FALSE(withEntry("{\"a\":" + depth, ourEntry));
}

TEST(ClaudeCodeConfig, an_edit_of_any_file_changes_only_our_entry) {
    std::vector<std::string> seeds;
    for (const Row& row : rows()) {
        if (row.before.size() > 1000) continue;
        seeds.push_back(row.before);
        seeds.push_back(row.after);
    }
    Mutator mutator{seeds};
    int edited = 0;
    for (int count = 0; count < 5000; ++count) {
        const std::string text = mutator.next();
        const auto after = withEntry(text, ourEntry);
        const auto removed = withoutEntry(text);
        const nlohmann::json before = read(text);
        EXPECT_EQ(after.has_value(), removed.has_value()) << text;
        if (!after || before.is_discarded()) continue;
        ++edited;
        EXPECT_EQ(existingCommand(*after), ours) << text;
        EXPECT_EQ(withoutOurs(read(*after)), withoutOurs(before)) << text;
        EXPECT_EQ(existingCommand(*removed), std::nullopt) << text;
        EXPECT_EQ(withoutOurs(read(*removed)), withoutOurs(before)) << text;
    }
    EXPECT_GT(edited, 300);
}

} // namespace vostel_companion::ClaudeCodeConfig
