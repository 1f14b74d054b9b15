// Ends another thread's poll().
#pragma once

#include "posix/FileDescriptor.h"
#include "posix/SystemError.h"

#include <expected>
#include <utility>

namespace posix {

/// One thread polls `reader` for input and calls `drain` when it wakes. Any thread calls `wake`.
class WakePipe final {
public:
    [[nodiscard]] static std::expected<WakePipe, PosixError> make();

    [[nodiscard]] const FileDescriptor& reader() const { return reader_; }
    /// Never blocks and never fails.
    void wake() const;
    /// Clears all wakes so far.
    void drain() const;

private:
    WakePipe(FileDescriptor reader, FileDescriptor writer) : reader_{std::move(reader)}, writer_{std::move(writer)} {}

    FileDescriptor reader_;
    FileDescriptor writer_;
};

} // namespace posix
