// A pipe whose ends no program that we start inherits.
#pragma once

#include "posix/FileDescriptor.h"
#include "posix/SystemError.h"

#include <expected>

namespace posix {

/// Both ends block; see setNonBlocking. Setting close-on-exec is a second step, in which another thread may start a
/// program. ChildProcess and launchBundle close all other descriptors in the child, so that is harmless.
struct Pipe {
    FileDescriptor reader;
    FileDescriptor writer;

    [[nodiscard]] static std::expected<Pipe, PosixError> make();
};

} // namespace posix
