// The protocol between the chip link and the simulated chip. Every datagram is one netlink message
// as the kernel would carry it, including its 16-byte header, over a Unix socket of type
// SOCK_SEQPACKET. A bound port id is the abstract socket name that the link's end is bound to, so
// the kernel itself prevents two sockets from holding one port.
#ifndef CHIP_LINK_PROTOCOL_H
#define CHIP_LINK_PROTOCOL_H

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>

inline constexpr char kChipLinkSocketVariable[] = "HI3861L_SIM_SOCKET";
inline constexpr char kChipLinkDefaultSocket[] = "/tmp/hi3861l-sim.sock";
inline constexpr char kChipLinkPortNameFormat[] = "hi3861l-sim/%u/%08x";

// A number for each simulator's path, so that simulators do not share their ports.
static inline uint32_t chip_link_path_number(const char* path) {
    uint32_t number = 2166136261U;
    for (; *path != '\0'; path++) {
        number = (number ^ (uint8_t)*path) * 16777619U;
    }
    return number;
}

// Writes to `name` the abstract address for port id `port` of the simulator at `path`; returns the
// address's length.
static inline socklen_t chip_link_port_name(struct sockaddr_un* name, uint32_t port,
                                            const char* path) {
    memset(name, 0, sizeof *name);
    name->sun_family = AF_UNIX;
    const int length = snprintf(name->sun_path + 1, sizeof name->sun_path - 1,
                                kChipLinkPortNameFormat, port, chip_link_path_number(path));
    return (socklen_t)(offsetof(struct sockaddr_un, sun_path) + 1 + (size_t)length);
}

// The port id of an address; 0 for any other address.
static inline uint32_t chip_link_port_of(const struct sockaddr_un* name, socklen_t length) {
    const size_t head = offsetof(struct sockaddr_un, sun_path) + 1;
    char text[sizeof name->sun_path + 1] = {};
    unsigned port = 0;
    unsigned number = 0;
    if (length <= head || length > sizeof *name || name->sun_path[0] != '\0') {
        return 0;
    }
    memcpy(text, name->sun_path + 1, length - head);
    return sscanf(text, kChipLinkPortNameFormat, &port, &number) == 2 ? port : 0;
}

#endif
