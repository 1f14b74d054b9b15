// A pipe. Child processes inherit neither end.
#pragma once

#include "posix/FileDescriptor.h"
#include "posix/SystemError.h"

#include <expected>

namespace posix {

/// Both ends block; see setNonBlocking. Close-on-exec is set in a second step, and another thread may start a program
/// just before it. That is harmless, because ChildProcess and launchBundle close all other descriptors in the child.
struct Pipe {
    FileDescriptor reader;
    FileDescriptor writer;

    [[nodiscard]] static std::expected<Pipe, PosixError> make();
};

} // namespace posix
