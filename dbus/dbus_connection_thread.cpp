#include "dbus_connection_thread.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "dbus_connection.h"
#include "dbus_message_thread.h"
#include "dbus_module.h"
#include "dbus_threads.h"
#include "quon_log.h"
#include "securec.h"

namespace {

using namespace quon::dbus;

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

}  // namespace

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
