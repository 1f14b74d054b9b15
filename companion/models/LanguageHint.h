// The hint that a caller may give about the language of the speech.
#pragma once

#include <string_view>

namespace vostel_companion {

/// Whether `text` is empty, "auto" in any letter case, or a language code. A code that the model does not know is a
/// hint without effect.
[[nodiscard]] bool isLanguageHint(std::string_view text);

/// Whether `text` is a code of two or three letters with optional subtags ("en", "pt-BR", "zh_Hant").
[[nodiscard]] bool isLanguageCode(std::string_view text);

} // namespace vostel_companion
