#include "companion/transcription/SpeechModel.h"

#include <algorithm>

namespace vostel_companion {

namespace {

/// "de" of "DE-ch".
std::string primaryLanguage(std::string_view code) {
    std::string language{code.substr(0, code.find_first_of("-_"))};
    std::ranges::transform(language, language.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return language;
}

} // namespace

SpeechModel chooseModel(const ModelStore& models, std::string_view languageHint) {
    const std::string wanted = primaryLanguage(languageHint);
    // Deliberate: a catalogue that cannot be read is no reason not to transcribe.
    const auto known = models.list().value_or(std::vector<Model>{});
    const auto chosen = std::ranges::find_if(known, [&](const Model& model) {
        return model.isInstalled && model.language && primaryLanguage(*model.language) == wanted;
    });
    const bool isChosen = chosen != known.end();
    const std::string identifier = isChosen ? chosen->identifier : std::string{systemModelIdentifier};
    // Removed in this moment or not there at all, it has no folder, and loading it says so.
    const std::filesystem::path folder = models.installedFolder(identifier).value_or("");
    return {folder.string(), isChosen ? wanted : "en"};
}

} // namespace vostel_companion
