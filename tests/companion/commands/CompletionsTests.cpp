#include "companion/commands/CommandLine.h"
#include "companion/commands/Completions.h"
#include "tests/companion/support/Program.h"
#include "tests/support/Files.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace vostel_companion {

using vostel_tests::Program;
using vostel_tests::writeFile;

namespace {

std::string namesOfCommands() {
    std::string names;
    for (const CommandDescription& command : describeCommandLine().commands) {
        names += (names.empty() ? "" : "|") + command.name;
    }
    return names;
}

} // namespace

TEST(Completions, bash_completes_commands_options_values_and_files) {
    struct Row {
        std::vector<std::string> words;
        std::string completed;
    };
    const Row rows[] = {
        {{""}, namesOfCommands()},
        {{"del"}, "delete"},
        {{"delete", ""}, "transcript|recording|dictation"},
        {{"delete", "transcript", ""}, ""},
        {{"search", "delete", ""}, ""},
        {{"--v"}, "--version"},
        {{"transcripts", "--f"}, "--format"},
        {{"transcripts", "--format", ""}, "txt|srt|vtt|json"},
        {{"transcripts", "3F2A", "--format", "s"}, "srt"},
        {{"transcripts", "--limit", ""}, ""},
        {{"settings", "reading", "o"}, "on|off"},
        {{"clients", "install", "claude-code", "c"}, "claude-code|claude-desktop|codex"},
        {{"clients", "install", "--"}, "--help|--force"},
        {{"completions", ""}, "bash|zsh|fish"},
        {{"transcribe", "my t"}, "my talk.wav"},
        {{"dictate", "--"}, "--help|--language"},
        {{"pending", "my t"}, ""},
    };
    const vostel_tests::TemporaryFolder home;
    writeFile(home / "my talk.wav", "");
    writeFile(home / "script", completionScript(Shell::bash, describeCommandLine()));
    std::string commands = "set -eu; cd \"$HOME\"; . ./script\n"
                           "try() { COMP_WORDS=(Vostel \"$@\") COMP_CWORD=$#; _Vostel; "
                           "(IFS='|'; echo \"${COMPREPLY[*]-}\"); }\n";
    std::string expected;
    for (const Row& row : rows) {
        commands += "try";
        for (const std::string& word : row.words) commands += " '" + word + "'";
        commands += "\n";
        expected += row.completed + "\n";
    }
    Program bash{"/bin/bash", {"-c", commands}, home.path()};
    EXPECT_EQ(bash.status(), 0);
    EXPECT_EQ(bash.errors(), "");
    EXPECT_EQ(bash.output(), expected);
}

TEST(Completions, every_shell_that_is_installed_can_read_its_script) {
    struct Row {
        Shell shell;
        const char* name;
    };
    const Row rows[] = {{Shell::bash, "bash"}, {Shell::zsh, "zsh"}, {Shell::fish, "fish"}};
    for (const Row& row : rows) {
        for (const char* const folder : {"/bin/", "/usr/bin/", "/usr/local/bin/", "/opt/homebrew/bin/"}) {
            const std::filesystem::path executable = std::string{folder} + row.name;
            if (!std::filesystem::exists(executable)) continue;
            const vostel_tests::TemporaryFolder home;
            writeFile(home / "script", completionScript(row.shell, describeCommandLine()));
            Program program{executable, {"-n", home / "script"}, home.path()};
            EXPECT_EQ(program.status(), 0) << executable;
            EXPECT_EQ(program.errors(), "") << executable;
        }
    }
}

TEST(Completions, a_description_is_quoted_for_each_shell) {
    const CommandDescription inner{.name = "inner",
                                   .about = R"(It's a "b" \ $c `d`: e)",
                                   .options = {},
                                   .commands = {},
                                   .choices = {},
                                   .takesFiles = false};
    const CommandDescription program{
        .name = "Vostel", .about = "", .options = {}, .commands = {inner}, .choices = {}, .takesFiles = false};
    EXPECT_TRUE(completionScript(Shell::zsh, program).contains(R"('inner:It'\''s a "b" \ $c `d`: e')"));
    EXPECT_TRUE(completionScript(Shell::fish, program).contains(R"(-a inner -d 'It\'s a "b" \\ $c `d`: e')"));
}

} // namespace vostel_companion
