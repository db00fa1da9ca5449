// Sockets that carry records, and addresses of processes on the bus.
#ifndef DBUS_SOCKETS_H
#define DBUS_SOCKETS_H

#include <sys/un.h>

namespace quon::dbus {

// A stream socket fit for records, that commands started by this process never inherit, or -1.
int open_socket();

// The next peer's, likewise.
int accept_socket(int listener);

// Fills in the address of the socket file `path`, cut to 107 characters.
void set_address(sockaddr_un* address, const char* path);

// The address of the process with the bus name `name`.
void set_address_of(sockaddr_un* address, const char* name);

// Called after each failed attempt; false gives up.
using PauseFunction = bool (*)(void* context);

// Connects, at most 100 times, with a pause after each failed attempt (the last one too).
bool connect_patiently(int fd, const sockaddr_un& address, PauseFunction pause, void* context);

// One attempt. A listening server whose queue is full gets a millisecond; then errno is EAGAIN.
bool connect_once(int fd, const sockaddr_un& address);

// 50,000 microseconds, the pause between attempts. Never gives up.
bool connect_pause(void* context);

// Waits until `fd` has room for a record or has failed. A negative bound waits for ever.
void wait_for_room(int fd, int bound_ms);

}  // namespace quon::dbus

#endif
