#pragma once

#include <string>

/// The result of a tool call as the JSON text that an AI client receives.
std::string renderedOutcome();
