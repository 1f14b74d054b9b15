#include "companion/transcription/SpeechModel.h"

#include "kit/support/ASCII.h"

#include <algorithm>

namespace vostel_companion {

namespace {

/// "de" of "DE-ch".
std::string primaryLanguage(std::string_view code) {
    return VostelMCPKit::asciiLowerCase(code.substr(0, code.find_first_of("-_")));
}

} // namespace

SpeechModel chooseModel(const ModelStore& models, std::string_view languageHint) {
    const std::string wanted = primaryLanguage(languageHint);
    // Deliberate: transcription works without a readable catalogue.
    const auto known = models.list().value_or(std::vector<Model>{});
    const auto chosen = std::ranges::find_if(known, [&](const Model& model) {
        return model.isInstalled && model.language && primaryLanguage(*model.language) == wanted;
    });
    const bool isChosen = chosen != known.end();
    const std::string identifier = isChosen ? chosen->identifier : std::string{systemModelIdentifier};
    // A missing model has no folder. Loading it then reports the error.
    const std::filesystem::path folder = models.installedFolder(identifier).value_or("");
    return {folder.string(), isChosen ? wanted : "en"};
}

} // namespace vostel_companion
