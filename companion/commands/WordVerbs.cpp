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

Exit run(const Command::ListWords&, World& world) {
    const auto rules = Vocabulary{world.database}.list();
    if (!rules) return world.failed(rules.error());
    if (rules->empty()) world.tell("Vostel was taught no words yet.");
    for (const VocabularyRule& rule : *rules) world.print(ruleText(rule) + "\n");
    return Exit::done;
}

Exit run(const Command::AddWord& verb, World& world) {
    const VocabularyRule rule{verb.word, verb.replacement};
    const auto added = Vocabulary{world.database}.add({&rule, 1});
    if (!added) return world.failed(added.error());
    const VocabularyAddition& addition = added->front();
    if (addition.outcome == VocabularyAddition::Outcome::skipped) {
        world.tell("The word " + inQuotes(verb.word) + " was not added: it has no usable text, or it or its " +
                   "replacement is too long.");
        return Exit::notAsAsked;
    }
    world.print(std::string{name(addition.outcome)} + ": " + ruleText(addition.rule) + "\n");
    return Exit::done;
}

Exit run(const Command::RemoveWords& verb, World& world) {
    Exit exit = Exit::done;
    // One by one, so that each one that is missing can be named.
    for (const std::string& word : verb.words) {
        const auto removed = Vocabulary{world.database}.remove({&word, 1});
        if (!removed) return world.failed(removed.error());
        for (const std::string& spelling : *removed) world.print("removed: " + printableLine(spelling) + "\n");
        if (!removed->empty()) continue;
        world.tell("Vostel was never taught " + inQuotes(word) + ".");
        exit = Exit::notAsAsked;
    }
    return exit;
}

} // namespace vostel_companion
