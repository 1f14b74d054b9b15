// The twelve tools, and all that they need from the world.
#pragma once

#include "companion/store/Confirmations.h"
#include "companion/store/ModelStore.h"
#include "companion/store/Moments.h"
#include "companion/store/Places.h"
#include "companion/support/RandomUUID.h"
#include "companion/tools/Tool.h"
#include "companion/transcription/Transcriber.h"

#include <chrono>
#include <functional>

namespace vostel_companion {

/// Every function is called on the calls' threads, several at once.
struct ToolContext {
    Places places;
    /// Both outlive the tools.
    Transcriber& transcriber;
    const ModelStore& models;
    /// A client asks for something that the person must confirm: called once for each new request, whose call waits
    /// until this returns.
    std::function<void(const OpenConfirmation&)> tellPerson = [](const OpenConfirmation&) {};
    Confirmations::Clock now = std::chrono::system_clock::now;
    VostelMCPKit::UUIDSource newID = randomUUID;
    LocalMidnight localMidnight = systemLocalMidnight;
};

/// Adds all tools of the catalogue. The database at `context.places` exists and has its schema; each call opens a
/// connection of its own.
void addTools(ToolTable& tools, const ToolContext& context);

} // namespace vostel_companion
