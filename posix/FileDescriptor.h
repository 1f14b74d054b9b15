// Owns one open file descriptor.
#pragma once

#include <unistd.h>
#include <utility>

namespace posix {

/// Closes its descriptor. Moved, never copied.
class FileDescriptor final {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int number) : number_{number} {}
    FileDescriptor(FileDescriptor&& other) noexcept : number_{std::exchange(other.number_, -1)} {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        FileDescriptor taken{std::move(other)};
        std::swap(number_, taken.number_);
        return *this;
    }
    ~FileDescriptor() {
        if (isOpen()) close(number_);
    }

    /// Negative when nothing is owned.
    [[nodiscard]] int get() const { return number_; }
    [[nodiscard]] bool isOpen() const { return number_ >= 0; }

private:
    int number_ = -1;
};

} // namespace posix
