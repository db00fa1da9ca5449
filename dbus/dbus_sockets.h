// Sockets for records, and the bus addresses of processes.
#ifndef DBUS_SOCKETS_H
#define DBUS_SOCKETS_H

#include <sys/un.h>

namespace quon::dbus {

// Creates a close-on-exec stream socket with buffers for records, or returns -1.
int open_socket();

// Accepts a connection with the same properties, or returns -1.
int accept_socket(int listener);

// Fills in the address of the socket file `path`, cut to 107 characters.
void set_address(sockaddr_un* address, const char* path);

// The address of the process with the bus name `name`.
void set_address_of(sockaddr_un* address, const char* name);

// Called after each failed attempt; returning false gives up.
using PauseFunction = bool (*)(void* context);

// Connects in at most 100 attempts, with a pause after each failure (including the last).
bool connect_patiently(int fd, const sockaddr_un& address, PauseFunction pause, void* context);

// One attempt. A listening server with a full queue is given a millisecond; then errno is EAGAIN.
bool connect_once(int fd, const sockaddr_un& address);

// Sleeps 50,000 microseconds, the pause between attempts. Always returns true.
bool connect_pause(void* context);

// Waits until `fd` has room for a record or has failed. A negative limit waits for ever.
void wait_for_room(int fd, int bound_ms);

}  // namespace quon::dbus

#endif
