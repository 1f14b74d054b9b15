#include "companion/store/Vocabulary.h"

#include "companion/transcript/WordForm.h"
#include "kit/support/Unicode.h"

namespace vostel_companion {

using Addition = VocabularyAddition::Outcome;

const char* name(VocabularyAddition::Outcome outcome) {
    switch (outcome) {
    case Addition::added:
        return "added";
    case Addition::updated:
        return "updated";
    case Addition::unchanged:
        return "unchanged";
    case Addition::skipped:
        break;
    }
    return "skipped";
}

std::expected<std::vector<VocabularyRule>, DatabaseError> Vocabulary::list() {
    Statement select{database_, "SELECT word, replacement FROM vocabulary ORDER BY key"};
    return select.all([](const Statement& row) { return VocabularyRule{row.text(0), row.text(1)}; });
}

std::expected<std::vector<VocabularyAddition>, DatabaseError> Vocabulary::add(std::span<const VocabularyRule> rules) {
    using Result = std::expected<std::vector<VocabularyAddition>, DatabaseError>;
    return inTransaction(database_, Transaction::Kind::writing, [&]() -> Result {
        std::vector<VocabularyAddition> additions;
        for (const VocabularyRule& given : rules) {
            const VocabularyRule rule{normalizedWord(given.word),
                                      VostelMCPKit::repairedUTF8(VostelMCPKit::trimmed(given.replacement))};
            if (rule.word.empty() || rule.replacement.size() > longestReplacement) {
                additions.push_back({given, Addition::skipped});
                continue;
            }
            const auto outcome = store(rule);
            if (!outcome) return std::unexpected(outcome.error());
            additions.push_back({rule, *outcome});
        }
        return additions;
    });
}

std::expected<Addition, DatabaseError> Vocabulary::store(const VocabularyRule& rule) {
    const std::string key = wordKey(rule.word);
    Statement select{database_, "SELECT word, replacement FROM vocabulary WHERE key = ?"};
    const auto known =
        select.bind(key).first([](const Statement& row) { return VocabularyRule{row.text(0), row.text(1)}; });
    if (!known) return std::unexpected(known.error());
    if (*known == rule) return Addition::unchanged;

    Statement replace{database_, "REPLACE INTO vocabulary (key, word, replacement) VALUES (?, ?, ?)"};
    if (auto done = replace.bind(key, rule.word, rule.replacement).run(); !done) {
        return std::unexpected(std::move(done.error()));
    }
    return *known ? Addition::updated : Addition::added;
}

std::expected<std::vector<std::string>, DatabaseError> Vocabulary::remove(std::span<const std::string> words) {
    using Result = std::expected<std::vector<std::string>, DatabaseError>;
    return inTransaction(database_, Transaction::Kind::writing, [&]() -> Result {
        std::vector<std::string> removed;
        Statement remove{database_, "DELETE FROM vocabulary WHERE key = ? RETURNING word"};
        for (const std::string& word : words) {
            remove.bind(wordKey(normalizedWord(word)));
            auto spelling = remove.all([](const Statement& row) { return row.text(0); });
            if (!spelling) return std::unexpected(std::move(spelling.error()));
            for (std::string& one : *spelling) removed.push_back(std::move(one));
        }
        return removed;
    });
}

} // namespace vostel_companion
