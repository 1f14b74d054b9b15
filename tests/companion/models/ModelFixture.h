// A models' folder with a catalogue, the system's model and one model to install.
#pragma once

#include "companion/models/ModelStore.h"
#include "tests/companion/store/StoreFixture.h"

#include <filesystem>
#include <set>
#include <string>

namespace vostel_companion {

struct ModelFixture {
    StoreFolder folder;
    ModelStore models{{folder / "models", folder / "models.json", folder / "system"}};

    /// The checksum of the German model, made with sha256sum.
    static constexpr const char* germanChecksum = "4bdafff58874da3c233ad79fa966392e4f9ff369dc102dd32f7679660ed5845b";

    ModelFixture() {
        writeFile(folder / "system/mdef", "the system's");
        writeGerman(folder / "german");
        writeCatalogue(germanChecksum);
    }

    static void writeGerman(const std::filesystem::path& place) {
        writeFile(place / "a/one", "abc");
        writeFile(place / "a-two", "");
        writeFile(place / "b/my file", "hello\n");
    }

    void writeCatalogue(const std::string& checksum, const std::string& language = "de") const {
        writeFile(folder / "models.json", R"({"models":[{"identifier":"de","displayName":"German","language":")" +
                                              language + R"(","source":"german","sha256":")" + checksum + R"("}]})");
    }

    [[nodiscard]] std::filesystem::path installed() const { return folder / "models/de"; }

    /// Everything in the models' folder except its lock. Empty folders are included.
    [[nodiscard]] std::set<std::string> contents() const {
        std::set<std::string> names;
        std::error_code failure;
        for (const auto& entry : std::filesystem::recursive_directory_iterator{folder / "models", failure}) {
            names.insert(entry.path().lexically_relative(folder / "models").string());
        }
        names.erase(".lock");
        return names;
    }

    /// The contents of the models' folder when the German model is installed and no work is unfinished.
    static inline const std::set<std::string> whole = {".staging", "de",   "de/a",        "de/a-two",
                                                       "de/a/one", "de/b", "de/b/my file"};
};

} // namespace vostel_companion
