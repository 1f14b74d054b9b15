// The user's vocabulary: replacements of recognised words.
#pragma once

#include "companion/store/Database.h"
#include "companion/transcript/VocabularyRule.h"

#include <span>
#include <string>
#include <vector>

namespace vostel_companion {

/// The outcome of adding one rule.
struct VocabularyAddition {
    /// `skipped`: the rule was not stored. Its word has no usable text, or word or replacement is too long.
    enum class Outcome { added, updated, unchanged, skipped };

    /// As stored, or as given if it was skipped.
    VocabularyRule rule;
    Outcome outcome = Outcome::skipped;

    bool operator==(const VocabularyAddition&) const = default;
};

/// The tools' word for `outcome`.
[[nodiscard]] const char* name(VocabularyAddition::Outcome outcome);

/// The longest replacement of a rule, in bytes. It may replace every single word of a text.
inline constexpr std::size_t longestReplacement = 4096;

/// Uses the database on the caller's thread.
class Vocabulary final {
public:
    explicit Vocabulary(Database& database) : database_{database} {}

    /// In the order of their words, letter case ignored.
    [[nodiscard]] std::expected<std::vector<VocabularyRule>, DatabaseError> list();

    /// Adds or updates each rule by its word, ignoring letter case, in the given order. Returns one outcome per rule.
    /// On an error, none is stored.
    [[nodiscard]] std::expected<std::vector<VocabularyAddition>, DatabaseError>
    add(std::span<const VocabularyRule> rules);

    /// Removes the rules of `words`, ignoring letter case. Returns the removed words in the spelling of the vocabulary.
    [[nodiscard]] std::expected<std::vector<std::string>, DatabaseError> remove(std::span<const std::string> words);

private:
    [[nodiscard]] std::expected<VocabularyAddition::Outcome, DatabaseError> store(const VocabularyRule& rule);

    Database& database_;
};

} // namespace vostel_companion
