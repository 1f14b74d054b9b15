// The threads of this system as macOS has them: a thread names itself alone, and cannot be asked for its attributes.
#pragma once

#define pthread_setname_np pthread_setname_np_of_linux
#include_next <pthread.h>
#undef pthread_setname_np

extern "C" int pthread_setname_np(const char* name);

#pragma GCC poison pthread_getattr_np pthread_attr_setaffinity_np pthread_setaffinity_np pthread_tryjoin_np
