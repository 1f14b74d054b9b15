#include "companion/speech/ModelFiles.h"

namespace vostel_companion {

namespace fs = std::filesystem;

namespace {

bool isFile(const fs::path& path) {
    std::error_code ignored;
    return fs::is_regular_file(path, ignored);
}

/// The only entry of the folder that `fits`. Absent when there are several.
template <class Fits>
std::optional<fs::path> onlyOne(const fs::path& folder, Fits fits) {
    std::optional<fs::path> found;
    std::error_code failure;
    for (fs::directory_iterator entry{folder, failure}; !failure && entry != fs::directory_iterator{};
         entry.increment(failure)) {
        if (!fits(entry->path())) continue;
        if (found) return std::nullopt;
        found = entry->path();
    }
    return found;
}

} // namespace

std::optional<ModelFiles> ModelFiles::in(const fs::path& folder) {
    // The recogniser's library ends the process if it cannot open certain files.
    const auto acoustic =
        onlyOne(folder, [](const fs::path& path) { return isFile(path / "mdef") && isFile(path / "feat.params"); });
    const auto dictionary =
        onlyOne(folder, [](const fs::path& path) { return path.extension() == ".dict" && isFile(path); });
    if (!acoustic || !dictionary) return std::nullopt;
    const std::string language = acoustic->string() + ".lm.bin";
    if (!isFile(language)) return std::nullopt;
    return ModelFiles{acoustic->string(), language, dictionary->string()};
}

} // namespace vostel_companion
