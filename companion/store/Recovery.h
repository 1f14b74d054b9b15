// Cleaning up after a crash.
#pragma once

#include "companion/store/ConfirmationError.h"
#include "companion/store/Confirmations.h"
#include "companion/support/Paths.h"

#include <expected>

namespace vostel_companion {

/// For the start of the serving program, once it knows that no other one runs. Performs what was confirmed but not
/// performed, marks abandoned recordings as failed, and deletes the files of crashed downloads. The files of another
/// process that still downloads, such as `Vostel transcribe`, stay. A failed step does not stop the others. Returns the
/// first failure. The next start tries again.
[[nodiscard]] std::expected<void, ConfirmationError> recoverAfterCrash(Database& database, const Paths& paths,
                                                                       Confirmations& confirmations);

} // namespace vostel_companion
