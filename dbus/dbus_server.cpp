#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "dbus_internal.h"
#include "quon_log.h"
#include "quon_platform.h"
#include "securec.h"

namespace {

using namespace quon::dbus;

constexpr size_t kThreadStack = size_t{64} * 1024;
constexpr useconds_t kAfterMethodUs = 1000;
constexpr size_t kThreadNameLength = 15;

// An accepted connection. Its thread and each of its message threads use it; the last one to leave
// closes the socket, so that the number is not given to another peer while a late result may still
// be written to it.
struct Connection {
    int32_t fd;
    uint32_t users;  // atomic
};

struct ListenArgs {
    DbusInfo* info;
    int32_t fd;
};

struct DbusProcessArgs {
    DbusInfo* info;
    DbusMsg msg;
    int32_t fd;
    Connection* connection;
};

void join_connection(Connection* connection) {
    __atomic_add_fetch(&connection->users, 1U, __ATOMIC_RELAXED);
}

void leave_connection(Connection* connection) {
    if (__atomic_sub_fetch(&connection->users, 1U, __ATOMIC_ACQ_REL) == 0) {
        close(connection->fd);
        free(connection);
    }
}

// Threads are many and their work is shallow: small stacks. Starts and detaches.
bool start_thread(void* (*function)(void*), void* argument) {
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0) {
        return false;
    }
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    // A size that is refused leaves the default: a large thread is better than none.
    (void)quon_set_thread_stack(&attributes, kThreadStack);
    pthread_t thread;
    const bool started = pthread_create(&thread, &attributes, function, argument) == 0;
    pthread_attr_destroy(&attributes);
    return started;
}

// ---- One message

bool fits(const DbusInterface& entry, const DbusMsg& msg) {
    // Any type but a signal is a method: intended.
    const char* marker = msg.type != DBUS_TYPE_SIGNAL ? entry.method_type : entry.signal_type;
    return marker[0] != '\0' && same_name(entry.name, msg.name);
}

int32_t find_entry(const DbusInfo* info, const DbusMsg& msg) {
    for (int32_t i = 0; i < info->count; i++) {
        if (fits(*info->interfaces[i], msg)) {
            return i;
        }
    }
    return -1;
}

// The end of a long member name tells more than its beginning.
void name_thread_after(const DbusInterface& entry, int32_t index) {
    char name[kThreadNameLength + 1];
    const size_t length = strnlen(entry.name, sizeof(entry.name));
    if (length <= kThreadNameLength) {
        snprintf_s(name, sizeof(name), sizeof(name) - 1, "DBUS-%d", index);
    } else {
        memcpy_s(name, sizeof(name), entry.name + length - kThreadNameLength, kThreadNameLength);
        name[kThreadNameLength] = '\0';
    }
    prctl(PR_SET_NAME, name);
}

void copy_name(char* to, const char* from) {
    memcpy_s(to, DBUS_NAME_SIZE, from, strnlen(from, DBUS_NAME_SIZE));
}

void fill_head(DbusMsg* result, const DbusMsg& request, int32_t returned) {
    result->head = DBUS_MSG_HEAD;
    result->id = request.id;
    copy_name(result->src_name, request.dst_name);
    copy_name(result->dst_name, request.src_name);
    result->type = DBUS_TYPE_METHOD;
    copy_name(result->name, request.name);
    result->result = returned;
    result->data_len = returned >= 0 ? static_cast<uint32_t>(returned) : 0;
}

// A peer that does not read must not hold up the others: the wait for room is outside the mutex,
// and a write that finds the room gone (taken by another result) goes back to waiting.
void write_result(DbusInfo* info, int32_t fd, const DbusMsg* result) {
    Sent sent;
    do {
        wait_for_room(fd, -1);
        pthread_mutex_lock(&info->mutex);
        sent = send_record(fd, result);
        if (sent == Sent::kFailed) {
            printf("%s Write result failed\n", "Dbus_ReadWrite_Process");
        }
        pthread_mutex_unlock(&info->mutex);
    } while (sent == Sent::kNoRoom);
}

void answer_method(const DbusProcessArgs* args, int32_t index) {
    const DbusInterface& entry = *args->info->interfaces[index];
    DbusMsg result;
    memset_s(&result, sizeof(result), 0, sizeof(result));
    name_thread_after(entry, index);
    int32_t returned = -1;
    if (entry.method_handler != nullptr) {
        returned = entry.method_handler(args->msg.data, static_cast<int32_t>(args->msg.data_len),
                                        result.data, DBUS_DATA_SIZE);
        usleep(kAfterMethodUs);  // after every handler: intended
    }
    fill_head(&result, args->msg, returned);
    write_result(args->info, args->fd, &result);
}

void take_signal(const DbusProcessArgs* args, int32_t index) {
    const DbusInterface& entry = *args->info->interfaces[index];
    name_thread_after(entry, index);
    if (entry.signal_handler != nullptr) {
        entry.signal_handler(args->msg.data, static_cast<int32_t>(args->msg.data_len));
    }
}

