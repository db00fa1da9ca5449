// File descriptors. New ones are close-on-exec from creation, so a command started by another
// thread cannot inherit one. In a process started without standard streams the numbers 0 to 2 are
// free, and printed text would go to whatever descriptor takes 1 or 2. The daemon therefore fills
// them before it creates any other descriptor; for other programs that use these libraries, no
// socket keeps one of these numbers.
#ifndef QUON_DESCRIPTOR_H
#define QUON_DESCRIPTOR_H

#include <fcntl.h>
#include <stdbool.h>
#include <stdio.h>
#include <sys/socket.h>
#include <unistd.h>

// Opens each closed descriptor among 0 to 2, permanently: on /dev/null or, where that is missing,
// on a socket that transfers nothing. Commands inherit them. Returns false when no descriptor is
// available. Call at program start.
static inline bool quon_open_standard_streams(void) {
    for (int number = STDIN_FILENO; number <= STDERR_FILENO; number++) {
        if (fcntl(number, F_GETFD) >= 0) {
            continue;
        }
        int fd = open("/dev/null", O_RDWR);  // takes the lowest free number
        if (fd < 0) {
            fd = socket(AF_UNIX, SOCK_STREAM, 0);
        }
        if (fd != number) {
            return false;
        }
    }
    return true;
}

// Returns `fd`; if it is 0 to 2, returns instead a new close-on-exec duplicate above 2 and closes
// `fd`. A negative `fd` is returned unchanged; -1 with errno when it cannot be duplicated.
static inline int quon_clear_of_standard_streams(int fd) {
    if (fd < 0 || fd > STDERR_FILENO) {
        return fd;
    }
    const int moved = fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    (void)close(fd);
    return moved;
}

// `socket`. Returns -1 with errno on failure. A socket numbered 0 to 2 is held until another one
// has been created, and is then closed.
static inline int quon_socket(int domain, int type, int protocol) {
    const int fd = socket(domain, type | SOCK_CLOEXEC, protocol);
    if (fd < 0 || fd > STDERR_FILENO) {
        return fd;
    }
    const int above = quon_socket(domain, type, protocol);
    (void)close(fd);
    return above;
}

// `accept4`; `flags` may include SOCK_NONBLOCK. Returns -1 with errno on failure.
static inline int quon_accept(int fd, struct sockaddr* address, socklen_t* length, int flags) {
    return quon_clear_of_standard_streams(accept4(fd, address, length, flags | SOCK_CLOEXEC));
}

// `fopen` with "wb": truncates an existing file. Null with errno on failure.
static inline FILE* quon_create_file(const char* path) {
    const int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    FILE* const file = fd < 0 ? nullptr : fdopen(fd, "wb");
    if (fd >= 0 && file == nullptr) {
        (void)close(fd);
    }
    return file;
}

#endif
