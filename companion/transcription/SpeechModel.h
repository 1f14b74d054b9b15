// Which model recognises what.
#pragma once

#include "companion/models/ModelStore.h"

#include <optional>
#include <string>
#include <string_view>

namespace vostel_companion {

struct SpeechModel {
    /// Where its files are.
    std::string folder;
    /// The language it knows, ISO 639-1, where that is known.
    std::optional<std::string> language;

    bool operator==(const SpeechModel&) const = default;
};

/// An installed model for the language that a caller hinted at ("de", "de-CH", "DE"), else the system's English one:
/// also for "auto" and for no hint, because no model here can tell which language it hears.
[[nodiscard]] SpeechModel chooseModel(const ModelStore& models, std::string_view languageHint);

} // namespace vostel_companion
