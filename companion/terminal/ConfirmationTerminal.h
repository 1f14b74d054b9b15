// Asks the person at the terminal about the requests that wait for confirmation, while the program serves.
#pragma once

#include "companion/models/ModelStore.h"
#include "companion/support/Paths.h"
#include "companion/terminal/ConfirmationPrompt.h"
#include "posix/FileDescriptor.h"

#include <expected>
#include <memory>
#include <string>

namespace vostel_companion {

/// Reads standard input and writes to standard output, both of which are a terminal. What blocks here (a person who
/// does not answer, a terminal that is stopped) blocks nothing else.
class ConfirmationTerminal final {
public:
    /// `models` outlives it. The error is an errno value.
    [[nodiscard]] static std::expected<std::unique_ptr<ConfirmationTerminal>, int> make(Paths paths,
                                                                                        const ModelStore& models);
    ConfirmationTerminal(const ConfirmationTerminal&) = delete;
    ConfirmationTerminal& operator=(const ConfirmationTerminal&) = delete;

    /// Looks for requests at once instead of within a second. Callable from any thread.
    void wake();

    /// Never returns; for a thread of its own.
    [[noreturn]] void run();

private:
    ConfirmationTerminal(Paths paths, const ModelStore& models, posix::FileDescriptor wakeReader,
                         posix::FileDescriptor wakeWriter)
        : paths_{std::move(paths)}, models_{models}, wakeReader_{std::move(wakeReader)},
          wakeWriter_{std::move(wakeWriter)} {}

    /// Waits until there may be something to do, and takes what was typed.
    void wait();
    void read();
    void perform(const ConfirmationPrompt::Turn& turn, Confirmations& confirmations);

    const Paths paths_;
    const ModelStore& models_;
    const posix::FileDescriptor wakeReader_;
    const posix::FileDescriptor wakeWriter_;

    ConfirmationPrompt prompt_;
    std::string typed_;
    /// False once the person has closed the input.
    bool isListening_ = true;
};

} // namespace vostel_companion
