#include "fuzz/fuzz.h"
#include "kit/jsonrpc/CanonicalJSON.h"

using namespace VostelMCPKit;

void check(std::string_view text) {
    const auto value = readJSON(text);
    if (!value) return require(!isCanonicalJSON(text), "a text that cannot be read is not canonical");
    const std::string rewritten = written(*value);
    require(isCanonicalJSON(text) == (rewritten == text), "a text is canonical if and only if it comes back unchanged");
    // A double without a fraction is written as an integer, but in a text that the writer takes for shortest.
    require(isCanonicalJSON(rewritten) == (written(readBack(rewritten)) == rewritten), "a written text comes back");
}
