#include "companion/commands/CommandLine.h"

#include "companion/support/TerminalSafe.h"
#include "kit/support/ASCII.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <sstream>
#include <utility>

namespace vostel_companion {

namespace {

using VostelMCPKit::MCPClientKind;
using VostelMCPKit::MCPConfirmationLogic::Decision;

constexpr const char* aboutProgram = "Vostel provides the tools that vostel-mcp offers to AI clients. It transcribes\n"
                                     "recordings on this machine, stores the transcripts and learns words. Without a\n"
                                     "command it serves AI clients.";

constexpr const char* aboutExitStatus = "Exit status:\n"
                                        "  0  Success.\n"
                                        "  1  The request was valid but could not be carried out, for example because\n"
                                        "     no transcript has this id.\n"
                                        "  2  Something failed, or the command line is wrong.\n"
                                        "After Ctrl-C, a command cleans up and ends with the signal.";

/// Prints each argument without CLI11's types and marks. The sentence beside it says more.
class PlainHelp final : public CLI::Formatter {
public:
    PlainHelp() {
        label("SUBCOMMAND", "COMMAND");
        label("Positionals", "Arguments");
    }
    std::string make_option_opts(const CLI::Option* option) const override {
        const std::string& value = option->get_option_text();
        return value.empty() ? value : " " + value;
    }
};

/// A name without hyphens and in lower case: users may write it either way.
std::string plainName(std::string name) {
    std::erase_if(name, [](char character) { return character == '-' || character == '_'; });
    return VostelMCPKit::asciiLowerCase(name);
}

std::optional<MCPClientKind> kindNamed(const std::string& name) {
    for (const MCPClientKind kind : VostelMCPKit::allMCPClientKinds) {
        if (plainName(std::string{rawValue(kind)}) == plainName(name)) return kind;
    }
    return std::nullopt;
}

Command::Show::Format formatNamed(const std::string& name) {
    using Format = Command::Show::Format;
    const std::string plain = plainName(name);
    if (plain == "srt") return Format::srt;
    if (plain == "vtt") return Format::vtt;
    return plain == "json" ? Format::json : Format::text;
}

/// Declares the verbs. After parsing it holds the arguments of the given verb.
class Grammar final {
public:
    Grammar() {
        app_.footer(aboutExitStatus);
        app_.formatter(std::make_shared<PlainHelp>());
        app_.set_help_flag("-h,--help", "Print this help.");
        app_.set_version_flag("--version", "Vostel " VOSTEL_VERSION, "Print the version.");
        app_.require_subcommand(0, 1);
        verb(app_, "serve", "Serve AI clients until interrupted. On a terminal, also ask for confirmations.",
             Command::Serve{});
        verb(app_, "status",
             "Say whether Vostel runs, what it does and how much is kept. The exit status is 1 if it is not running.",
             Command::Status{});
        verb(app_, "quit", "Ask the running Vostel to end, and wait until it has.", Command::Quit{});
        addConfirmations();
        addSettings();
        addTranscribing();
        addHistory();
        addDelete();
        addWords();
        addModels();
        addClients();
        verb(app_, "doctor", "Check the installation and say what to do. The exit status is 1 if something is wrong.",
             Command::Doctor{});
        addCompletions();
    }
    Grammar(const Grammar&) = delete;
    Grammar& operator=(const Grammar&) = delete;

    std::expected<Command, CommandLineText> parse(std::vector<std::string> arguments) {
        // CLI11 reads the arguments from the last to the first. It throws on help, version and every error.
        std::ranges::reverse(arguments);
        try {
            app_.parse(std::move(arguments));
        } catch (const CLI::ParseError& stop) {
            return std::unexpected(textOf(stop));
        }
        return make_();
    }

    [[nodiscard]] CommandDescription describe() const { return describe(app_); }

private:
    using Make = std::function<Command()>;

