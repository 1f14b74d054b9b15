// A fault in one run of the server.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace torture {

/// One system call or allocation that fails or does only a part of its work.
struct Fault {
    enum class Kind {
        none,
        /// The system call fails with `error` and does nothing.
        fails,
        /// The system call reads or writes one byte.
        isShort,
        /// An allocation finds no memory.
        allocation,
    };

    Kind kind = Kind::none;
    /// The number of the system call.
    long number = 0;
    int error = 0;
    /// Which system call of this number, or which allocation, fails. Counted from one, since the faults began.
    long position = 0;
    /// All following ones fail too. An interruption is repeated at most a hundred times.
    bool stays = false;

    [[nodiscard]] std::string description() const;
    /// The fault that has this description.
    [[nodiscard]] static std::optional<Fault> described(std::string_view text);
};

/// The errors that a system call may report, according to its manual. Empty for one that cannot fail.
[[nodiscard]] const std::vector<int>& errorsOf(long systemCall);
[[nodiscard]] bool isKnown(long systemCall);
[[nodiscard]] bool mayBeShort(long systemCall);
[[nodiscard]] std::string nameOf(long systemCall);

/// Whether the error is an interruption, or a shortage that may be over at the next attempt.
[[nodiscard]] bool isTransient(int error);

} // namespace torture
