// The user's vocabulary: what recognised words are replaced by.
#pragma once

#include "companion/store/Database.h"
#include "companion/transcript/VocabularyRule.h"

#include <span>
#include <string>
#include <vector>

namespace vostel_companion {

/// What became of one rule that was to be added.
struct VocabularyAddition {
    /// `skipped`: no rule was stored, the word has no usable text or word or replacement are too long.
    enum class Outcome { added, updated, unchanged, skipped };

    /// As stored; as given when skipped.
    VocabularyRule rule;
    Outcome outcome = Outcome::skipped;

    bool operator==(const VocabularyAddition&) const = default;
};

/// The tools' word for `outcome`.
[[nodiscard]] const char* name(VocabularyAddition::Outcome outcome);

/// The longest replacement that a rule may have, in bytes: it may come to stand in a text for every single word.
inline constexpr std::size_t longestReplacement = 4096;

/// Uses the database on the caller's thread.
class Vocabulary final {
public:
    explicit Vocabulary(Database& database) : database_{database} {}

    /// In the order of their words, letter case ignored.
    [[nodiscard]] std::expected<std::vector<VocabularyRule>, DatabaseError> list();

    /// Adds or updates each rule by its word, letter case ignored, in the given order; one outcome per rule. Either all
    /// of them are stored or, on an error, none.
    [[nodiscard]] std::expected<std::vector<VocabularyAddition>, DatabaseError>
    add(std::span<const VocabularyRule> rules);

    /// Removes the rules of `words`, letter case ignored, and returns the words that had one, as they were spelled in
    /// the vocabulary.
    [[nodiscard]] std::expected<std::vector<std::string>, DatabaseError> remove(std::span<const std::string> words);

private:
    [[nodiscard]] std::expected<VocabularyAddition::Outcome, DatabaseError> store(const VocabularyRule& rule);

    Database& database_;
};

} // namespace vostel_companion
