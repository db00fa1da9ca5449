#include "bare_server.h"

#include <pthread.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <memory>

#include "child.h"
#include "dbus_socket_common.h"

namespace quon::bench {
namespace {

constexpr useconds_t kPauseUs = 1000;

pthread_mutex_t write_lock = PTHREAD_MUTEX_INITIALIZER;
pthread_attr_t attributes;

struct Request {
    int connection;
    DbusMsg record;
};

void start(void* (*function)(void*), void* argument) {
    pthread_t thread;
    if (pthread_create(&thread, &attributes, function, argument) != 0) {
        _exit(1);  // the caller sees the end of its connection
    }
}

// The request itself goes back.
void* answer(void* argument) {
    const std::unique_ptr<Request> request(static_cast<Request*>(argument));
    prctl(PR_SET_TIMERSLACK, 1UL);
    usleep(kPauseUs);
    pthread_mutex_lock(&write_lock);
    (void)send(request->connection, &request->record, sizeof(request->record), MSG_NOSIGNAL);
    pthread_mutex_unlock(&write_lock);
    return nullptr;
}

void* read_requests(void* argument) {
    const int connection = static_cast<int>(reinterpret_cast<std::intptr_t>(argument));
    for (;;) {
        auto request = std::make_unique<Request>();
        request->connection = connection;
        if (read(connection, &request->record, sizeof(request->record)) <= 0) {
            return nullptr;
        }
        start(answer, request.release());
    }
}

}  // namespace

void serve_barely(int listener, std::size_t stack) {
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    if (stack != 0 && pthread_attr_setstacksize(&attributes, stack) != 0) {
        fail("stack");
    }
    for (;;) {
        const int connection = accept(listener, nullptr, nullptr);
        if (connection < 0) {
            fail("accept");
        }
        start(read_requests, reinterpret_cast<void*>(static_cast<std::intptr_t>(connection)));
    }
}

}  // namespace quon::bench
