// The sockets of this system as macOS has them: the broken-pipe signal is an option of the socket, not of a send.
#pragma once

#include_next <sys/socket.h>

#undef MSG_NOSIGNAL
#define SO_NOSIGPIPE 0

#pragma GCC poison MSG_NOSIGNAL accept4 recvmmsg sendmmsg
