// Downloads the files of a model over https.
//
// What has arrived is kept, so that the next call for the same model continues where this one stopped:
//
//     <folder>/model/        complete files
//     <folder>/unfinished    the beginning of the first file that is missing there
#pragma once

#include "companion/models/ModelCatalogue.h"
#include "companion/models/ModelError.h"

#include <cstdint>
#include <expected>
#include <filesystem>
#include <functional>
#include <string>

namespace vostel_companion {

struct DownloadRules {
    /// For a whole model. The largest speech models in use have about 3 GiB.
    std::uint64_t mostBytes = std::uint64_t{4} << 30U;
    /// A file of certificates that are trusted instead of the system's. Empty for the system's.
    std::string certificates = {};
};

/// Downloads `model`, whose source is a link, into `folder`. Returns the complete file, or the folder of complete
/// files. Their checksum is not checked here. `progress` receives the fraction of the model that has arrived. It never
/// decreases. `isCancelled` is checked at least once a second. Only https is used, also after a redirect. The caller
/// holds the lock of the folder.
[[nodiscard]] std::expected<std::filesystem::path, ModelError>
downloadModel(const ModelDescription& model, const std::filesystem::path& folder, const DownloadRules& rules,
              const std::function<void(double)>& progress, const std::function<bool()>& isCancelled);

} // namespace vostel_companion
