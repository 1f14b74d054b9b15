#include "tests/companion/configs/RealTOML.h"

#include <sstream>
#include <toml++/toml.h>

namespace vostel_companion {

std::optional<nlohmann::json> parseTOML(std::string_view text) {
    try {
        std::ostringstream json;
        json << toml::json_formatter{toml::parse(text)};
        const std::string written = json.str();
        // A view, as everywhere in this suite: the parser is compiled again for each type of text.
        return nlohmann::json::parse(std::string_view{written});
    } catch (const toml::parse_error&) {
        return std::nullopt;
    }
}

} // namespace vostel_companion
