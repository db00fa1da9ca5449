// Typed calls to quon_mcu_daemon for C and C++ programs: connecting, one function per service
// (quon_mcu_client_services.h), events, the firmware upgrade and the remote wake-up's connection.
//
//     quon_mcu_client* client = quon_mcu_client_connect("my.program", 0);
//     quon_mcu_time now;
//     if (client != NULL && quon_mcu_client_get_time(client, &now, 5000) == QUON_MCU_OK) ...
//     quon_mcu_client_disconnect(client);
//
// Every call returns a quon_mcu_status. Any number of threads may use one client at once; a call
// uses up to 24 KiB of stack. What dbus_socket_common.h says about messages on standard output,
// signals and repaired connections applies here too.
#ifndef QUON_MCU_CLIENT_H
#define QUON_MCU_CLIENT_H

#include <dbus_socket_common.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// How a call ended. The first five equal the bus library's DbusCallStatus.
typedef enum quon_mcu_status {
    QUON_MCU_OK = 0,
    QUON_MCU_TIMEOUT = -1,        // no answer in time; the service may have been carried out
    QUON_MCU_NO_CONNECTION = -2,  // no server is listening, or the connection was lost
    QUON_MCU_INVALID = -3,        // an argument that cannot be sent: null, too long, not an address
    QUON_MCU_NO_MEMORY = -4,      // or no free descriptor
    QUON_MCU_FAILED = -5,         // the service itself reported a failure
    QUON_MCU_MALFORMED = -6,      // an inconsistent answer, or one of the wrong size
} quon_mcu_status;

// A short text such as "no answer in time", without a full stop. Never null.
const char* quon_mcu_status_text(quon_mcu_status status);

typedef struct quon_mcu_client quon_mcu_client;

// Connects under the bus name `name`, of 1 to 63 bytes. Waits up to `wait_ms` milliseconds (0 or
// more) for a daemon that does not listen yet. Null when there is no daemon or no memory.
quon_mcu_client* quon_mcu_client_connect(const char* name, int32_t wait_ms);

// Null: does nothing. Waits at most a second. No call may be in progress or follow.
void quon_mcu_client_disconnect(quon_mcu_client* client);

// Calls a method by its full name, with raw bytes. `reply` is filled in on QUON_MCU_OK (data_len
// bytes of data, as many as result says), on QUON_MCU_FAILED (result only) and, exactly as
// received, on QUON_MCU_MALFORMED.
quon_mcu_status quon_mcu_client_call(quon_mcu_client* client, const char* service,
                                     const uint8_t* request, uint32_t length, int32_t timeout_ms,
                                     DbusReply* reply);

// Sends a signal in the same way.
quon_mcu_status quon_mcu_client_send(quon_mcu_client* client, const char* service,
                                     const uint8_t* request, uint32_t length, int32_t timeout_ms);

#ifdef __cplusplus
}
#endif

#include "quon_mcu_client_services.h"

#ifdef __cplusplus
extern "C" {
#endif

// Waits for the chip's next event and removes it from the daemon's queue, which keeps the oldest
// ten and gives each to one caller only. QUON_MCU_TIMEOUT: none came within `timeout_ms` (0: none
// is queued). A request still under way at the end of that time is given up to a second more,
// because its event would otherwise be lost.
quon_mcu_status quon_mcu_client_next_event(quon_mcu_client* client, quon_mcu_event_info* event,
                                           int32_t timeout_ms);

// Runs `command` in the daemon's shell. `wait_status` is in waitpid's form: -1 if no shell could be
// started, and the service's result on QUON_MCU_FAILED. The daemon does not stop a command whose
// caller has given up.
quon_mcu_status quon_mcu_client_exec(quon_mcu_client* client, const char* command,
                                     int32_t* wait_status, int32_t timeout_ms);

enum { QUON_MCU_UPGRADE_BLOCK = 256 };  // image bytes per block

// A firmware image and how to send it.
typedef struct quon_mcu_upgrade {
    uint32_t size;    // size of the image in bytes, 1 or more
    uint32_t from;    // starting byte: 0, or the `stopped_at` of an interrupted upgrade
    uint8_t first;    // the two values of the start, for the chip
    uint32_t second;  // usually the size
    uint8_t tail;     // last byte of each block, for the chip
    // Copies `length` bytes of the image starting at `offset`. Non-zero aborts with
    // QUON_MCU_INVALID.
    int (*read)(void* context, uint32_t offset, uint8_t* into, uint32_t length);
    // Called before the first block and after each one. May be null.
    void (*progress)(void* context, uint32_t done, uint32_t size);
    void* context;
    // Where it stopped, in bytes: `size` after all blocks, otherwise the start of the rejected
    // block.
    uint32_t stopped_at;
    int32_t result;  // the service's result, on QUON_MCU_FAILED
} quon_mcu_upgrade;

// Sends the start (unless `from` is not 0), the blocks and the finish; `timeout_ms` limits each
// step. Blocks.
quon_mcu_status quon_mcu_client_upgrade(quon_mcu_client* client, quon_mcu_upgrade* upgrade,
                                        int32_t timeout_ms);

// Asks the daemon for its TCP connection to `ip` ("192.168.1.1") and `port` (1 or more): the one
// made on a remote wake-up, or a new one. Returns the connected descriptor, blocking, close-on-exec
// and owned by the caller, or a negative quon_mcu_status. No client is needed. QUON_MCU_FAILED: the
// daemon's attempt was refused. The daemon silently gives up connecting after 6 s, so a longer
// `timeout_ms` does not help.
int quon_mcu_client_take_socket(const char* ip, uint16_t port, int32_t timeout_ms);

// The same with a daemon whose hand-off socket is `path`.
int quon_mcu_client_take_socket_at(const char* path, const char* ip, uint16_t port,
                                   int32_t timeout_ms);

#ifdef __cplusplus
}
#endif

#endif
