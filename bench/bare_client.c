// The smallest possible client of the daemon: one record written, one read, in C and without any
// library. Prints the payload's length.
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "dbus_socket_common.h"

int main(void) {
    static DbusMsg record = {.head = DBUS_MSG_HEAD,
                             .id = 1,
                             .type = DBUS_TYPE_METHOD,
                             .src_name = "bare",
                             .dst_name = "quon.mcu.daemon",
                             .name = "method.quon.mcu.get.time"};
    const struct sockaddr_un address = {.sun_family = AF_UNIX,
                                        .sun_path = "/tmp/dbus-quon.mcu.daemon"};
    const int caller = socket(AF_UNIX, SOCK_STREAM, 0);
    if (caller < 0 || connect(caller, (const struct sockaddr*)&address, sizeof(address)) != 0 ||
        write(caller, &record, sizeof(record)) != sizeof(record) ||
        read(caller, &record, sizeof(record)) <= 0 || record.result < 0) {
        perror("bare_client");
        return 1;
    }
    return printf("%u\n", record.data_len) < 0;
}
