// Stands before the system's password database in a server under test: every user's home folder is FAKE_HOME.

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <pwd.h>

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
