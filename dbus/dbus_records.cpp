#include "dbus_records.h"

#include <errno.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include "securec.h"

namespace quon::dbus {

namespace {

constexpr useconds_t kStaleEndPauseUs = 10'000;

}  // namespace

Sent send_record(int fd, const DbusMsg* record) {
    const ssize_t sent = send(fd, record, sizeof(*record), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (sent == static_cast<ssize_t>(sizeof(*record))) {
        return Sent::kWhole;
    }
    if (sent < 0) {
        return errno == EAGAIN || errno == EINTR ? Sent::kNoRoom : Sent::kFailed;
    }
    // Possible only where the send buffer could not be made large enough. The peer would misread
    // every later record, so the connection is ended instead.
    shutdown(fd, SHUT_RDWR);
    return Sent::kFailed;
}

void pause_at_stale_end(ssize_t got) {
    if (got == 0) {
        usleep(kStaleEndPauseUs);
    }
}

bool same_name(const char* one, const char* other) {
    return strncmp(one, other, DBUS_NAME_SIZE) == 0;
}

void copy_name(char* to, const char* from) {
    memcpy_s(to, DBUS_NAME_SIZE, from, strnlen(from, DBUS_NAME_SIZE));
}

}  // namespace quon::dbus
