#include "companion/commands/CommandLine.h"

#include "companion/support/TerminalSafe.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <sstream>
#include <utility>

namespace vostel_companion {

namespace {

using VostelMCPKit::MCPClientKind;
using VostelMCPKit::MCPConfirmationLogic::Decision;

constexpr const char* aboutProgram =
    "Vostel does on this machine what the tools of vostel-mcp promise to AI clients: it\n"
    "transcribes recordings, keeps what was transcribed and learns words. Without a verb\n"
    "it serves them.";

constexpr const char* aboutExitStatus = "Exit status:\n"
                                        "  0  It was done.\n"
                                        "  1  It was understood and not done, such as for an id that nothing has.\n"
                                        "  2  Something failed, or the command line makes no sense.\n"
                                        "Interrupted by Ctrl-C, a verb tidies up and ends as interrupted programs do.";

/// Leaves out what the sentences beside an argument say already.
class PlainHelp final : public CLI::Formatter {
public:
    PlainHelp() {
        label("SUBCOMMAND", "VERB");
        label("Positionals", "Arguments");
    }
    std::string make_option_opts(const CLI::Option* option) const override {
        const std::string& value = option->get_option_text();
        return value.empty() ? value : " " + value;
    }
};

/// The names as the person may write them: letter case and hyphens do not matter.
std::string plainName(std::string name) {
    std::erase_if(name, [](char character) { return character == '-' || character == '_'; });
    return CLI::detail::to_lower(name);
}

std::optional<MCPClientKind> kindNamed(const std::string& name) {
    for (const MCPClientKind kind : VostelMCPKit::allMCPClientKinds) {
        if (plainName(std::string{rawValue(kind)}) == plainName(name)) return kind;
    }
    return std::nullopt;
}

/// Declares the verbs; after the parsing it holds the arguments of the one that was given.
class Grammar final {
public:
    Grammar() {
        app_.footer(aboutExitStatus);
        app_.formatter(std::make_shared<PlainHelp>());
        app_.set_help_flag("-h,--help", "Print this help.");
        app_.require_subcommand(0, 1);
        verb(app_, "serve", "Serve AI clients until interrupted. On a terminal it also asks for confirmations.",
             Command::Serve{});
        addConfirmations();
        addSettings();
        addTranscribing();
        addTranscripts();
        addWords();
        addModels();
        addClients();
    }
    Grammar(const Grammar&) = delete;
    Grammar& operator=(const Grammar&) = delete;

    std::expected<Command, CommandLineText> parse(std::vector<std::string> arguments) {
        // The library takes them from the back, and throws whatever is not a complete command.
        std::ranges::reverse(arguments);
        try {
            app_.parse(std::move(arguments));
        } catch (const CLI::ParseError& stop) {
            return std::unexpected(textOf(stop));
        }
        return make_();
    }

private:
    using Make = std::function<Command()>;

    /// `make` builds the command from the arguments once they are there.
    CLI::App* verb(CLI::App& parent, const char* name, const char* about, Make make) {
        CLI::App* added = parent.add_subcommand(name, about)->group("Verbs");
        // A verb without one of its own inside must not overwrite what that one meant.
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
        verb(app_, "pending", "List what AI clients want to remove and what waits for your confirmation.",
             Command::ListPending{});
        for (const auto decision : {Decision::confirmed, Decision::denied}) {
            const bool isConfirmed = decision == Decision::confirmed;
            verb(app_, isConfirmed ? "confirm" : "deny",
                 isConfirmed ? "Allow a request that waits; what it asks for is done at once."
                             : "Refuse a request that waits; nothing is removed.",
                 [this, decision] { return Command{Command::AnswerPending{id_, decision}}; })
                ->add_option("ID", id_, "The request's id as 'Vostel pending' lists it; its beginning is enough.")
                ->required();
        }
    }

    void addSettings() {
        CLI::App* settings = verb(app_, "settings", "Show what AI clients may do.", Command::ShowSettings{});
        settings->require_subcommand(0, 1);
        verb(*settings, "reading", "Let AI clients read your history, transcripts and recordings, or stop them.",
             [this] { return Command{Command::SetReading{plainName(state_) == "on"}}; })
            ->add_option("STATE", state_, "on or off.")
            ->required()
            ->check(CLI::IsMember({"on", "off"}, CLI::ignore_case));
    }

