#include "companion/models/LanguageHint.h"
#include "companion/models/ModelCatalogue.h"
#include "fuzz/fuzz.h"
#include "kit/support/Unicode.h"

#include <set>

using namespace vostel_companion;

void check(std::string_view text) {
    const auto models = parseModelCatalogue(text, "/models");
    if (!models) {
        require(!models.error().empty() && VostelMCPKit::isValidUTF8(models.error()), "an error is a clause");
        return;
    }
    std::set<std::string> identifiers;
    for (const ModelDescription& model : *models) {
        require(isModelIdentifier(model.identifier), "a model has an identifier");
        require(model.identifier.find_first_of("/\\") == std::string::npos && model.identifier != "." &&
                    model.identifier != "..",
                "a model's folder stays among the models");
        require(identifiers.insert(model.identifier).second, "a model is described once");
        require(model.source.starts_with('/'), "a source is an absolute path");
        require(model.sha256.size() == 64 && model.sha256.find_first_not_of("0123456789abcdef") == std::string::npos,
                "a checksum is hexadecimal");
        require(!model.language || isLanguageCode(*model.language), "a language is a code");
    }
}
