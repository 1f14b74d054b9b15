#include "companion/configs/ClaudeCodeConfig.h"
#include "companion/configs/ClaudeDesktopConfig.h"
#include "companion/configs/JSONConfigText.h"
#include "fuzz/fuzz.h"

using namespace vostel_companion;
using VostelMCPKit::MCPClientConfigLogic::MCPClientEntry;

/// The text is the configuration file of a client that uses JSON.
void check(std::string_view text) {
    const MCPClientEntry entry{"/Applications/Vostel.app/Contents/MacOS/vostel-mcp", {}};
    const auto before = ClaudeCodeConfig::existingCommand(text);
    const auto with = ClaudeCodeConfig::withEntry(text, entry);
    if (before && with) {
        require(ClaudeCodeConfig::existingCommand(*with).value() == entry.command,
                "an entry that was written is there");
        require(readConfigJSON(*with).has_value(), "an edited file can be read");
        require(ClaudeCodeConfig::withEntry(*with, entry) == *with, "an entry is written once");
        const auto without = ClaudeCodeConfig::withoutEntry(*with, text);
        require(without.has_value(), "an entry that was written can be removed");
        require(!ClaudeCodeConfig::existingCommand(*without).value(), "what was removed is gone");
        if (!before->has_value() && !isBlank(text)) {
            require(*readConfigJSON(text) == *readConfigJSON(*without), "removing an entry undoes writing it");
        }
        const auto withoutOriginal = ClaudeCodeConfig::withoutEntry(*with);
        require(withoutOriginal && !ClaudeCodeConfig::existingCommand(*withoutOriginal).value(),
                "an entry can be removed when the text before is not known");
    }
    if (const auto manifest = ClaudeDesktopConfig::withEntry(text, entry)) {
        require(ClaudeDesktopConfig::existingCommand(*manifest).value() == entry.command,
                "a manifest names its command");
    }
    if (!before) require(!before.error().description("/a").empty(), "an error says what is wrong");
}