void process_message(DbusProcessArgs* args) {
    prctl(PR_SET_NAME, kThreadName);
    const int32_t index = find_entry(args->info, args->msg);
    if (index >= 0) {
        if (args->msg.type != DBUS_TYPE_SIGNAL) {
            answer_method(args, index);
        } else {
            take_signal(args, index);
        }
    }
    leave_connection(args->connection);
    free(args);
}

// ---- One connection

// Without a thread for it the message is handled here: the peer feels it, no message is lost.
void start_message(DbusInfo* info, Connection* connection, DbusProcessArgs* args) {
    args->info = info;
    args->fd = connection->fd;
    args->connection = connection;
    join_connection(connection);
    if (!start_thread(Dbus_ReadWrite_Process, args)) {
        process_message(args);
        prctl(PR_SET_NAME, info->name);
    }
}

void take_record(DbusInfo* info, Connection* connection, DbusProcessArgs* args, ssize_t got) {
    if (args->msg.head == DBUS_MSG_HEAD) {
        start_message(info, connection, args);
        return;
    }
    QnLogPrint(QN_LOG_WARN, kTag, kSourceName, "Dbus_ReadWrite_Thread", __LINE__,
               "read msg head is invalid, ret = %d head:%x\n", static_cast<int>(got),
               args->msg.head);
    free(args);
}

// Whether to read again. errno alone decides, also at the end of the stream, where it stands as an
// earlier call left it: intended.
bool is_interruption(ssize_t got) {
    if (errno != EINTR) {
        return false;
    }
    QnLogPrint(QN_LOG_ERROR, kTag, kSourceName, "Dbus_ReadWrite_Thread", __LINE__,
               "%s %d read socket data interrupt ret:%d errno:%d (%s)\n", "Dbus_ReadWrite_Thread",
               __LINE__, static_cast<int>(got), errno, strerror(errno));
    return true;
}

// One read is one record, however much it brings. False: the connection is over.
bool read_message(DbusInfo* info, Connection* connection) {
    auto* args = static_cast<DbusProcessArgs*>(malloc(sizeof(DbusProcessArgs)));
    if (args == nullptr) {
        QnLogPrint(QN_LOG_ERROR, kTag, kSourceName, "Dbus_ReadWrite_Thread", __LINE__,
                   "alloc msg failed\n");
        return false;
    }
    memset_s(&args->msg, sizeof(args->msg), 0, sizeof(args->msg));
    const ssize_t got = read(connection->fd, &args->msg, sizeof(args->msg));
    // Nothing but this read may change what the next one finds in errno.
    const int error = errno;
    bool more = true;
    if (got > 0) {
        take_record(info, connection, args, got);
    } else {
        more = is_interruption(got);
        free(args);
    }
    errno = error;
    return more;
}

Connection* make_connection(int32_t fd) {
    auto* connection = static_cast<Connection*>(malloc(sizeof(Connection)));
    if (connection != nullptr) {
        *connection = {fd, 1};
    }
    return connection;
}

// ---- Accepting

void start_connection(DbusInfo* info, int32_t fd) {
    auto* args = static_cast<ListenArgs*>(malloc(sizeof(ListenArgs)));
    if (args == nullptr) {
        printf("%s malloc ListenArgs failed\n", "Dbus_Listen_Thread");
        close(fd);
        return;
    }
    *args = {info, fd};
    if (!start_thread(Dbus_ReadWrite_Thread, args)) {
        free(args);
        close(fd);
    }
}

}  // namespace

void* Dbus_Listen_Thread(void* info_pointer) {
    auto* info = static_cast<DbusInfo*>(info_pointer);
    prctl(PR_SET_NAME, info->name);
    for (;;) {
        sockaddr_un peer;
        socklen_t length = sizeof(peer);
        const int fd = accept(info->listen_fd, reinterpret_cast<sockaddr*>(&peer), &length);
        if (fd < 0) {
            break;  // whatever the reason: intended
        }
        start_connection(info, prepare_socket(fd));
    }
    puts("Cannot accept client connect request");
    return nullptr;
}

void* Dbus_ReadWrite_Thread(void* args_pointer) {
    auto* args = static_cast<ListenArgs*>(args_pointer);
    DbusInfo* info = args->info;
    const int32_t fd = args->fd;
    free(args);
    prctl(PR_SET_NAME, info->name);
    Connection* connection = make_connection(fd);
    if (connection == nullptr) {
        QnLogPrint(QN_LOG_ERROR, kTag, kSourceName, __func__, __LINE__, "alloc msg failed\n");
        close(fd);
        return nullptr;
    }
    while (read_message(info, connection)) {
    }
    // The peer sees the end now, even while message threads still hold the socket.
    shutdown(fd, SHUT_RDWR);
    leave_connection(connection);
    return nullptr;
}

void* Dbus_ReadWrite_Process(void* args) {
    // Without it the pause after a method takes 50 microseconds more than it should.
    prctl(PR_SET_TIMERSLACK, 1UL);
    process_message(static_cast<DbusProcessArgs*>(args));
    return nullptr;
}
