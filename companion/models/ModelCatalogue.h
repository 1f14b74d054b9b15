// The models that can be installed. The user describes them in a file:
//
//     {"models": [{
//         "identifier": "de",                     letters, digits, "-", "_" and ".", up to 64
//         "displayName": "German",
//         "language": "de",                       ISO 639; may be missing
//         "source": "file:///mnt/models/german",  or a path, absolute or from the catalogue's folder
//         "sha256": "9f86d0..."
//     }, {
//         "identifier": "fr",
//         "displayName": "French",
//         "language": "fr",
//         "source": "https://example.org/french/",
//         "files": ["fr/mdef", "fr.lm.bin", "fr.dict"],
//         "sha256": "60303a..."
//     }]}
//
// The source is a file, a folder, or an https link. A link is one file, or, if it ends in a slash, the folder of
// `files`. The checksum of a folder is that of the list that sha256sum prints for its files, ordered by the bytes of
// their names:
//
//     cd FOLDER && find . -type f -printf '%P\n' | LC_ALL=C sort | xargs -d '\n' sha256sum | sha256sum
#pragma once

#include "companion/models/ModelError.h"

#include <expected>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vostel_companion {

/// The model of the system's package. No catalogue describes it.
inline constexpr std::string_view systemModelIdentifier = "en-us";

/// Whether `identifier` can name a model and its folder. It never leads out of the models' folder.
[[nodiscard]] bool isModelIdentifier(std::string_view identifier);

struct ModelDescription {
    std::string identifier;
    std::string displayName;
    std::optional<std::string> language;
    /// A local path or an https link once the catalogue has been read.
    std::string source;
    /// Lower-case hexadecimal.
    std::string sha256;
    /// Relative paths of the files in the folder at the link, ordered by their bytes. Empty for any other source.
    std::vector<std::string> files = {};

    [[nodiscard]] bool isLink() const { return source.starts_with("https://"); }

    static void codingKeys(auto& self, auto& key) {
        key("identifier", self.identifier);
        key("displayName", self.displayName);
        key("language", self.language);
        key("source", self.source);
        key("sha256", self.sha256);
        key.absentAsDefault("files", self.files);
    }

    bool operator==(const ModelDescription&) const = default;
};

/// Reads the text of a catalogue in `folder`. The error is a clause without a full stop. One wrong entry makes the
/// whole catalogue fail, so that the user notices the mistake.
[[nodiscard]] std::expected<std::vector<ModelDescription>, std::string>
parseModelCatalogue(std::string_view text, const std::filesystem::path& folder);

/// Reads the file at `path`. A missing file is an empty catalogue.
[[nodiscard]] std::expected<std::vector<ModelDescription>, ModelError>
readModelCatalogue(const std::filesystem::path& path);

} // namespace vostel_companion
