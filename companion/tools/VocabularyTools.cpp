#include "companion/tools/VocabularyTools.h"

#include "companion/store/Vocabulary.h"
#include "companion/tools/Arguments.h"
#include "companion/tools/ConfirmedTools.h"
#include "companion/tools/Rendering.h"
#include "companion/tools/ResultSize.h"
#include "companion/tools/ToolSignatures.h"
#include "companion/transcript/WordForm.h"
#include "kit/support/Unicode.h"

#include <algorithm>
#include <span>

namespace vostel_companion {

using VostelMCPKit::MCPToolOutcome;

namespace {

/// In bytes. Of a skipped rule, the result repeats only enough to recognise it.
constexpr std::size_t longestEcho = 1000;

std::string echo(std::string_view given) {
    if (given.size() <= longestEcho) return std::string{given};
    return std::string{given.substr(0, VostelMCPKit::validUTF8Prefix(given.substr(0, longestEcho)))} + "…";
}

/// A line that says why some of `additions` were skipped; empty if none were.
std::string explanation(std::span<const VocabularyAddition> additions) {
    if (std::ranges::find(additions, VocabularyAddition::Outcome::skipped, &VocabularyAddition::outcome) ==
        additions.end()) {
        return {};
    }
    return "\nA rule is skipped when its word has no usable text or more than " + std::to_string(longestWord) +
           " characters, or its replacement takes more than " + std::to_string(longestReplacement) + " bytes.";
}

std::string ruleLine(const VocabularyRule& rule) {
    return rule.replacement.empty() ? rule.word + " (this spelling)" : rule.word + " → " + rule.replacement;
}

/// "3 rules.", and how many of them are shown if not all.
std::string heading(std::size_t shown, std::size_t all, std::string_view things) {
    const std::string count = std::to_string(all) + " " + std::string{things} + (all == 1 ? "" : "s");
    if (shown == all) return count + ".";
    return count + "; the result has room for the first " + std::to_string(shown) + ".";
}

MCPToolOutcome listVocabulary(const ToolContext& context, const ToolCall& call) {
    const auto arguments = readArguments<VocabularyList>(call);
    if (!arguments) return MCPToolOutcome::failed(arguments.error());
    return withDatabase(context, call.cancellation, [](Database& database) -> MCPToolOutcome {
        const auto rules = Vocabulary{database}.list();
        if (!rules) return MCPToolOutcome::failed(rules.error().description());
        return fittingOutcome(rules->size(), [&](std::size_t count) {
            std::string text = heading(count, rules->size(), "vocabulary rule");
            VocabularyList::Result result;
            for (const VocabularyRule& rule : std::span{*rules}.first(count)) {
                text += "\n" + ruleLine(rule);
                result.entries.push_back({rule.word, rule.replacement});
            }
            return doneOutcome<VocabularyList>(std::move(text), result);
        });
    });
}

MCPToolOutcome addToVocabulary(const ToolContext& context, const ToolCall& call) {
    const auto arguments = readArguments<VocabularyAdd>(call);
    if (!arguments) return MCPToolOutcome::failed(arguments.error());
    std::vector<VocabularyRule> rules;
    for (const RuleRecord& rule : arguments->rules) rules.push_back({rule.word, rule.replacement});
    return withDatabase(context, call.cancellation, [&](Database& database) -> MCPToolOutcome {
        const auto additions = Vocabulary{database}.add(rules);
        if (!additions) return MCPToolOutcome::failed(additions.error().description());
        return fittingOutcome(additions->size(), [&](std::size_t count) {
            std::string text = heading(count, additions->size(), "outcome");
            VocabularyAdd::Result result;
            for (const VocabularyAddition& addition : std::span{*additions}.first(count)) {
                const VocabularyRule rule{echo(addition.rule.word), echo(addition.rule.replacement)};
                text += std::string{"\n"} + name(addition.outcome) + ": " + ruleLine(rule);
                result.results.push_back({{rule.word, rule.replacement}, name(addition.outcome)});
            }
            text += explanation(std::span{*additions}.first(count));
            return doneOutcome<VocabularyAdd>(std::move(text), result);
        });
    });
}

MCPToolOutcome removedWords(const std::vector<std::string>& removed) {
    std::string text{
        VostelMCPKit::MCPConfirmationLogic::message(VostelMCPKit::MCPConfirmationLogic::Status::confirmed)};
    text += removed.empty() ? "\nNone of the words had a rule." : "\nRemoved:";
    for (const std::string& word : removed) text += "\n" + word;
    return doneOutcome<VocabularyRemove>(std::move(text), {removed});
}

MCPToolOutcome removeFromVocabulary(const ToolContext& context, const ToolCall& call) {
    const auto arguments = readArguments<VocabularyRemove>(call);
    if (!arguments) return MCPToolOutcome::failed(arguments.error());
    return askForConfirmation(context, call, {ConfirmableAction::RemoveWords{arguments->words}}, removedWords);
}

} // namespace

void addVocabularyTools(ToolTable& tools, const ToolContext& context) {
    tools[VocabularyList::name] = [context](const ToolCall& call) { return listVocabulary(context, call); };
    tools[VocabularyAdd::name] = [context](const ToolCall& call) { return addToVocabulary(context, call); };
    tools[VocabularyRemove::name] = [context](const ToolCall& call) { return removeFromVocabulary(context, call); };
}

} // namespace vostel_companion
