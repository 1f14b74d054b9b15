#include "fuzz/fuzz.h"
#include "kit/jsonrpc/Codec.h"
#include "kit/support/Unicode.h"

#include <cmath>
#include <utility>
#include <vector>

using namespace VostelMCPKit;

namespace {

/// Whether the values are equal, except for doubles that are written as integers and read back as such: 2.0 as 2.
bool isSameButForIntegralNumbers(const MCPValue& left, const MCPValue& right) {
    std::vector<std::pair<const MCPValue*, const MCPValue*>> open{{&left, &right}};
    while (!open.empty()) {
        const auto [a, b] = open.back();
        open.pop_back();
        if (const auto elements = a->asArray()) {
            const auto others = b->asArray();
            if (!others || others->size() != elements->size()) return false;
            for (std::size_t index = 0; index < elements->size(); ++index) {
                open.emplace_back(&(*elements)[index], &(*others)[index]);
            }
        } else if (const auto members = a->asObject()) {
            const auto others = b->asObject();
            if (!others || others->size() != members->size()) return false;
            for (std::size_t index = 0; index < members->size(); ++index) {
                if ((*members)[index].key() != (*others)[index].key()) return false;
                open.emplace_back(&(*members)[index].value, &(*others)[index].value);
            }
        } else if (const auto number = a->asDouble(); number && !a->asInt() && *number == std::trunc(*number)) {
            if (b->asDouble() != number) return false;
        } else if (!(*a == *b)) {
            return false;
        }
    }
    return true;
}

} // namespace

void check(std::string_view text) {
    const MCPValue string{text};
    require(readBack(written(string)) == string, "any bytes make a string that can be read back");

    const auto value = readJSON(text);
    if (!value) return;
    require(isValidUTF8(text), "JSON is UTF-8");

    const std::string first = written(*value);
    require(first.find_first_of("\r\n") == std::string::npos, "a written text is one line");
    const MCPValue again = readBack(first);
    require(isSameButForIntegralNumbers(*value, again), "a value reads back unchanged");
    require(encode(*value) == again, "encoding a value equals writing and reading it");
    require(!(*value == again) || value->hash() == again.hash(), "equal values hash equally");

    const MCPValue third = readBack(written(again));
    require(again == third, "a value that was written once comes back exactly");
    require(again.hash() == third.hash(), "a value that comes back hashes equally");
    require(written(third) == written(again), "equal values have the same text");
}