    void addTranscribing() {
        CLI::App* dictate = verb(app_, "dictate", "Transcribe a file, print its text and add it to the history.",
                                 [this] { return Command{Command::Dictate{file_, language_}}; });
        dictate->add_option("FILE", file_, "An audio or video file.")->required();
        CLI::App* record =
            verb(app_, "record", "Make one recorded call of two files, transcribe it and print who said what.",
                 [this] { return Command{Command::Record{file_, system_, language_}}; });
        record->add_option("MICROPHONE", file_, "The file with your own voice.")->required();
        record->add_option("SYSTEM", system_, "The file with everyone else on the call.")->required();
        for (CLI::App* one : {dictate, record}) {
            one->add_option("--language", language_,
                            "The language that is spoken, such as en, if a model for it is installed.")
                ->option_text("CODE");
        }
    }

    void addTranscripts() {
        CLI::App* transcripts = verb(app_, "transcripts",
                                     "List the transcripts of files, links and recorded calls, newest first, or print "
                                     "one of them.",
                                     [this] {
                                         if (!id_.empty()) return Command{Command::ShowTranscript{id_}};
                                         return Command{Command::ListTranscripts{limit_, since_, until_}};
                                     });
        CLI::Option* id = transcripts->add_option("ID", id_, "Print this one; the beginning of its id is enough.");
        const auto filter = [&](const char* name, auto& value, const char* placeholder, const char* about) {
            transcripts->add_option(name, value, about)->option_text(placeholder)->excludes(id);
        };
        filter("--limit", limit_, "COUNT", "List no more than this many, 1 to 500; 50 when not given.");
        filter("--since", since_, "TIME", "Only those from this moment on: 2026-08-30, or 2026-08-30T14:05:00Z.");
        filter("--until", until_, "TIME", "Only those up to this moment.");
    }

    void addWords() {
        CLI::App* words = verb(app_, "words", "List the words that Vostel was taught.", Command::ListWords{});
        words->require_subcommand(0, 1);
        CLI::App* add = verb(*words, "add", "Teach a word, or change what it is replaced by.",
                             [this] { return Command{Command::AddWord{word_, replacement_}}; });
        add->add_option("WORD", word_, "The word or phrase as it is recognised; letter case does not matter.")
            ->required();
        add->add_option("REPLACEMENT", replacement_,
                        "What to write instead; without it the word itself, spelled as given here.");
        verb(*words, "remove", "Forget words.", [this] { return Command{Command::RemoveWords{words_}}; })
            ->add_option("WORD", words_, "The words to forget.")
            ->required();
    }

    void addModels() {
        CLI::App* models =
            verb(app_, "models", "List the speech recognition models and which are installed.", Command::ListModels{});
        models->require_subcommand(0, 1);
        const auto withIdentifier = [this](CLI::App* one) {
            one->add_option("ID", id_, "The model as 'Vostel models' lists it.")->required();
        };
        withIdentifier(verb(*models, "install", "Install a model that models.json describes.",
                            [this] { return Command{Command::InstallModel{id_}}; }));
        withIdentifier(verb(*models, "remove", "Remove an installed model from the disk.",
                            [this] { return Command{Command::RemoveModel{id_}}; }));
    }

    void addClients() {
        CLI::App* clients =
            app_.add_subcommand("clients", "Connect AI clients to this copy of Vostel.")->group("Verbs");
        clients->require_subcommand(1);
        struct Row {
            ClientsVerb verb;
            const char* name;
            const char* about;
        };
        const Row rows[] = {
            {ClientsVerb::status, "status", "Say which clients are connected. Exits with 0 when all asked for are."},
            {ClientsVerb::install, "install", "Enter vostel-mcp into the clients' own configuration."},
            {ClientsVerb::remove, "remove", "Take vostel-mcp out of the clients' own configuration."},
        };
        for (const Row& row : rows) {
            CLI::App* added = verb(*clients, row.name, row.about, [this, which = row.verb] {
                return Command{Command::Clients{which, kinds(), force_}};
            });
            added
                ->add_option("KIND", kindNames_,
                             "claude-code, claude-desktop or codex; several, or none for all of them.")
                ->check([](const std::string& name) {
                    return kindNamed(name) ? std::string{}
                                           : "'" + name + "' is none of claude-code, claude-desktop and codex.";
                });
            if (row.verb != ClientsVerb::status) {
                added->add_flag("--force", force_, "Also change an entry of that name that is not Vostel's.");
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
        const bool isHelp = app_.exit(stop, out, err) == 0;
        // A complaint repeats what was typed.
        return {isHelp ? out.str() : printable(err.str()), isHelp ? Exit::done : Exit::failed};
    }

    CLI::App app_{aboutProgram, "Vostel"};
    Make make_ = [] { return Command{Command::Serve{}}; };

    std::string id_;
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
};

} // namespace

std::expected<Command, CommandLineText> parseCommandLine(std::span<const std::string> arguments) {
    return Grammar{}.parse({arguments.begin(), arguments.end()});
}

} // namespace vostel_companion
