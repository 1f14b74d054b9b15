// The speech recognition models on this machine.
//
// In the models' folder each model is a folder named for its identifier, whole or not there at all:
//
//     <models>/<identifier>/          an installed model
//     <models>/.staging/<random>/     being copied; locked by the process that copies
//     <models>/.removed/<request>/    taken away by a confirmed request, about to be deleted; a file when the request
//                                     found nothing
//     <models>/.lock                  held while anything is put into or taken out of place
//
// The model of the system's own package lies elsewhere and is never written to.
#pragma once

#include "companion/models/ModelCatalogue.h"
#include "companion/models/ModelError.h"
#include "kit/support/UUID.h"
#include "posix/FileLock.h"

#include <expected>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vostel_companion {

struct Model {
    std::string identifier;
    std::string displayName;
    /// ISO 639-1, where it is known.
    std::optional<std::string> language;
    bool isInstalled = false;

    bool operator==(const Model&) const = default;
};

/// Keeps no state of its own, so any thread may use it at any time; what must not overlap is locked on the disk,
/// against other processes too.
class ModelStore final {
public:
    struct Paths {
        /// Created when the first model is installed.
        std::filesystem::path models;
        std::filesystem::path catalogue;
        /// Where the system's package keeps its model.
        std::filesystem::path systemModel = "/usr/share/pocketsphinx/model/en-us";
    };
    struct Observer {
        /// The share of the bytes copied so far, 0 to 1; never falls.
        std::function<void(double)> progress;
        /// Asked between pieces of a copy.
        std::function<bool()> isCancelled;
    };

    explicit ModelStore(Paths paths) : paths_(std::move(paths)) {}

    /// The system's model, then the catalogue in its order, then installed models that the catalogue no longer names.
    [[nodiscard]] std::expected<std::vector<Model>, ModelError> list() const;
    /// The folder of an installed model.
    [[nodiscard]] std::optional<std::filesystem::path> installedFolder(std::string_view identifier) const;

    /// Copies the model from its source, checks it and puts it in place, or leaves nothing behind. A model that is
    /// installed already is left as it is.
    [[nodiscard]] std::expected<void, ModelError> install(const std::string& identifier,
                                                          const Observer& observer) const;

    /// Whether the model may be asked to be removed: it is known, and not the system's.
    [[nodiscard]] std::expected<void, ModelError> checkRemovable(const std::string& identifier) const;

    /// Keeps every other removal and installation out while it lives.
    [[nodiscard]] std::expected<posix::FileLock, ModelError> lock() const;
    /// Takes the model away on behalf of a request; whether it was there. Once it has answered, it answers the same
    /// until deleteTaken, also after a crash, and leaves a model that was installed since alone. The lock must be held.
    [[nodiscard]] std::expected<bool, ModelError> takeAway(const std::string& identifier,
                                                           const VostelMCPKit::UUID& request) const;
    /// Deletes what takeAway took. What cannot be deleted now is tried again by deleteLeftovers.
    void deleteTaken(const VostelMCPKit::UUID& request) const;
    /// Deletes what dead installations and finished removals left. Only when no confirmed removal is still to be
    /// performed.
    [[nodiscard]] std::expected<void, ModelError> deleteLeftovers() const;

private:
    [[nodiscard]] std::filesystem::path staging() const { return paths_.models / ".staging"; }
    [[nodiscard]] std::filesystem::path removed() const { return paths_.models / ".removed"; }

    Paths paths_;
};

} // namespace vostel_companion
