// models_list, model_install and model_remove.
#pragma once

#include "companion/tools/ToolContext.h"

namespace vostel_companion {

void addModelTools(ToolTable& tools, const ToolContext& context);

} // namespace vostel_companion