    // NOLINTNEXTLINE(misc-no-recursion): commands are nested twice at most.
    [[nodiscard]] CommandDescription describe(const CLI::App& app) const {
        CommandDescription description{app.get_name(), app.get_description(), {}, {}, {}, false};
        for (const CLI::Option* option : app.get_options()) {
            const auto found = choices_.find(option);
            const std::vector<std::string> choices =
                found == choices_.end() ? std::vector<std::string>{} : found->second;
            if (option->nonpositional()) {
                description.options.push_back({"--" + option->get_lnames().front(), option->get_description(),
                                               option->get_items_expected_max() > 0, choices});
            } else {
                description.choices.insert(description.choices.end(), choices.begin(), choices.end());
                description.takesFiles = description.takesFiles || files_.contains(option);
            }
        }
        const auto all = [](const CLI::App*) { return true; };
        for (const CLI::App* inner : app.get_subcommands(all)) description.commands.push_back(describe(*inner));
        return description;
    }

    /// The option has one of these values, in either letter case.
    void allowOnly(CLI::Option* option, const std::vector<std::string>& choices) {
        option->check(CLI::IsMember(choices, CLI::ignore_case));
        choices_[option] = choices;
    }

    void addCompletions() {
        CLI::App* completions =
            verb(app_, "completions", "Print a script that completes these commands in a shell.", [this] {
                const std::string plain = plainName(state_);
                const Shell shell = plain == "zsh" ? Shell::zsh : plain == "fish" ? Shell::fish : Shell::bash;
                return Command{Command::PrintCompletions{shell}};
            });
        allowOnly(completions->add_option("SHELL", state_, "bash, zsh or fish. The script says where it belongs.")
                      ->required(),
                  {"bash", "zsh", "fish"});
    }

    /// `make` builds the command after the arguments were parsed.
    CLI::App* verb(CLI::App& parent, const char* name, const char* about, Make make) {
        CLI::App* added = parent.add_subcommand(name, about)->group("Commands");
        // The callback of a nested verb has set the command already. The outer verb must not overwrite it.
        added->callback([this, added, make = std::move(make)] {
            if (added->get_subcommands().empty()) make_ = make;
        });
        return added;
    }
    template <class Case>
        requires(!std::is_invocable_v<Case>)
    CLI::App* verb(CLI::App& parent, const char* name, const char* about, Case command) {
        return verb(parent, name, about, Make{[command = std::move(command)] { return Command{command}; }});
    }

    void addConfirmations() {
        verb(app_, "pending", "List the requests of AI clients that wait for your confirmation.",
             Command::ListPending{});
        for (const auto decision : {Decision::confirmed, Decision::denied}) {
            const bool isConfirmed = decision == Decision::confirmed;
            verb(app_, isConfirmed ? "confirm" : "deny",
                 isConfirmed ? "Confirm a waiting request. It is carried out at once."
                             : "Deny a waiting request. Nothing is removed.",
                 [this, decision] { return Command{Command::AnswerPending{id_, decision}}; })
                ->add_option("ID", id_, "The id of the request, or its beginning. 'Vostel pending' lists the ids.")
                ->required();
        }
    }

    void addSettings() {
        CLI::App* settings = verb(app_, "settings", "Show what AI clients may do.", Command::ShowSettings{});
        settings->require_subcommand(0, 1);
        CLI::App* reading =
            verb(*settings, "reading", "Allow or forbid AI clients to read your history, transcripts and recordings.",
                 [this] { return Command{Command::SetReading{plainName(state_) == "on"}}; });
        allowOnly(reading->add_option("STATE", state_, "on or off.")->required(), {"on", "off"});
    }

    void addTranscribing() {
        CLI::App* transcribe = verb(app_, "transcribe", "Transcribe files and links, print the texts and store them.",
                                    [this] { return Command{Command::Transcribe{words_, language_}}; });
        files_.insert(
            transcribe->add_option("SOURCE", words_, "Audio or video files, and links to YouTube.")->required());
        CLI::App* dictate = verb(app_, "dictate", "Transcribe a file, print the text and add it to the history.",
                                 [this] { return Command{Command::Dictate{file_, language_}}; });
        files_.insert(dictate->add_option("FILE", file_, "An audio or video file.")->required());
        CLI::App* record = verb(app_, "record", "Transcribe the two tracks of a call and print who said what.",
                                [this] { return Command{Command::Record{file_, system_, language_}}; });
        files_.insert(record->add_option("MICROPHONE", file_, "The audio file with your own voice.")->required());
        files_.insert(
            record->add_option("SYSTEM", system_, "The audio file with everyone else on the call.")->required());
        for (CLI::App* one : {transcribe, dictate, record}) {
            one->add_option("--language", language_,
                            "The spoken language, such as en. A model for it must be installed.")
                ->option_text("CODE");
        }
    }

