// Threads of the server role.
#ifndef DBUS_THREADS_H
#define DBUS_THREADS_H

namespace quon::dbus {

// Starts a detached thread with a small stack. False: there is none.
bool start_thread(void* (*function)(void*), void* argument);

}  // namespace quon::dbus

#endif
