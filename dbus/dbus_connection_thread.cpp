#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "dbus_aside.h"
#include "dbus_calm.h"
#include "dbus_connection.h"
#include "dbus_message_thread.h"
#include "dbus_module.h"
#include "dbus_records.h"
#include "dbus_socket_common.h"
#include "dbus_state.h"
#include "dbus_threads.h"
#include "quon_log.h"
#include "quon_platform.h"
#include "securec.h"

namespace {

using namespace quon::dbus;

// State of a connection's thread.
struct Reader {
    DbusInfo* info;
    Connection* connection;
    ThreadKind messages;
};

void* run_waiter(void* connection_pointer) {
    auto* connection = static_cast<Connection*>(connection_pointer);
    send_waiting_results(connection);
    leave_connection(connection);
    return nullptr;
}

// Without a thread for it, the message is handled here: this peer is slowed down, but nothing is
// lost.
void process_here(Reader* reader, Message* message) {
    Connection* connection = reader->connection;
    if (!process_message(message)) {
        leave_connection(connection);
    } else if (!reader->messages.start(run_waiter, connection)) {
        run_waiter(connection);
    }
    prctl(PR_SET_NAME, reader->info->name);
    prctl(PR_SET_TIMERSLACK, 0UL);  // message threads inherit it
}

void start_message(Reader* reader, Message* message) {
    DbusProcessArgs* args = &message->args;
    args->info = reader->info;
    args->fd = reader->connection->fd;
    message->connection = reader->connection;
    join_connection(reader->connection);
    load_begins();
    put_aside(&message->aside, args);
    if (!reader->messages.start(Dbus_ReadWrite_Process, args)) {
        take_aside(args);
        process_here(reader, message);
    }
}

void take_record(Reader* reader, Message* message, ssize_t got) {
    const uint32_t head = message->args.msg.head;
    if (head == DBUS_MSG_HEAD) {
        start_message(reader, message);
        return;
    }
    QnLogPrint(QN_LOG_WARN, kTag, kSourceName, "Dbus_ReadWrite_Thread", __LINE__,
               "read msg head is invalid, ret = %d head:%x\n", static_cast<int>(got), head);
    free(message);
}

void log_no_memory() {
    QnLogPrint(QN_LOG_ERROR, kTag, kSourceName, "Dbus_ReadWrite_Thread", __LINE__,
               "alloc msg failed\n");
}

// Whether to read again. errno alone decides, even at the end of the stream, where it still has the
// value that an earlier call left: intended.
bool is_interruption(ssize_t got) {
    if (errno != EINTR) {
        return false;
    }
    QnLogPrint(QN_LOG_ERROR, kTag, kSourceName, "Dbus_ReadWrite_Thread", __LINE__,
               "%s %d read socket data interrupt ret:%d errno:%d (%s)\n", "Dbus_ReadWrite_Thread",
               __LINE__, static_cast<int>(got), errno, strerror(errno));
    pause_at_stale_end(got);
    return true;
}

// One read is one record, however many bytes it returns. False: the connection is over.
bool read_message(Reader* reader) {
    auto* message = static_cast<Message*>(malloc(sizeof(Message)));
    if (message == nullptr) {
        log_no_memory();
        return false;
    }
    DbusMsg* msg = &message->args.msg;
    memset_s(msg, sizeof(*msg), 0, sizeof(*msg));
    const ssize_t got = read(reader->connection->fd, msg, sizeof(*msg));
    // Nothing but this read may change errno before the next one.
    const int error = errno;
    bool more = true;
    if (got > 0) {
        take_record(reader, message, got);
    } else {
        more = is_interruption(got);
        free(message);
    }
    errno = error;
    return more;
}

// A peer with too many unread results is slowed down; nobody else is.
void read_messages(DbusInfo* info, Connection* connection) {
    Reader reader{info, connection, {}};
    do {
        wait_for_few_waiting(connection);
        QUON_ANALYZER_OFF("-Wanalyzer-malloc-leak")  // its thread frees the message
    } while (read_message(&reader));
    QUON_ANALYZER_ON
}

// The listener has already created the connection; for arguments from elsewhere in the process it
// is created here.
Connection* connection_for(const void* args, DbusInfo* info, int32_t fd) {
    if (Aside* aside = take_aside(args)) {
        return reinterpret_cast<Connection*>(aside);
    }
    State* state = enter_state(info);
    if (state == nullptr) {
        return nullptr;
    }
    Connection* connection = make_connection(state, fd);
    leave_state(state);
    return connection;
}

}  // namespace

void* Dbus_ReadWrite_Thread(void* args_pointer) {
    auto* args = static_cast<ListenArgs*>(args_pointer);
    DbusInfo* info = args->info;
    const int32_t fd = args->fd;
    Connection* connection = connection_for(args, info, fd);
    free(args);
    if (connection == nullptr) {
        log_no_memory();
        close(fd);
        return nullptr;
    }
    prctl(PR_SET_NAME, info->name);
    read_messages(info, connection);
    // Shows the peer the end now, even if message threads still use the socket.
    shutdown(fd, SHUT_RDWR);
    leave_connection(connection);
    return nullptr;
}
