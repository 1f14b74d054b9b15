#include "companion/support/Log.h"

#include "companion/support/Iso8601.h"
#include "companion/support/TerminalSafe.h"
#include "posix/FileDescriptor.h"

#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>

namespace vostel_companion {

void Log::write(std::string_view line) {
    const std::lock_guard lock{mutex_};
    struct stat status{};
    if (::lstat(file_.c_str(), &status) == 0 && status.st_size >= static_cast<off_t>(longestFile)) {
        std::error_code ignored;
        std::filesystem::rename(file_, file_.string() + ".1", ignored);
    }
    // Opened for each line. If the user deletes or moves the file, a new one begins.
    const posix::FileDescriptor file{
        ::open(file_.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600)};
    if (!file.isOpen()) return;
    const std::string text =
        formatTimestamp(std::chrono::floor<Timestamp::duration>(now_())) + " " + printableLine(line) + "\n";
    std::ignore = ::write(file.get(), text.data(), text.size());
}

} // namespace vostel_companion