    /// A verb for one kind of stored thing.
    struct KindVerb {
        Command::Kind kind;
        const char* name;
        const char* about;
        const char* aboutID;
    };

    void addHistory() {
        const KindVerb verbs[] = {
            {Command::Kind::transcript, "transcripts",
             "List the transcripts of files, links and recorded calls, newest first, or print one of them.",
             "Print the transcript with this id. The beginning of the id is enough."},
            {Command::Kind::recording, "recordings",
             "List the recorded calls and their states, newest first, or print who said what in one of them.",
             "Print the call with this id. The beginning of the id is enough."},
            {Command::Kind::dictation, "dictations", "List the dictations, newest first, or print one of them.",
             "Print the dictation with this id. The beginning of the id is enough."},
        };
        for (const KindVerb& one : verbs) {
            CLI::App* list = verb(app_, one.name, one.about, [this, kind = one.kind] {
                if (!id_.empty()) return Command{Command::Show{kind, id_, formatNamed(format_)}};
                return Command{Command::List{kind, limit_, since_, until_}};
            });
            CLI::Option* id = list->add_option("ID", id_, one.aboutID);
            if (one.kind != Command::Kind::dictation) {
                CLI::Option* format = list->add_option(
                    "--format", format_, "How to print it: txt, or with its times as srt or vtt (subtitles) or json.");
                allowOnly(format->option_text("FORMAT")->needs(id), {"txt", "srt", "vtt", "json"});
            }
            for (CLI::Option* option : addWindow(*list)) option->excludes(id);
        }
        CLI::App* search =
            verb(app_, "search", "Find words in all transcripts, recorded calls and dictations, newest first.",
                 [this] { return Command{Command::Search{words_, limit_, since_, until_}}; });
        search
            ->add_option("WORDS", words_,
                         "All of these must occur; the beginning of a word is enough. Put words in quotes to find them "
                         "next to each other.")
            ->required();
        addWindow(*search);
    }

    /// Adds the options that choose a part of a long list.
    std::array<CLI::Option*, 3> addWindow(CLI::App& list) {
        const auto add = [&](const char* name, auto& value, const char* placeholder, const char* about) {
            return list.add_option(name, value, about)->option_text(placeholder);
        };
        return {
            add("--limit", limit_, "COUNT", "List at most this many, 1 to 500. The default is 50."),
            add("--since", since_, "TIME", "Only those at or after this time: 2026-08-30, or 2026-08-30T14:05:00Z."),
            add("--until", until_, "TIME", "Only those at or before this time."),
        };
    }

    void addDelete() {
        CLI::App* remove = app_.add_subcommand("delete", "Delete what is stored.")->group("Commands");
        remove->require_subcommand(1);
        const KindVerb verbs[] = {
            {Command::Kind::transcript, "transcript",
             "Delete a transcript or a recorded call, its text file and what was recognised. Your own file stays.",
             "The id of the transcript, or its beginning. 'Vostel transcripts' lists the ids."},
            {Command::Kind::recording, "recording", "Delete a recorded call and its text file. Your own files stay.",
             "The id of the call, or its beginning. 'Vostel recordings' lists the ids."},
            {Command::Kind::dictation, "dictation", "Delete a dictation.",
             "The id of the dictation, or its beginning. 'Vostel dictations' lists the ids."},
        };
        for (const KindVerb& one : verbs) {
            verb(*remove, one.name, one.about, [this, kind = one.kind] { return Command{Command::Delete{kind, id_}}; })
                ->add_option("ID", id_, one.aboutID)
                ->required();
        }
    }

