// Loaded before the system's own library in a server under test, it simulates faults that tests cannot cause:
//
//     FAKE_HOME=path        every user's home folder in the password database
//     NO_THREADS=1          no thread can be started
//     MISSING=path:path     these paths cannot be opened
//     UNKNOWN_STREAMS=1     nothing is known of a descriptor
//     UNKNOWN_LIMIT=1       the limit of descriptors is not known
//     INTERRUPTED_WRITES=1  a signal interrupts the first write
//     BROKEN_ERROR=1        standard error cannot be written
//     STUCK_ERROR=1         standard error takes no bytes
//     NO_TIMERS=1           no timer can be set

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <pwd.h>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/types.h>
#include <unistd.h>

namespace {

bool isMissing(std::string_view path) {
    const char* missing = std::getenv("MISSING");
    return missing != nullptr && (':' + std::string{missing} + ':').contains(':' + std::string{path} + ':');
}

template <class Function>
Function next(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" int getpwuid_r(uid_t user, passwd* entry, char* storage, size_t size, passwd** result) {
    const char* home = std::getenv("FAKE_HOME");
    *result = nullptr;
    if (home == nullptr || std::strlen(home) >= size) return ERANGE;
    std::strcpy(storage, home);
    *entry = {};
    entry->pw_uid = user;
    entry->pw_dir = storage;
    *result = entry;
    return 0;
}

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                              void* argument) {
    if (std::getenv("NO_THREADS") != nullptr) return EAGAIN;
    return next<decltype(&pthread_create)>("pthread_create")(thread, attributes, body, argument);
}

extern "C" int open(const char* path, int flags, ...) {
    if (isMissing(path)) {
        errno = ENOENT;
        return -1;
    }
    va_list more;
    va_start(more, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
    va_end(more);
    return next<int (*)(const char*, int, ...)>("open")(path, flags, mode);
}

extern "C" int fcntl(int descriptor, int command, ...) {
    if (std::getenv("UNKNOWN_STREAMS") != nullptr && command == F_GETFD) {
        errno = EPERM;
        return -1;
    }
    va_list more;
    va_start(more, command);
    void* argument = va_arg(more, void*);
    va_end(more);
    return next<int (*)(int, int, ...)>("fcntl")(descriptor, command, argument);
}

extern "C" int getrlimit(int resource, rlimit* limit) noexcept {
    if (std::getenv("UNKNOWN_LIMIT") != nullptr && resource == RLIMIT_NOFILE) {
        errno = EPERM;
        return -1;
    }
    return next<int (*)(int, rlimit*)>("getrlimit")(resource, limit);
}

extern "C" ssize_t write(int descriptor, const void* bytes, size_t length) {
    if (descriptor == STDERR_FILENO && std::getenv("STUCK_ERROR") != nullptr) return 0;
    if (descriptor == STDERR_FILENO && std::getenv("BROKEN_ERROR") != nullptr) {
        errno = EIO;
        return -1;
    }
    static bool hasInterrupted = false;
    if (!hasInterrupted && std::getenv("INTERRUPTED_WRITES") != nullptr) {
        hasInterrupted = true;
        errno = EINTR;
        return -1;
    }
    return next<ssize_t (*)(int, const void*, size_t)>("write")(descriptor, bytes, length);
}

extern "C" int setitimer(__itimer_which_t which, const itimerval* value, itimerval* before) noexcept {
    if (std::getenv("NO_TIMERS") != nullptr) {
        errno = EPERM;
        return -1;
    }
    return next<int (*)(__itimer_which_t, const itimerval*, itimerval*)>("setitimer")(which, value, before);
}
