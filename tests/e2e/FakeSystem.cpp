// Loaded before the system's own library in a server under test, it simulates what tests cannot cause:
//
//     FAKE_HOME=path        every user's home folder in the password database
//     NO_THREADS=1          no thread can be started
//     NO_NULL_DEVICE=1      /dev/null cannot be opened
//     INTERRUPTED_WRITES=1  a signal interrupts the first write

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <pwd.h>
#include <sys/types.h>

namespace {

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
    if (std::getenv("NO_NULL_DEVICE") != nullptr && std::strcmp(path, "/dev/null") == 0) {
        errno = ENOENT;
        return -1;
    }
    va_list more;
    va_start(more, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
    va_end(more);
    return next<int (*)(const char*, int, ...)>("open")(path, flags, mode);
}

extern "C" ssize_t write(int descriptor, const void* bytes, size_t length) {
    static bool hasInterrupted = false;
    if (!hasInterrupted && std::getenv("INTERRUPTED_WRITES") != nullptr) {
        hasInterrupted = true;
        errno = EINTR;
        return -1;
    }
    return next<ssize_t (*)(int, const void*, size_t)>("write")(descriptor, bytes, length);
}
