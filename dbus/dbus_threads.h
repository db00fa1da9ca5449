// Threads of the server role: one per connection and one per message.
#ifndef DBUS_THREADS_H
#define DBUS_THREADS_H

#include <pthread.h>

namespace quon::dbus {

// Attributes of detached threads with the process's chosen stack size. One object can start many.
class ThreadKind {
  public:
    ThreadKind();
    ~ThreadKind();
    ThreadKind(const ThreadKind&) = delete;
    ThreadKind& operator=(const ThreadKind&) = delete;

    // False: the thread could not be created.
    bool start(void* (*function)(void*), void* argument) const;

  private:
    pthread_attr_t attributes_;
};

}  // namespace quon::dbus

#endif
