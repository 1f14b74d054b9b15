// What a caller may say about the language of the speech.
#pragma once

#include <string_view>

namespace vostel_companion {

/// Whether `text` can stand for a language: "auto", letter case ignored, or a language code; or nothing at all. Which
/// languages a model knows is another question: a code that it does not know is a hint without effect.
[[nodiscard]] bool isLanguageHint(std::string_view text);

/// Whether `text` is a code of two or three letters with optional subtags ("en", "pt-BR", "zh_Hant").
[[nodiscard]] bool isLanguageCode(std::string_view text);

} // namespace vostel_companion
