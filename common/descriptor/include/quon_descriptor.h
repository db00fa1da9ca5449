// Descriptors. New ones are close-on-exec from the moment that they exist, so that no command that
// another thread starts meanwhile inherits one. The numbers 0 to 2 are free in a process that was
// started without standard streams, and whatever it prints would go to the descriptor that took 1
// or 2: the daemon fills them before it makes any other descriptor, and for other programs that use
// its libraries a socket does not keep such a number.
#ifndef QUON_DESCRIPTOR_H
#define QUON_DESCRIPTOR_H

#include <fcntl.h>
#include <stdbool.h>
#include <stdio.h>
#include <sys/socket.h>
#include <unistd.h>

// Opens those of the descriptors 0 to 2 that are closed, for good: on /dev/null, or where that is
// missing on a socket that neither gives nor takes anything. Commands inherit them. Returns false
// when there is no descriptor to be had. For the start of a program.
static inline bool quon_open_standard_streams(void) {
    for (int number = STDIN_FILENO; number <= STDERR_FILENO; number++) {
        if (fcntl(number, F_GETFD) >= 0) {
            continue;
        }
        int fd = open("/dev/null", O_RDWR);  // the lowest free number is this one
        if (fd < 0) {
            fd = socket(AF_UNIX, SOCK_STREAM, 0);
        }
        if (fd != number) {
            return false;
        }
    }
    return true;
}

// Returns fd, or in place of a number from 0 to 2 a new close-on-exec one above 2; fd itself is
// then closed. Negative numbers come back as they are; -1 with errno when there is no new one.
static inline int quon_clear_of_standard_streams(int fd) {
    if (fd < 0 || fd > STDERR_FILENO) {
        return fd;
    }
    const int moved = fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    (void)close(fd);
    return moved;
}

// `socket`. Returns -1 with errno on failure. One with a number from 0 to 2 is kept until the next
// one is made, and then closed.
static inline int quon_socket(int domain, int type, int protocol) {
    const int fd = socket(domain, type | SOCK_CLOEXEC, protocol);
    if (fd < 0 || fd > STDERR_FILENO) {
        return fd;
    }
    const int above = quon_socket(domain, type, protocol);
    (void)close(fd);
    return above;
}

// `accept4`; `flags` may hold SOCK_NONBLOCK. Returns -1 with errno on failure.
static inline int quon_accept(int fd, struct sockaddr* address, socklen_t* length, int flags) {
    return quon_clear_of_standard_streams(accept4(fd, address, length, flags | SOCK_CLOEXEC));
}

// `fopen` for writing ("wb"): an empty file, whatever was there. Null with errno on failure.
static inline FILE* quon_create_file(const char* path) {
    const int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    FILE* const file = fd < 0 ? NULL : fdopen(fd, "wb");
    if (fd >= 0 && file == NULL) {
        (void)close(fd);
    }
    return file;
}

#endif
