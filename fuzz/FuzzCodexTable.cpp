#include "fuzz/fuzz.h"
#include "kit/clients/MCPClientConfigLogic.h"
#include "kit/support/Unicode.h"

#include <utility>

using namespace VostelMCPKit;
using namespace MCPClientConfigLogic;

/// First the text is a configuration file. Then its lines are a command and its arguments, which are written and read
/// back.
void check(std::string_view text) {
    if (const auto table = parseCodexTable({.tableName = entryName, .text = text})) {
        require(text.contains("[mcp_servers.vostel]"), "a table that is read is there");
    }

    MCPClientEntry entry;
    entry.command = '/' + std::string{text.substr(0, text.find('\n'))};
    for (std::string_view rest = text; rest.contains('\n');) {
        rest.remove_prefix(rest.find('\n') + 1);
        std::string argument{rest.substr(0, rest.find('\n'))};
        // Deliberate: parseCodexTable splits arguments at commas, even in quotes.
        std::erase(argument, ',');
        entry.args.push_back(std::move(argument));
    }
    // Bytes that are not UTF-8 are replaced, because a TOML file is UTF-8.
    CodexTable written{repairedUTF8(entry.command), {}};
    for (const std::string& argument : entry.args) written.args.push_back(repairedUTF8(argument));
    const std::string snippet = codexSnippetText(entry);
    require(parseCodexTable({.tableName = entryName, .text = snippet}) == written, "an entry reads back");
    require(parseCodexTable({.tableName = entryName, .text = "a = 1\r\n" + snippet + "\n[b]\ncommand = \"c\""}) ==
                written,
            "an entry between other tables reads back");
}
