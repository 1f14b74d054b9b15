// One word that the user taught.
#pragma once

#include <string>

namespace vostel_companion {

struct VocabularyRule {
    std::string word;
    /// Empty: the word itself, in its spelling here.
    std::string replacement;

    bool operator==(const VocabularyRule&) const = default;
};

} // namespace vostel_companion
