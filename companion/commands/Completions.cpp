#include "companion/commands/Completions.h"

#include <string_view>

namespace vostel_companion {

namespace {

/// A command and where it is: "" for the program itself, "/delete/transcript" for a command inside a command.
struct CommandPlace {
    std::string path;
    const CommandDescription& command;
};

/// The program and all its commands.
std::vector<CommandPlace> placesIn(const CommandDescription& program) {
    std::vector<CommandPlace> places{{"", program}};
    // The list grows while it is read.
    for (std::size_t at = 0; at < places.size(); ++at) {
        const CommandPlace outer = places[at];
        for (const CommandDescription& inner : outer.command.commands) {
            places.push_back({outer.path + "/" + inner.name, inner});
        }
    }
    return places;
}

std::string joined(const std::vector<std::string>& texts, std::string_view separator) {
    std::string result;
    for (const std::string& text : texts) result.append(result.empty() ? "" : separator).append(text);
    return result;
}

/// "/confirm | /deny": the alternatives in a `case` of a shell.
std::string pathsOf(const std::vector<CommandPlace>& places, std::string_view separator) {
    std::vector<std::string> paths;
    for (const CommandPlace& place : places) {
        if (!place.path.empty()) paths.push_back(place.path);
    }
    return joined(paths, separator);
}

std::vector<std::string> wordsOf(const CommandDescription& command) {
    std::vector<std::string> words = command.choices;
    for (const CommandDescription& inner : command.commands) words.push_back(inner.name);
    return words;
}

std::vector<std::string> optionsOf(const CommandDescription& command) {
    std::vector<std::string> names;
    for (const CommandDescription::Option& option : command.options) names.push_back(option.name);
    return names;
}

/// In single quotes, for bash and zsh.
std::string shellQuoted(std::string_view text) {
    std::string result = "'";
    for (const char character : text) {
        if (character == '\'') {
            result += "'\\''";
        } else {
            result += character;
        }
    }
    return result + "'";
}

/// In single quotes, for fish.
std::string fishQuoted(std::string_view text) {
    std::string result = "'";
    for (const char character : text) {
        if (character == '\'' || character == '\\') result += '\\';
        result += character;
    }
    return result + "'";
}

std::string bashScript(const std::vector<CommandPlace>& places) {
    std::string script = R"(# Completions of Vostel for bash. In ~/.bashrc: source <(Vostel completions bash)
_Vostel() {
    local word=${COMP_WORDS[COMP_CWORD]} verb= words= options= files= at reply
    for ((at = 1; at < COMP_CWORD; at++)); do
        case "$verb/${COMP_WORDS[at]}" in
            )" + pathsOf(places, " | ") +
                         R"() verb=$verb/${COMP_WORDS[at]} ;;
        esac
    done
    case "$verb" in
)";
    for (const CommandPlace& place : places) {
        script += "        " + shellQuoted(place.path) + ") words=" + shellQuoted(joined(wordsOf(place.command), " ")) +
                  " options=" + shellQuoted(joined(optionsOf(place.command), " ")) +
                  (place.command.takesFiles ? " files=yes" : "") + " ;;\n";
    }
    script += R"(    esac
    case "$word" in -*) words=$options files= ;; esac
    case "$verb:${COMP_WORDS[COMP_CWORD - 1]}" in
)";
    for (const CommandPlace& place : places) {
        for (const CommandDescription::Option& option : place.command.options) {
            if (!option.takesValue) continue;
            script += "        " + place.path + ":" + option.name +
                      ") words=" + shellQuoted(joined(option.choices, " ")) + " files= ;;\n";
        }
    }
    return script + R"(    esac
    COMPREPLY=()
    while IFS= read -r reply; do COMPREPLY+=("$reply"); done < <(
        compgen -W "$words" -- "$word" || :
        [ -z "$files" ] || compgen -f -- "$word"
    )
}
complete -o filenames -F _Vostel Vostel
)";
}

/// "'serve:Serve AI clients.'": a word and what it means.
std::string zshWord(const std::string& word, const std::string& about) { return shellQuoted(word + ":" + about); }

