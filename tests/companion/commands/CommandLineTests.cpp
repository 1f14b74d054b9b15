#include "companion/commands/CommandLine.h"

#include <gtest/gtest.h>

namespace vostel_companion {

using VostelMCPKit::MCPClientKind;
using VostelMCPKit::MCPConfirmationLogic::Decision;
using Format = Command::Show::Format;
using Kind = Command::Kind;
using Arguments = std::vector<std::string>;

TEST(CommandLine, every_verb_has_its_command) {
    struct Row {
        Arguments arguments;
        Command command;
    };
    const Row rows[] = {
        {{}, {Command::Serve{}}},
        {{"serve"}, {Command::Serve{}}},
        {{"pending"}, {Command::ListPending{}}},
        {{"confirm", "3F2A"}, {Command::AnswerPending{"3F2A", Decision::confirmed}}},
        {{"deny", "3f2a"}, {Command::AnswerPending{"3f2a", Decision::denied}}},
        {{"settings"}, {Command::ShowSettings{}}},
        {{"settings", "reading", "on"}, {Command::SetReading{true}}},
        {{"settings", "reading", "OFF"}, {Command::SetReading{false}}},
        {{"dictate", "a b.wav"}, {Command::Dictate{"a b.wav", ""}}},
        {{"dictate", "--language", "de", "a.wav"}, {Command::Dictate{"a.wav", "de"}}},
        {{"dictate", "--", "-a.wav"}, {Command::Dictate{"-a.wav", ""}}},
        {{"transcribe", "a.wav", "https://youtu.be/x", "--language", "de"},
         {Command::Transcribe{{"a.wav", "https://youtu.be/x"}, "de"}}},
        {{"record", "me.wav", "them.wav"}, {Command::Record{"me.wav", "them.wav", ""}}},
        {{"record", "me.wav", "them.wav", "--language=de"}, {Command::Record{"me.wav", "them.wav", "de"}}},
        {{"transcripts"}, {Command::List{}}},
        {{"transcripts", "--limit", "3", "--since", "2026-08-30", "--until", "2026-08-31"},
         {Command::List{Kind::transcript, 3, "2026-08-30", "2026-08-31"}}},
        {{"transcripts", "3F2A"}, {Command::Show{Kind::transcript, "3F2A"}}},
        {{"transcripts", "3F2A", "--format", "VTT"}, {Command::Show{Kind::transcript, "3F2A", Format::vtt}}},
        {{"transcripts", "--format=json", "3F2A"}, {Command::Show{Kind::transcript, "3F2A", Format::json}}},
        {{"transcripts", "3F2A", "--format", "srt"}, {Command::Show{Kind::transcript, "3F2A", Format::srt}}},
        {{"transcripts", "3F2A", "--format", "txt"}, {Command::Show{Kind::transcript, "3F2A", Format::text}}},
        {{"recordings", "--limit", "3"}, {Command::List{Kind::recording, 3, {}, {}}}},
        {{"recordings", "3F2A", "--format", "srt"}, {Command::Show{Kind::recording, "3F2A", Format::srt}}},
        {{"dictations", "--since", "2026-08-30"}, {Command::List{Kind::dictation, {}, "2026-08-30", {}}}},
        {{"dictations", "3F2A"}, {Command::Show{Kind::dictation, "3F2A"}}},
        {{"delete", "transcript", "3F2A"}, {Command::Delete{Kind::transcript, "3F2A"}}},
        {{"delete", "recording", "3F2A"}, {Command::Delete{Kind::recording, "3F2A"}}},
        {{"delete", "dictation", "3F2A"}, {Command::Delete{Kind::dictation, "3F2A"}}},
        {{"search", "good morning", "boat"}, {Command::Search{{"good morning", "boat"}, {}, {}, {}}}},
        {{"search", "--limit", "3", "--since", "2026-08-30", "a", "--until", "2026-08-31"},
         {Command::Search{{"a"}, 3, "2026-08-30", "2026-08-31"}}},
        {{"search", "--", "--limit"}, {Command::Search{{"--limit"}, {}, {}, {}}}},
        {{"words"}, {Command::ListWords{}}},
        {{"words", "add", "vostel"}, {Command::AddWord{"vostel", ""}}},
        {{"words", "add", "bostel", "Vostel"}, {Command::AddWord{"bostel", "Vostel"}}},
        {{"words", "remove", "bostel", "two words"}, {Command::RemoveWords{{"bostel", "two words"}}}},
        {{"models"}, {Command::ListModels{}}},
        {{"models", "install", "de"}, {Command::InstallModel{"de"}}},
        {{"models", "remove", "de"}, {Command::RemoveModel{"de"}}},
        {{"completions", "bash"}, {Command::PrintCompletions{Shell::bash}}},
        {{"completions", "ZSH"}, {Command::PrintCompletions{Shell::zsh}}},
        {{"completions", "fish"}, {Command::PrintCompletions{Shell::fish}}},
        {{"status"}, {Command::Status{}}},
        {{"quit"}, {Command::Quit{}}},
        {{"doctor"}, {Command::Doctor{}}},
        {{"clients", "status"}, {Command::Clients{ClientConfigAction::status, {}, false}}},
        {{"clients", "install", "claude-code"},
         {Command::Clients{ClientConfigAction::install, {MCPClientKind::claudeCode}, false}}},
        {{"clients", "install", "claudeDesktop", "CODEX", "codex", "--force"},
         {Command::Clients{ClientConfigAction::install, {MCPClientKind::claudeDesktop, MCPClientKind::codex}, true}}},
        {{"clients", "remove", "--force"}, {Command::Clients{ClientConfigAction::remove, {}, true}}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.arguments));
        const auto command = parseCommandLine(row.arguments);
        ASSERT_TRUE(command) << command.error().text;
        EXPECT_TRUE(*command == row.command);
    }
}

