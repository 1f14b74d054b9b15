// The system calls of this system without those that macOS has not, or declares in another header.
#pragma once

#define getentropy getentropy_of_linux
#include_next <unistd.h>
#undef getentropy

extern "C" int getpeereid(int socket, uid_t* user, gid_t* group);

#pragma GCC poison close_range dup3 execvpe gettid pipe2
