// Copies a model from its source and computes its checksum.
#pragma once

#include "companion/models/ModelError.h"

#include <expected>
#include <filesystem>
#include <functional>
#include <string>

namespace vostel_companion {

/// Copies the file or folder `source` into the empty folder `target` and returns its checksum (see ModelCatalogue.h).
/// When it returns, the copy is on the disk. `progress` receives the fraction of the bytes that are copied.
/// `isCancelled` is checked after each block. Symbolic links and special files inside are refused.
[[nodiscard]] std::expected<std::string, ModelError> copyModel(const std::filesystem::path& source,
                                                               const std::filesystem::path& target,
                                                               const std::function<void(double)>& progress,
                                                               const std::function<bool()>& isCancelled);

} // namespace vostel_companion
