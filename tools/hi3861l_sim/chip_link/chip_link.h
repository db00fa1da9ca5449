// The chip link: socket calls for family 16 (netlink), protocol 28 reach the simulated chip instead
// of the kernel; all other sockets are passed through. The functions have the signatures and
// results of the calls that they replace, and may be called from any thread.
//
// Two front ends provide these functions under the names that the program calls: the preload
// library (chip_link_preload.cpp) and, for a static program, the linker's --wrap option
// (chip_link_wrap.cpp).
#ifndef CHIP_LINK_H
#define CHIP_LINK_H

#include <sys/socket.h>
#include <sys/types.h>

// The C library's own functions, filled in by the front end.
struct chip_link_libc {
    int (*socket)(int domain, int type, int protocol);
    int (*bind)(int fd, const sockaddr* address, socklen_t length);
    ssize_t (*sendto)(int fd, const void* data, size_t size, int flags, const sockaddr* to,
                      socklen_t length);
    ssize_t (*recvfrom)(int fd, void* data, size_t size, int flags, sockaddr* from,
                        socklen_t* length);
    int (*setsockopt)(int fd, int level, int name, const void* value, socklen_t size);
    int (*getsockname)(int fd, sockaddr* address, socklen_t* length);
    int (*close)(int fd);
};
const chip_link_libc* chip_link_next();

// Fails with EPROTONOSUPPORT while no simulator is listening, like a kernel without the protocol.
int chip_link_socket(int domain, int type, int protocol);
int chip_link_bind(int fd, const sockaddr* address, socklen_t length);

// Fails with ECONNREFUSED while the simulator is away, and for a port other than 0.
ssize_t chip_link_sendto(int fd, const void* data, size_t size, int flags, const sockaddr* to,
                         socklen_t length);

// A cancellation point. While the simulator is away, waits for it to return.
ssize_t chip_link_recvfrom(int fd, void* data, size_t size, int flags, sockaddr* from,
                           socklen_t* length);
int chip_link_setsockopt(int fd, int level, int name, const void* value, socklen_t size);
int chip_link_getsockname(int fd, sockaddr* address, socklen_t* length);
int chip_link_close(int fd);

// Whether the descriptor belongs to the link.
bool chip_link_owns(int fd);

#endif
