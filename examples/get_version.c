/* Prints the version of the chip's firmware.
 *
 *   get_version [TIMEOUT_MS]      waits up to 5000 ms unless told otherwise
 *
 * Exit status: 0 printed; 1 the service failed, or standard output cannot be written; 2 wrong
 * arguments; 3 no daemon, or the connection was lost; 4 no answer in time; 5 a malformed answer. */
#include <dbus_socket_common.h>
#include <quon_mcu_services.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

enum { DONE = 0, FAILED = 1, USAGE = 2, NO_DAEMON = 3, TIMED_OUT = 4, MALFORMED = 5 };

static const char kMember[] = "method.quon.mcu.get.ver";

/* How the call ended, as an exit status. */
static int told(DbusCallStatus status, const DbusReply* reply, int timeout_ms) {
    switch (status) {
        case DBUS_CALL_OK:
            break;
        case DBUS_CALL_TIMEOUT:
            fprintf(stderr, "get_version: no answer within %d ms\n", timeout_ms);
            return TIMED_OUT;
        case DBUS_CALL_NO_CONNECTION:
            fprintf(stderr, "get_version: the connection was lost\n");
            return NO_DAEMON;
        default: /* a program error, or no memory */
            fprintf(stderr, "get_version: the call cannot be made (%d)\n", (int)status);
            return FAILED;
    }
    if (reply->result < 0) {
        fprintf(stderr, "get_version: the service failed, result %d\n", (int)reply->result);
        return FAILED;
    }
    /* Lengths come from outside: never read by one that has not been checked. */
    if (reply->data_len > sizeof(reply->data)) {
        fprintf(stderr, "get_version: malformed answer, length %u\n", (unsigned)reply->data_len);
        return MALFORMED;
    }
    return DONE;
}

static int ask(DbusInfo* bus, int timeout_ms) {
    DbusReply reply;
    const DbusCallStatus status = Dbus_Method_Call(bus, kMember, NULL, 0, timeout_ms, &reply);
    const int outcome = told(status, &reply, timeout_ms);
    if (outcome != DONE) {
        return outcome;
    }
    /* The text has no closing zero. */
    if (printf("%.*s\n", (int)reply.data_len, (const char*)reply.data) < 0 || fflush(stdout) != 0) {
        perror("get_version: standard output");
        return FAILED;
    }
    return DONE;
}

int main(int argc, char** argv) {
    char* end = NULL;
    const long timeout_ms = argc > 1 ? strtol(argv[1], &end, 10) : 5000;
    if (argc > 2 || (end != NULL && (end == argv[1] || *end != '\0')) || timeout_ms < 0 ||
        timeout_ms > INT32_MAX) {
        fprintf(stderr, "usage: get_version [TIMEOUT_MS]\n");
        return USAGE;
    }
    /* 0: one attempt; more waits that many milliseconds for a daemon that is starting. */
    DbusInfo* bus = Dbus_Client_Connect("example.get.version", QUON_MCU_BUS_NAME, 0);
    if (bus == NULL) {
        fprintf(stderr, "get_version: no daemon: nobody answers at " DBUS_SOCKET_PATH_FORMAT "\n",
                QUON_MCU_BUS_NAME);
        return NO_DAEMON;
    }
    const int outcome = ask(bus, (int)timeout_ms);
    Dbus_Client_Disconnect(bus);
    return outcome;
}
