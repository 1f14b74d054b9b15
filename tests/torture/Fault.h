// What goes wrong in one run of the server.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace torture {

/// One system call or allocation that does not do what it should.
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
    /// Of the system call.
    long number = 0;
    int error = 0;
    /// Counted from one: the system calls of this number, or the allocations, since the conversation's faults began.
    long position = 0;
    /// Those that follow fail as well. An interruption then stays for a hundred times.
    bool stays = false;

    [[nodiscard]] std::string description() const;
    /// The fault that has this description.
    [[nodiscard]] static std::optional<Fault> described(std::string_view text);
};

/// What a system call may report, as its manual says. Empty for one that cannot fail.
[[nodiscard]] const std::vector<int>& errorsOf(long systemCall);
[[nodiscard]] bool isKnown(long systemCall);
[[nodiscard]] bool mayBeShort(long systemCall);
[[nodiscard]] std::string nameOf(long systemCall);

/// An interruption, or a shortage that is over at the next attempt.
[[nodiscard]] bool isTransient(int error);

} // namespace torture
