// Threads of the server role: one a connection, one a message.
#ifndef DBUS_THREADS_H
#define DBUS_THREADS_H

#include <pthread.h>

namespace quon::dbus {

// Detached, with the stack that the process asked for. Made once for many threads.
class ThreadKind {
  public:
    ThreadKind();
    ~ThreadKind();
    ThreadKind(const ThreadKind&) = delete;
    ThreadKind& operator=(const ThreadKind&) = delete;

    // False: there is no thread.
    bool start(void* (*function)(void*), void* argument) const;

  private:
    pthread_attr_t attributes_;
};

}  // namespace quon::dbus

#endif
