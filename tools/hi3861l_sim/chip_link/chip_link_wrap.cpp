// The front end for a static program: the linker's --wrap option sends each call here and names the
// C library's own function __real_.
#include <stdlib.h>

#include "chip_link.h"

extern "C" {
int __real_socket(int, int, int);
int __real_bind(int, const sockaddr*, socklen_t);
ssize_t __real_sendto(int, const void*, size_t, int, const sockaddr*, socklen_t);
ssize_t __real_recvfrom(int, void*, size_t, int, sockaddr*, socklen_t*);
int __real_setsockopt(int, int, int, const void*, socklen_t);
int __real_getsockname(int, sockaddr*, socklen_t*);
int __real_close(int);

int __wrap_socket(int domain, int type, int protocol) {
    return chip_link_socket(domain, type, protocol);
}

int __wrap_bind(int fd, const sockaddr* address, socklen_t length) {
    return chip_link_bind(fd, address, length);
}

ssize_t __wrap_sendto(int fd, const void* data, size_t size, int flags, const sockaddr* to,
                      socklen_t length) {
    return chip_link_sendto(fd, data, size, flags, to, length);
}

ssize_t __wrap_recvfrom(int fd, void* data, size_t size, int flags, sockaddr* from,
                        socklen_t* length) {
    return chip_link_recvfrom(fd, data, size, flags, from, length);
}

ssize_t __wrap___recvfrom_chk(int fd, void* data, size_t size, size_t room, int flags,
                              sockaddr* from, socklen_t* length) {
    if (size > room) {
        abort();  // as the fortified call does
    }
    return chip_link_recvfrom(fd, data, size, flags, from, length);
}

int __wrap_setsockopt(int fd, int level, int name, const void* value, socklen_t size) {
    return chip_link_setsockopt(fd, level, name, value, size);
}

int __wrap_getsockname(int fd, sockaddr* address, socklen_t* length) {
    return chip_link_getsockname(fd, address, length);
}

int __wrap_close(int fd) {
    return chip_link_close(fd);
}
}

const chip_link_libc* chip_link_next() {
    static constexpr chip_link_libc kLibcFunctions = {
        __real_socket,     __real_bind,        __real_sendto, __real_recvfrom,
        __real_setsockopt, __real_getsockname, __real_close,
    };
    return &kLibcFunctions;
}
