// What a program that died left behind.
#pragma once

#include "companion/store/ConfirmationError.h"
#include "companion/store/Confirmations.h"
#include "companion/support/Paths.h"

#include <expected>

namespace vostel_companion {

/// For the start of the program that serves, once it knows that it is the only one: performs what was confirmed but not
/// performed, fails the recordings that nobody works on any more, and deletes what dead downloads left. All of it is
/// tried; the first failure is reported, and what it stands for is tried again at the next start.
[[nodiscard]] std::expected<void, ConfirmationError> recoverAfterCrash(Database& database, const Paths& paths,
                                                                       Confirmations& confirmations);

} // namespace vostel_companion
