#include "companion/tools/VocabularyTools.h"

#include "companion/store/Vocabulary.h"
#include "companion/tools/Arguments.h"
#include "companion/tools/ConfirmedTools.h"
#include "companion/tools/ResultSize.h"
#include "companion/transcript/WordForm.h"
#include "kit/support/Unicode.h"

#include <algorithm>
#include <span>

namespace vostel_companion {

using VostelMCPKit::MCPToolOutcome;
using VostelMCPKit::MCPValue;

namespace {

/// The most of a rule that was skipped, in bytes: enough to recognise it by, whatever somebody put there.
constexpr std::size_t longestEcho = 1000;

std::string echo(std::string_view given) {
    if (given.size() <= longestEcho) return std::string{given};
    return std::string{given.substr(0, VostelMCPKit::validUTF8Prefix(given.substr(0, longestEcho)))} + "…";
}

/// Why some of `additions` were skipped, as a line; empty when there are none.
std::string explanation(std::span<const VocabularyAddition> additions) {
    if (std::ranges::find(additions, VocabularyAddition::Outcome::skipped, &VocabularyAddition::outcome) ==
        additions.end())
        return {};
    return "\nA rule is skipped when its word has no usable text or more than " + std::to_string(longestWord) +
           " characters, or its replacement takes more than " + std::to_string(longestReplacement) + " bytes.";
}

std::string ruleLine(const VocabularyRule& rule) {
    return rule.replacement.empty() ? rule.word + " (this spelling)" : rule.word + " → " + rule.replacement;
}

/// "3 rules", and what it means when not all of them are shown.
std::string heading(std::size_t shown, std::size_t all, std::string_view things) {
    const std::string count = std::to_string(all) + " " + std::string{things} + (all == 1 ? "" : "s");
    if (shown == all) return count + ".";
    return count + "; the result has room for the first " + std::to_string(shown) + ".";
}

MCPToolOutcome listVocabulary(const ToolContext& context, const ToolCall& call) {
    const Arguments arguments{call, "vocabulary_list", {}};
    if (const auto& wrong = arguments.wrong()) return failedOutcome(*wrong);
    return withDatabase(context, call.cancellation, [](Database& database) -> MCPToolOutcome {
        const auto rules = Vocabulary{database}.list();
        if (!rules) return failedOutcome(rules.error().description());
        return fittingOutcome(rules->size(), [&](std::size_t count) -> MCPToolOutcome {
            std::string text = heading(count, rules->size(), "vocabulary rule");
            std::vector<MCPValue> entries;
            for (const VocabularyRule& rule : std::span{*rules}.first(count)) {
                text += "\n" + ruleLine(rule);
                entries.push_back(MCPValue::object({{"word", rule.word}, {"replacement", rule.replacement}}));
            }
            return {
                MCPToolOutcome::Text{std::move(text), MCPValue::object({{"entries", MCPValue::takingArray(entries)}})}};
        });
    });
}

MCPToolOutcome addToVocabulary(const ToolContext& context, const ToolCall& call) {
    Arguments arguments{call, "vocabulary_add", {"rules"}};
    std::vector<VocabularyRule> rules;
    for (std::vector<std::string>& record : arguments.neededRecords("rules", {"word", "replacement"}))
        rules.push_back({std::move(record[0]), std::move(record[1])});
    if (const auto& wrong = arguments.wrong()) return failedOutcome(*wrong);
    return withDatabase(context, call.cancellation, [&](Database& database) -> MCPToolOutcome {
        const auto additions = Vocabulary{database}.add(rules);
        if (!additions) return failedOutcome(additions.error().description());
        return fittingOutcome(additions->size(), [&](std::size_t count) -> MCPToolOutcome {
            std::string text = heading(count, additions->size(), "outcome");
            std::vector<MCPValue> results;
            for (const VocabularyAddition& addition : std::span{*additions}.first(count)) {
                const VocabularyRule rule{echo(addition.rule.word), echo(addition.rule.replacement)};
                text += std::string{"\n"} + name(addition.outcome) + ": " + ruleLine(rule);
                results.push_back(MCPValue::object(
                    {{"word", rule.word}, {"replacement", rule.replacement}, {"outcome", name(addition.outcome)}}));
            }
            text += explanation(std::span{*additions}.first(count));
            return {
                MCPToolOutcome::Text{std::move(text), MCPValue::object({{"results", MCPValue::takingArray(results)}})}};
        });
    });
}

MCPToolOutcome removedWords(const std::vector<std::string>& removed) {
    std::string text{
        VostelMCPKit::MCPConfirmationLogic::message(VostelMCPKit::MCPConfirmationLogic::Status::confirmed)};
    text += removed.empty() ? "\nNone of the words had a rule." : "\nRemoved:";
    std::vector<MCPValue> words;
    for (const std::string& word : removed) {
        text += "\n" + word;
        words.emplace_back(word);
    }
    return {MCPToolOutcome::Text{std::move(text), MCPValue::object({{"removed", MCPValue::takingArray(words)}})}};
}

MCPToolOutcome removeFromVocabulary(const ToolContext& context, const ToolCall& call) {
    Arguments arguments{call, "vocabulary_remove", {"words"}};
    std::vector<std::string> words = arguments.neededTexts("words");
    if (const auto& wrong = arguments.wrong()) return failedOutcome(*wrong);
    return askForConfirmation(context, call.cancellation, {ConfirmableAction::RemoveWords{std::move(words)}},
                              removedWords);
}

} // namespace

void addVocabularyTools(ToolTable& tools, const ToolContext& context) {
    tools["vocabulary_list"] = [context](const ToolCall& call) { return listVocabulary(context, call); };
    tools["vocabulary_add"] = [context](const ToolCall& call) { return addToVocabulary(context, call); };
    tools["vocabulary_remove"] = [context](const ToolCall& call) { return removeFromVocabulary(context, call); };
}

} // namespace vostel_companion
