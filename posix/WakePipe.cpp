#include "posix/WakePipe.h"

#include "posix/Pipe.h"

#include <array>
#include <tuple>
#include <unistd.h>

namespace posix {

std::expected<WakePipe, PosixError> WakePipe::make() {
    auto pipe = Pipe::make();
    if (!pipe) return std::unexpected(pipe.error());
    setNonBlocking(pipe->reader);
    setNonBlocking(pipe->writer);
    return WakePipe{std::move(pipe->reader), std::move(pipe->writer)};
}

void WakePipe::wake() const {
    // A failed write into a full pipe is harmless: its bytes wake the thread.
    std::ignore = ::write(writer_.get(), "", 1);
}

void WakePipe::drain() const {
    std::array<char, 256> ignored;
    while (::read(reader_.get(), ignored.data(), ignored.size()) > 0) {}
}

} // namespace posix
