// Chooses the same model for every language.
#pragma once

#include "companion/transcription/Transcriber.h"

#include <string>
#include <utility>

namespace vostel_tests {

/// The model in `folder` for every language. Its language is English.
[[nodiscard]] inline vostel_companion::Transcriber::ChooseModel always(std::string folder) {
    return [model = vostel_companion::SpeechModel{std::move(folder), "en"}](const std::string&) { return model; };
}

} // namespace vostel_tests
