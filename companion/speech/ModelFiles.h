// The parts of a model in its folder.
//
//     NAME/          the acoustic model, the only folder with a file "mdef"
//     NAME.lm.bin    the language model
//     ANY.dict       the dictionary, the only one
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace vostel_companion {

struct ModelFiles {
    std::string acoustic;
    std::string language;
    std::string dictionary;

    /// Absent when a part is missing or ambiguous.
    [[nodiscard]] static std::optional<ModelFiles> in(const std::filesystem::path& folder);

    bool operator==(const ModelFiles&) const = default;
};

} // namespace vostel_companion