TEST(CommandLine, an_error_names_the_wrong_argument_and_points_to_the_help) {
    struct Row {
        Arguments arguments;
        std::string complaint;
    };
    const Row rows[] = {
        {{"sing"}, "The following argument was not expected: sing"},
        {{"pending", "all"}, "The following argument was not expected: all"},
        {{"--fast"}, "The following argument was not expected: --fast"},
        {{"confirm"}, "ID is required"},
        {{"dictate"}, "FILE is required"},
        {{"transcribe"}, "SOURCE is required"},
        {{"record", "me.wav"}, "SYSTEM is required"},
        {{"settings", "reading"}, "STATE is required"},
        {{"delete"}, "A subcommand is required"},
        {{"delete", "transcript"}, "ID is required"},
        {{"words", "remove"}, "WORD is required"},
        {{"clients"}, "A subcommand is required"},
        {{"clients", "install", "vim"}, "KIND: 'vim' is not one of claude-code, claude-desktop and codex."},
        {{"clients", "status", "--force"}, "The following argument was not expected: --force"},
        {{"transcripts", "--limit", "3", "3F2A"}, "ID excludes --limit"},
        {{"transcripts", "--format", "srt"}, "--format requires ID"},
        {{"transcripts", "3F2A", "--format", "doc"}, "--format: doc not in {txt,srt,vtt,json}"},
        {{"dictations", "3F2A", "--format", "srt"}, "The following arguments were not expected: srt --format"},
        {{"delete", "dictation"}, "ID is required"},
        {{"search"}, "WORDS is required"},
        {{"completions"}, "SHELL is required"},
        {{"completions", "csh"}, "SHELL: csh not in {bash,zsh,fish}"},
        {{"x\x1B[31m"}, "The following argument was not expected: x\xEF\xBF\xBD[31m"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.arguments));
        const auto command = parseCommandLine(row.arguments);
        ASSERT_FALSE(command);
        EXPECT_EQ(command.error().text, row.complaint + "\nRun with --help for more information.\n");
        EXPECT_EQ(command.error().exit, Exit::failed);
    }
}

TEST(CommandLine, prints_its_name_and_version) {
    const auto command = parseCommandLine(Arguments{"--version"});
    ASSERT_FALSE(command);
    EXPECT_EQ(command.error(), (CommandLineText{"Vostel " VOSTEL_VERSION "\n", Exit::done}));
}

TEST(CommandLine, every_verb_explains_itself_and_its_exit_status) {
    const Arguments verbs[] = {{},
                               {"serve"},
                               {"pending"},
                               {"confirm"},
                               {"deny"},
                               {"settings"},
                               {"settings", "reading"},
                               {"dictate"},
                               {"transcribe"},
                               {"record"},
                               {"transcripts"},
                               {"delete"},
                               {"recordings"},
                               {"dictations"},
                               {"delete", "transcript"},
                               {"delete", "recording"},
                               {"delete", "dictation"},
                               {"search"},
                               {"words"},
                               {"words", "add"},
                               {"words", "remove"},
                               {"models"},
                               {"models", "install"},
                               {"models", "remove"},
                               {"completions"},
                               {"status"},
                               {"quit"},
                               {"doctor"},
                               {"clients"},
                               {"clients", "status"},
                               {"clients", "install"},
                               {"clients", "remove"}};
    for (Arguments arguments : verbs) {
        SCOPED_TRACE(testing::PrintToString(arguments));
        std::string usage = "Usage: Vostel";
        for (const std::string& verb : arguments) usage += " " + verb;
        arguments.emplace_back("--help");
        const auto command = parseCommandLine(arguments);
        ASSERT_FALSE(command);
        EXPECT_EQ(command.error().exit, Exit::done);
        EXPECT_NE(command.error().text.find(usage), std::string::npos) << command.error().text;
        EXPECT_NE(command.error().text.find("\nExit status:\n  0  Success.\n"), std::string::npos);
    }
}

} // namespace vostel_companion
