// Owns one open file descriptor.
#pragma once

#include <unistd.h>
#include <utility>

namespace posix {

/// Closes its descriptor. Moved, never copied.
class FileDescriptor final {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor) : descriptor_{descriptor} {}
    FileDescriptor(FileDescriptor&& other) noexcept : descriptor_{std::exchange(other.descriptor_, -1)} {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        FileDescriptor taken{std::move(other)};
        std::swap(descriptor_, taken.descriptor_);
        return *this;
    }
    ~FileDescriptor() {
        if (isOpen()) ::close(descriptor_);
    }

    /// For system calls; negative when nothing is owned.
    [[nodiscard]] int get() const { return descriptor_; }
    [[nodiscard]] bool isOpen() const { return descriptor_ >= 0; }

private:
    int descriptor_ = -1;
};

/// Child processes do not inherit the descriptor.
void setCloseOnExec(const FileDescriptor& descriptor);
/// Operations on the descriptor fail with EAGAIN instead of blocking.
void setNonBlocking(const FileDescriptor& descriptor);
/// Operations block again.
void setBlocking(const FileDescriptor& descriptor);

} // namespace posix
