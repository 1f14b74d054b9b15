// The terminal of a serving program: asks the user about the requests that wait for confirmation.
#pragma once

#include "companion/models/ModelStore.h"
#include "companion/support/Paths.h"
#include "companion/terminal/ConfirmationPrompt.h"
#include "posix/WakePipe.h"

#include <expected>
#include <memory>
#include <string>

namespace vostel_companion {

/// Standard input and standard output must be a terminal. Runs on a thread of its own. So a user who does not answer,
/// or a stopped terminal, blocks nothing else.
class ConfirmationTerminal final {
public:
    /// `models` outlives it.
    [[nodiscard]] static std::expected<std::unique_ptr<ConfirmationTerminal>, VostelMCPKit::PosixError>
    make(Paths paths, const ModelStore& models);
    ConfirmationTerminal(const ConfirmationTerminal&) = delete;
    ConfirmationTerminal& operator=(const ConfirmationTerminal&) = delete;

    /// Makes it check for new requests at once instead of within a second. Callable from any thread.
    void wake() { wakePipe_.wake(); }

    /// Never returns; for a thread of its own.
    [[noreturn]] void run();

private:
    ConfirmationTerminal(Paths paths, const ModelStore& models, posix::WakePipe wakePipe)
        : paths_{std::move(paths)}, models_{models}, wakePipe_{std::move(wakePipe)} {}

    /// Waits for input, a wake-up or the next poll, and reads what was typed.
    void wait();
    void read();
    void perform(const ConfirmationPrompt::Turn& turn, Confirmations& confirmations);

    const Paths paths_;
    const ModelStore& models_;
    const posix::WakePipe wakePipe_;

    ConfirmationPrompt prompt_;
    std::string typed_;
    /// False after the user closed the input.
    bool isListening_ = true;
};

} // namespace vostel_companion
