// A pipe whose ends no program that we start inherits.
#pragma once

#include "posix/FileDescriptor.h"
#include "posix/SystemError.h"

#include <expected>

namespace posix {

/// Both ends wait until they can read or write; see setNonBlocking.
struct Pipe {
    FileDescriptor reader;
    FileDescriptor writer;

    [[nodiscard]] static std::expected<Pipe, PosixError> make();
};

} // namespace posix
