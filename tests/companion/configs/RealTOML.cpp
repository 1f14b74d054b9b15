#include "tests/companion/configs/RealTOML.h"

#include <sstream>
#include <toml++/toml.h>

namespace vostel_companion {

std::optional<nlohmann::json> parseTOML(std::string_view text) {
    try {
        std::ostringstream json;
        json << toml::json_formatter{toml::parse(text)};
        return nlohmann::json::parse(json.str());
    } catch (const toml::parse_error&) {
        return std::nullopt;
    }
}

} // namespace vostel_companion
