#include "companion/commands/WordVerbs.h"

#include "companion/store/Vocabulary.h"
#include "companion/support/InQuotes.h"
#include "companion/support/TerminalSafe.h"

namespace vostel_companion {

namespace {

std::string ruleText(const VocabularyRule& rule) {
    const std::string word = printableLine(rule.word);
    return rule.replacement.empty() ? word : word + "  ->  " + printableLine(rule.replacement);
}

} // namespace

Exit run(const Command::ListWords&, CommandContext& context) {
    const auto rules = Vocabulary{context.database}.list();
    if (!rules) return context.failed(rules.error());
    if (rules->empty()) context.printError("The vocabulary is empty.");
    for (const VocabularyRule& rule : *rules) context.print(ruleText(rule) + "\n");
    return Exit::done;
}

Exit run(const Command::AddWord& verb, CommandContext& context) {
    const VocabularyRule rule{verb.word, verb.replacement};
    const auto added = Vocabulary{context.database}.add({&rule, 1});
    if (!added) return context.failed(added.error());
    const VocabularyAddition& addition = added->front();
    if (addition.outcome == VocabularyAddition::Outcome::skipped) {
        context.printError("The word " + inQuotes(verb.word) + " was not added: it has no usable text, or it or its " +
                           "replacement is too long.");
        return Exit::refused;
    }
    context.print(std::string{name(addition.outcome)} + ": " + ruleText(addition.rule) + "\n");
    return Exit::done;
}

Exit run(const Command::RemoveWords& verb, CommandContext& context) {
    Exit exit = Exit::done;
    // Removes them one by one, so that each missing word can be named.
    for (const std::string& word : verb.words) {
        const auto removed = Vocabulary{context.database}.remove({&word, 1});
        if (!removed) return context.failed(removed.error());
        for (const std::string& spelling : *removed) context.print("removed: " + printableLine(spelling) + "\n");
        if (!removed->empty()) continue;
        context.printError("The vocabulary has no word " + inQuotes(word) + ".");
        exit = Exit::refused;
    }
    return exit;
}

} // namespace vostel_companion
