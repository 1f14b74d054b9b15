// The choice of a recognition model.
#pragma once

#include "companion/models/ModelStore.h"

#include <optional>
#include <string>
#include <string_view>

namespace vostel_companion {

struct SpeechModel {
    /// Where its files are.
    std::string folder;
    /// Its language, ISO 639-1, if known.
    std::optional<std::string> language;

    bool operator==(const SpeechModel&) const = default;
};

/// An installed model for the language of the hint ("de", "de-CH", "DE"). If there is none, the system's English model.
/// That model is also used for "auto" and without a hint, because our models cannot detect a language.
[[nodiscard]] SpeechModel chooseModel(const ModelStore& models, std::string_view languageHint);

} // namespace vostel_companion
