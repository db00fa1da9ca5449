// Records on a socket, and the names in them.
#ifndef DBUS_RECORDS_H
#define DBUS_RECORDS_H

#include <stddef.h>
#include <sys/types.h>

#include "dbus_socket_common.h"

namespace quon::dbus {

static_assert(sizeof(DbusMsg) == DBUS_MSG_SIZE);
static_assert(offsetof(DbusMsg, data) == DBUS_MSG_SIZE - DBUS_DATA_SIZE);

enum class Sent { kWhole, kNoRoom, kFailed };

// One write of the whole record, without waiting: it goes whole or not at all.
Sent send_record(int fd, const DbusMsg* record);

// After a read of `got` that counts as interrupted. At the end of the stream, where an earlier
// interruption still shows in errno, the next read finds the same at once: it is made to wait, so
// that it costs neither a processor nor a full log.
void pause_at_stale_end(ssize_t got);

// Names of messages are read as at most 64 bytes, terminated or not.
bool same_name(const char* one, const char* other);

// As many bytes as the field can hold, from a name that need not be terminated.
void copy_name(char* to, const char* from);

}  // namespace quon::dbus

#endif
