// vocabulary_list, vocabulary_add and vocabulary_remove.
#pragma once

#include "companion/tools/ToolContext.h"

namespace vostel_companion {

void addVocabularyTools(ToolTable& tools, const ToolContext& context);

} // namespace vostel_companion
