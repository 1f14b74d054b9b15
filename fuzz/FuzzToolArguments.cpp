#include "companion/tools/Arguments.h"
#include "companion/tools/ToolSignatures.h"
#include "fuzz/fuzz.h"
#include "kit/support/Unicode.h"

#include <type_traits>

using namespace vostel_companion;

namespace {

template <class Signature>
void read(const VostelMCPKit::MCPValue& given) {
    Cancellation cancellation;
    const ToolCall call{given, cancellation, [](const Progress&) {}};
    const auto arguments = readArguments<Signature>(call);
    if (!arguments) {
        require(arguments.error().starts_with(Signature::name), "an error names the tool");
        require(VostelMCPKit::isValidUTF8(arguments.error()), "an error is UTF-8");
        return;
    }
    // Accepted arguments have no unknown keys, so they are an object or absent.
    require(given.isNull() || given.asObject().has_value(), "arguments are an object");
}

} // namespace

/// The text is the arguments of every tool.
void check(std::string_view text) {
    const auto given = VostelMCPKit::readJSON(text);
    if (!given) return;
    read<TranscribeFile>(*given);
    read<TranscribeURL>(*given);
    read<HistoryList>(*given);
    read<TranscriptsList>(*given);
    read<RecordingsList>(*given);
    read<RecordingGet>(*given);
    read<VocabularyList>(*given);
    read<VocabularyAdd>(*given);
    read<VocabularyRemove>(*given);
    read<ModelsList>(*given);
    read<ModelInstall>(*given);
    read<ModelRemove>(*given);
}
