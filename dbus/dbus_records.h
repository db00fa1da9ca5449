// Reading and writing records on a socket, and the names in them.
#ifndef DBUS_RECORDS_H
#define DBUS_RECORDS_H

#include <stddef.h>
#include <sys/types.h>

#include "dbus_socket_common.h"

namespace quon::dbus {

static_assert(sizeof(DbusMsg) == DBUS_MSG_SIZE);
static_assert(offsetof(DbusMsg, data) == DBUS_MSG_SIZE - DBUS_DATA_SIZE);

enum class Sent { kWhole, kNoRoom, kFailed };

// One non-blocking write: the whole record or nothing.
Sent send_record(int fd, const DbusMsg* record);

// Called after a read of `got` bytes that counts as interrupted. At the end of the stream with
// EINTR still in errno the next read would return at once; it is delayed, so that this neither uses
// a whole processor nor fills the log.
void pause_at_stale_end(ssize_t got);

// Names in messages are read as at most 64 bytes, terminated or not.
bool same_name(const char* one, const char* other);

// Copies as much as the field can take of a name that may lack a terminator.
void copy_name(char* to, const char* from);

}  // namespace quon::dbus

#endif
