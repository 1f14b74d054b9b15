#include "posix/SystemError.h"

#include <cerrno>

namespace posix {

std::string SystemError::description() const {
    return "Vostel could not " + attempt + ": " + reason.systemText() + ".";
}

std::unexpected<SystemError> systemError(const char* attempt) {
    const int errorNumber = errno;
    return std::unexpected(SystemError{attempt, {errorNumber}});
}

std::unexpected<SystemError> systemError(const char* verb, const std::filesystem::path& path) {
    return systemError(verb, path, errno);
}

std::unexpected<SystemError> systemError(const char* verb, const std::filesystem::path& path, int errorNumber) {
    return std::unexpected(SystemError{std::string{verb} + " '" + path.string() + "'", {errorNumber}});
}

} // namespace posix
