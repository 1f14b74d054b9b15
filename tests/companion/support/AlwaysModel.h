// A choice of models for tests that need none.
#pragma once

#include "companion/transcription/Transcriber.h"

#include <string>
#include <utility>

namespace vostel_tests {

/// The model in `folder`, whatever the language; it claims to be English.
[[nodiscard]] inline vostel_companion::Transcriber::ChooseModel always(std::string folder) {
    return [model = vostel_companion::SpeechModel{std::move(folder), "en"}](const std::string&) { return model; };
}

} // namespace vostel_tests
