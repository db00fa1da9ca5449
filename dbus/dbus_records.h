// Records on a socket, and the names in them.
#ifndef DBUS_RECORDS_H
#define DBUS_RECORDS_H

#include <stddef.h>

#include "dbus_socket_common.h"

namespace quon::dbus {

static_assert(sizeof(DbusMsg) == DBUS_MSG_SIZE);
static_assert(offsetof(DbusMsg, data) == DBUS_MSG_SIZE - DBUS_DATA_SIZE);

enum class Sent { kWhole, kNoRoom, kFailed };

// One write of the whole record, without waiting: it goes whole or not at all.
Sent send_record(int fd, const DbusMsg* record);

// Names of messages are read as at most 64 bytes, terminated or not.
bool same_name(const char* one, const char* other);

// As many bytes as the field can hold, from a name that need not be terminated.
void copy_name(char* to, const char* from);

}  // namespace quon::dbus

#endif
