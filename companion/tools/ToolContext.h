// The dependencies of the tools.
#pragma once

#include "companion/download/VideoDownloader.h"
#include "companion/models/ModelStore.h"
#include "companion/store/Confirmations.h"
#include "companion/store/Schema.h"
#include "companion/support/Iso8601.h"
#include "companion/support/Paths.h"
#include "companion/support/Semaphore.h"
#include "companion/support/Tool.h"
#include "companion/transcription/Transcriber.h"
#include "kit/tools/MCPURLPolicy.h"
#include "posix/RandomUUID.h"

#include <chrono>
#include <concepts>
#include <functional>
#include <memory>

namespace vostel_companion {

/// Copies of one context share its semaphore. Every function is called on the threads of the calls, several at once.
struct ToolContext {
    Paths paths;
    Transcribe transcribe;
    /// Outlives the tools.
    const ModelStore& models;
    /// Called once for each new request that the user must confirm. The call waits until this returns.
    std::function<void(const OpenConfirmation&)> notifyUser = [](const OpenConfirmation&) {};
    Confirmations::Clock now = std::chrono::system_clock::now;
    VostelMCPKit::UUIDSource newID = VostelMCPKit::RandomUUIDs{posix::randomBytes};
    LocalMidnight localMidnight = systemLocalMidnight;
    /// Resolves host names when a link is checked.
    VostelMCPKit::MCPURLPolicy::Resolver resolve = VostelMCPKit::resolveBySystem;
    DownloadAudio downloadAudio = systemDownload(paths.downloads());
    /// Limits the calls that use the database at once. SQLite would let many writers wait in no order, and some of them
    /// would fail after a while.
    std::shared_ptr<Semaphore> databaseWork = std::make_shared<Semaphore>(4);
};

/// Waits for the call's turn, opens a connection of its own to the database and returns the outcome of `use`.
[[nodiscard]] VostelMCPKit::MCPToolOutcome withDatabase(const ToolContext& context, Cancellation& cancellation,
                                                        std::invocable<Database&> auto use) {
    const auto permit = context.databaseWork->acquire(cancellation);
    if (!permit) return VostelMCPKit::MCPToolOutcome::failed("The call was cancelled.");
    auto database = openStore(context.paths.database());
    if (!database) return VostelMCPKit::MCPToolOutcome::failed(database.error().description());
    return use(*database);
}

} // namespace vostel_companion
