#include "shell_services.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "daemon_log.h"
#include "dbus_socket_common.h"
#include "quon_platform.h"
#include "securec.h"

namespace {

// A request may fill its payload area without a terminator.
struct command_text {
    char text[DBUS_DATA_SIZE + 1];

    explicit command_text(const uint8_t* request) {
        const size_t length = strnlen(reinterpret_cast<const char*>(request), DBUS_DATA_SIZE);
        if (length != 0) {
            (void)memcpy_s(text, DBUS_DATA_SIZE, request, length);
        }
        text[length] = '\0';
    }
};

// Reads up to `capacity` bytes until the end, bypassing the stream: a thread waiting in fread would
// hold the stream's lock, for which `exit` waits in newer C libraries.
int32_t read_output(int fd, uint8_t* reply, size_t capacity) {
    size_t count = 0;
    while (count < capacity) {
        const ssize_t got = read(fd, reply + count, capacity - count);
        if (got > 0) {
            count += static_cast<size_t>(got);
        } else if (got == 0 || errno != EINTR) {
            break;
        }
    }
    return static_cast<int32_t>(count);
}

}  // namespace

int32_t system_call(const uint8_t* request, int32_t, uint8_t* reply, int32_t) {
    int status = 0;
    if (request != nullptr) {
        const command_text command(request);
        DAEMON_LOG(QN_LOG_INFO, "exec: %s\n", command.text);
        status = system(command.text);
    }
    if (reply == nullptr) {
        return 0;
    }
    return sprintf(reinterpret_cast<char*>(reply), "%d", status);
}

int32_t popen_call(const uint8_t* request, int32_t, uint8_t* reply, int32_t reply_capacity) {
    if (request == nullptr) {
        return 0;
    }
    const command_text command(request);
    DAEMON_LOG(QN_LOG_INFO, "exec: %s\n", command.text);
    FILE* stream = quon_popen_for_reading(command.text);
    if (stream == nullptr) {
        DAEMON_LOG(QN_LOG_ERROR, "popen error:%s\n", command.text);
        return -1;
    }
    const int32_t count = read_output(fileno(stream), reply, static_cast<size_t>(reply_capacity));
    pclose(stream);
    return count;
}
