#include "fuzz/fuzz.h"
#include "kit/jsonrpc/CanonicalJSON.h"

using namespace VostelMCPKit;

void check(std::string_view text) {
    Bytes asText;
    const bool isRewritten = appendCanonicalJSON(text, asText);
    const auto value = readJSON(text);
    if (!value) {
        require(!isCanonicalJSON(text), "a text that cannot be read is not canonical");
        return require(!isRewritten, "a text that cannot be read is not rewritten");
    }
    const std::string rewritten = written(*value);
    require(isCanonicalJSON(text) == (rewritten == text), "a text is canonical if and only if it comes back unchanged");
    require(!isRewritten || asText.text() == rewritten, "a text is rewritten as its value is written");
    require(isCanonicalJSON(rewritten) == (written(readBack(rewritten)) == rewritten),
            "a written text is canonical if and only if writing its value gives it again");
}
