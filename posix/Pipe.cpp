#include "posix/Pipe.h"

#include <cerrno>

namespace posix {

std::expected<Pipe, PosixError> Pipe::make() {
    int ends[2];
    if (::pipe(ends) != 0) return std::unexpected(PosixError{errno});
    Pipe pipe{FileDescriptor{ends[0]}, FileDescriptor{ends[1]}};
    setCloseOnExec(pipe.reader);
    setCloseOnExec(pipe.writer);
    return pipe;
}

} // namespace posix
