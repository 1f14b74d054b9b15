// Copies a model out of its source, hashing what it copies.
#pragma once

#include "companion/models/ModelError.h"

#include <expected>
#include <filesystem>
#include <functional>
#include <string>

namespace vostel_companion {

/// Copies the file or folder `source` into the empty folder `target` and returns its checksum (see ModelCatalogue.h).
/// All of it is on the disk then. `progress` is given the share of the bytes; `isCancelled` is asked after each piece.
/// Symbolic links and special files are refused: a model is its own bytes.
[[nodiscard]] std::expected<std::string, ModelError> copyModel(const std::filesystem::path& source,
                                                               const std::filesystem::path& target,
                                                               const std::function<void(double)>& progress,
                                                               const std::function<bool()>& isCancelled);

} // namespace vostel_companion