    void addWords() {
        CLI::App* words =
            verb(app_, "words", "List the vocabulary: words and what replaces them.", Command::ListWords{});
        words->require_subcommand(0, 1);
        CLI::App* add = verb(*words, "add", "Add a word, or change its replacement.",
                             [this] { return Command{Command::AddWord{word_, replacement_}}; });
        add->add_option("WORD", word_, "The word or phrase as it is recognised. Letter case does not matter.")
            ->required();
        add->add_option("REPLACEMENT", replacement_,
                        "What to write instead. Without it, the word is written as it is spelled here.");
        verb(*words, "remove", "Remove words.", [this] { return Command{Command::RemoveWords{words_}}; })
            ->add_option("WORD", words_, "The words to remove.")
            ->required();
    }

    void addModels() {
        CLI::App* models = verb(app_, "models", "List the speech recognition models.", Command::ListModels{});
        models->require_subcommand(0, 1);
        const auto withIdentifier = [this](CLI::App* one) {
            one->add_option("ID", id_, "The id of the model. 'Vostel models' lists the ids.")->required();
        };
        withIdentifier(verb(*models, "install", "Install a model that models.json describes.",
                            [this] { return Command{Command::InstallModel{id_}}; }));
        withIdentifier(verb(*models, "remove", "Remove an installed model from the disk.",
                            [this] { return Command{Command::RemoveModel{id_}}; }));
    }

    void addClients() {
        CLI::App* clients =
            app_.add_subcommand("clients", "Connect AI clients to this copy of Vostel.")->group("Commands");
        clients->require_subcommand(1);
        struct Row {
            ClientConfigAction action;
            const char* name;
            const char* about;
        };
        const Row rows[] = {
            {ClientConfigAction::status, "status",
             "Say which clients are connected. The exit status is 0 if all of them are."},
            {ClientConfigAction::install, "install",
             "Add vostel-mcp to the configuration of the clients. Without KIND, of those on this computer."},
            {ClientConfigAction::remove, "remove", "Remove vostel-mcp from the configuration of the clients."},
        };
        for (const Row& row : rows) {
            CLI::App* added = verb(*clients, row.name, row.about, [this, action = row.action] {
                return Command{Command::Clients{action, kinds(), force_}};
            });
            CLI::Option* kind = added->add_option(
                "KIND", kindNames_, "claude-code, claude-desktop or codex. Give several, or none for all of them.");
            choices_[kind] = {"claude-code", "claude-desktop", "codex"};
            kind->check([](const std::string& name) {
                return kindNamed(name) ? std::string{}
                                       : "'" + name + "' is not one of claude-code, claude-desktop and codex.";
            });
            if (row.action != ClientConfigAction::status) {
                added->add_flag("--force", force_, "Also change an entry 'vostel' that another program wrote.");
            }
        }
    }

    [[nodiscard]] std::vector<MCPClientKind> kinds() const {
        std::vector<MCPClientKind> kinds;
        for (const std::string& name : kindNames_) {
            const auto kind = kindNamed(name);
            if (kind && std::ranges::find(kinds, *kind) == kinds.end()) kinds.push_back(*kind);
        }
        return kinds;
    }

    [[nodiscard]] CommandLineText textOf(const CLI::ParseError& stop) const {
        std::ostringstream out;
        std::ostringstream err;
        const bool wasAskedFor = app_.exit(stop, out, err) == 0;
        // An error message repeats what the user typed.
        return {wasAskedFor ? out.str() : printable(err.str()), wasAskedFor ? Exit::done : Exit::failed};
    }

    CLI::App app_{aboutProgram, "Vostel"};
    Make make_ = [] { return Command{Command::Serve{}}; };

    std::string id_;
    std::string format_;
    std::string state_;
    std::string file_;
    std::string system_;
    std::string language_;
    std::string word_;
    std::string replacement_;
    std::vector<std::string> words_;
    std::optional<std::int64_t> limit_;
    std::optional<std::string> since_;
    std::optional<std::string> until_;
    std::vector<std::string> kindNames_;
    bool force_ = false;

    /// All values of an option or argument, where they are known.
    std::map<const CLI::Option*, std::vector<std::string>> choices_;
    /// The arguments that are paths.
    std::set<const CLI::Option*> files_;
};

} // namespace

std::expected<Command, CommandLineText> parseCommandLine(std::span<const std::string> arguments) {
    return Grammar{}.parse({arguments.begin(), arguments.end()});
}

CommandDescription describeCommandLine() { return Grammar{}.describe(); }

} // namespace vostel_companion