std::string zshScript(const std::vector<CommandPlace>& places) {
    std::string script = R"(#compdef Vostel
# Completions of Vostel for zsh. In ~/.zshrc, after compinit: source <(Vostel completions zsh)
_Vostel() {
    local verb= files= at
    local -a commands options
    for ((at = 2; at < CURRENT; at++)); do
        case "$verb/${words[at]}" in
            ()" + pathsOf(places, "|") +
                         R"() verb=$verb/${words[at]} ;;
        esac
    done
    case "$verb:${words[CURRENT - 1]}" in
)";
    for (const CommandPlace& place : places) {
        for (const CommandDescription::Option& option : place.command.options) {
            if (!option.takesValue) continue;
            script += "        (" + place.path + ":" + option.name + ") " +
                      (option.choices.empty() ? "" : "compadd -- " + joined(option.choices, " ") + "; ") +
                      "return ;;\n";
        }
    }
    script += "    esac\n    case \"$verb\" in\n";
    for (const CommandPlace& place : places) {
        std::vector<std::string> commands;
        for (const CommandDescription& inner : place.command.commands) {
            commands.push_back(zshWord(inner.name, inner.about));
        }
        for (const std::string& choice : place.command.choices) commands.push_back(shellQuoted(choice));
        std::vector<std::string> options;
        for (const CommandDescription::Option& option : place.command.options) {
            options.push_back(zshWord(option.name, option.about));
        }
        script += "        (" + shellQuoted(place.path) + ")\n            commands=(" +
                  joined(commands, "\n                ") + ")\n            options=(" +
                  joined(options, "\n                ") + ")\n" +
                  (place.command.takesFiles ? "            files=yes\n" : "") + "            ;;\n";
    }
    return script + R"(    esac
    if [[ $PREFIX == -* ]]; then
        _describe -o option options
        return
    fi
    (( $#commands )) && _describe command commands
    [[ -z $files ]] || _files
}
# As a file in $fpath, this text is the function itself.
if [[ ${funcstack[1]-} == _Vostel ]]; then
    _Vostel "$@"
else
    compdef _Vostel Vostel
fi
)";
}

std::string fishScript(const std::vector<CommandPlace>& places) {
    std::string script =
        R"(# Completions of Vostel for fish: Vostel completions fish > ~/.config/fish/completions/Vostel.fish
function __vostel_at --description 'Whether this command of Vostel is completed'
    set -l tokens (commandline -opc)
    set -e tokens[1]
    set -l verb ''
    for token in $tokens
        switch "$verb/$token"
            case )" +
        pathsOf(places, " ") +
        R"(
                set verb "$verb/$token"
        end
    end
    test "$verb" = "$argv[1]"
end
complete -c Vostel -f
)";
    for (const CommandPlace& place : places) {
        const std::string begin = "complete -c Vostel -n " + fishQuoted("__vostel_at " + fishQuoted(place.path));
        for (const CommandDescription& inner : place.command.commands) {
            script += begin + " -a " + inner.name + " -d " + fishQuoted(inner.about) + "\n";
        }
        if (!place.command.choices.empty()) {
            script += begin + " -a " + fishQuoted(joined(place.command.choices, " ")) + "\n";
        }
        if (place.command.takesFiles) script += begin + " -F\n";
        for (const CommandDescription::Option& option : place.command.options) {
            script += begin + " -l " + option.name.substr(2) + (option.takesValue ? " -x" : "") +
                      (option.choices.empty() ? "" : " -a " + fishQuoted(joined(option.choices, " "))) + " -d " +
                      fishQuoted(option.about) + "\n";
        }
    }
    return script;
}

} // namespace

std::string completionScript(Shell shell, const CommandDescription& program) {
    const std::vector<CommandPlace> places = placesIn(program);
    switch (shell) {
    case Shell::bash:
        return bashScript(places);
    case Shell::zsh:
        return zshScript(places);
    case Shell::fish:
        break;
    }
    return fishScript(places);
}

} // namespace vostel_companion
