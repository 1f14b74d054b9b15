#include "fuzz/fuzz.h"
#include "server/LaunchBundle_linux.h"
#include "server/PropertyList.h"

#include <algorithm>

using namespace vostel_mcp;

namespace {

std::string escaped(std::string_view text) {
    std::string out;
    for (const char c : text) {
        if (c == '&')
            out += "&amp;";
        else if (c == '<')
            out += "&lt;";
        else if (c == '>')
            out += "&gt;";
        else
            out += c;
    }
    return out;
}

std::string element(std::string_view name, std::string_view text) {
    return '<' + std::string{name} + '>' + escaped(text) + "</" + std::string{name} + '>';
}

} // namespace

/// First the text is a property list. Then it is the key and the value in a well-formed property list.
void check(std::string_view text) {
    const std::string name = executableName(text);
    require(!name.contains('/') && name != "." && name != "..", "the name stays in the bundle");
    require(!name.contains('\0'), "the name contains no NUL");

    const std::string_view key = text.substr(0, text.find('\n'));
    const std::string_view value = text.substr(std::min(key.size() + 1, text.size()));
    const std::string list = "<plist version=\"1.0\"><dict><key>a-key</key><array><dict><key>inner</key><true/></dict>"
                             "</array>" +
                             element("key", key) + element("string", value) + "</dict></plist>";
    const auto read = topLevelString(list, key);
    if (key == "a-key") return require(!read, "a value of another type is not a string");
    require(read == value, "escaped text is read back");
    if (key != "inner") require(!topLevelString(list, "inner"), "an inner key is not found at the top level");
}
