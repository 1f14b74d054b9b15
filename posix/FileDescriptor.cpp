#include "posix/FileDescriptor.h"

#include <fcntl.h>

namespace posix {

void setCloseOnExec(const FileDescriptor& descriptor) { ::fcntl(descriptor.get(), F_SETFD, FD_CLOEXEC); }

void setNonBlocking(const FileDescriptor& descriptor) { ::fcntl(descriptor.get(), F_SETFL, O_NONBLOCK); }

void setBlocking(const FileDescriptor& descriptor) { ::fcntl(descriptor.get(), F_SETFL, 0); }

} // namespace posix
