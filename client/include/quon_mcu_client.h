// Typed calls to quon_mcu_daemon, for C and C++ programs: connect, then one function a service
// (quon_mcu_client_services.h), events, the firmware upgrade and the remote wake-up's connection.
//
//     quon_mcu_client* client = quon_mcu_client_connect("my.program", 0);
//     quon_mcu_time now;
//     if (client != NULL && quon_mcu_client_get_time(client, &now, 5000) == QUON_MCU_OK) ...
//     quon_mcu_client_disconnect(client);
//
// Every call ends, in one of the ways of quon_mcu_status. Any number of threads may use one client
// at once; a call takes up to 24 KiB of their stacks. What dbus_socket_common.h says of messages on
// standard output, of signals and of healed connections holds here as well.
#ifndef QUON_MCU_CLIENT_H
#define QUON_MCU_CLIENT_H

#include <dbus_socket_common.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// How a call ended. The first five are the bus's own (DbusCallStatus).
typedef enum quon_mcu_status {
    QUON_MCU_OK = 0,
    QUON_MCU_TIMEOUT = -1,        // no answer in time; the service may have been carried out
    QUON_MCU_NO_CONNECTION = -2,  // nobody listens, or the connection was lost
    QUON_MCU_INVALID = -3,        // an argument that cannot be sent: null, too long, no address
    QUON_MCU_NO_MEMORY = -4,      // or no descriptor
    QUON_MCU_FAILED = -5,         // the service answered with a failure of its own
    QUON_MCU_MALFORMED = -6,      // an answer that contradicts itself or has another size
} quon_mcu_status;

// "no answer in time": few words, without a full stop. Never null.
const char* quon_mcu_status_text(quon_mcu_status status);

typedef struct quon_mcu_client quon_mcu_client;

// Connects as the bus name `name`, of 1 to 63 bytes. A daemon that does not listen yet is waited
// for up to `wait_ms` milliseconds, 0 or more. Null when nobody is there, or without memory.
quon_mcu_client* quon_mcu_client_connect(const char* name, int32_t wait_ms);

// Null: nothing. Waits at most a second. No call may be in progress or follow.
void quon_mcu_client_disconnect(quon_mcu_client* client);

// A method by its whole name, in bytes. `reply` is filled in with QUON_MCU_OK (data_len bytes of
// data, as many as result says), with QUON_MCU_FAILED (result) and, as it came, with
// QUON_MCU_MALFORMED.
quon_mcu_status quon_mcu_client_call(quon_mcu_client* client, const char* service,
                                     const uint8_t* request, uint32_t length, int32_t timeout_ms,
                                     DbusReply* reply);

// A signal likewise.
quon_mcu_status quon_mcu_client_send(quon_mcu_client* client, const char* service,
                                     const uint8_t* request, uint32_t length, int32_t timeout_ms);

#ifdef __cplusplus
}
#endif

#include "quon_mcu_client_services.h"

#ifdef __cplusplus
extern "C" {
#endif

// Waits for the chip's next event and takes it off the daemon's queue, which keeps the oldest ten
// and gives each to one asker. QUON_MCU_TIMEOUT: none came within `timeout_ms` (0: none is there).
// An answer that is under way at the end is waited for up to a second more, since a late one would
// be lost, event and all.
quon_mcu_status quon_mcu_client_next_event(quon_mcu_client* client, quon_mcu_event_info* event,
                                           int32_t timeout_ms);

// Runs `command` in the daemon's shell. `wait_status` is as of waitpid: -1 when no shell could be
// started, and the service's result with QUON_MCU_FAILED. The daemon does not end a command whose
// caller has given up.
quon_mcu_status quon_mcu_client_exec(quon_mcu_client* client, const char* command,
                                     int32_t* wait_status, int32_t timeout_ms);

enum { QUON_MCU_UPGRADE_BLOCK = 256 };  // bytes of the image in one block

// A firmware image and how it is sent.
typedef struct quon_mcu_upgrade {
    uint32_t size;    // bytes of the image, 1 or more
    uint32_t from;    // where to begin: 0, or the `stopped_at` of an upgrade that was interrupted
    uint8_t first;    // the two values of the start, for the chip
    uint32_t second;  // usually the size
    uint8_t tail;     // last byte of each block, for the chip
    // Copies `length` bytes of the image from `offset` on. Not 0: gives up with QUON_MCU_INVALID.
    int (*read)(void* context, uint32_t offset, uint8_t* into, uint32_t length);
    // After each block, and at the beginning. May be null.
    void (*progress)(void* context, uint32_t done, uint32_t size);
    void* context;
    // Where it stopped, in bytes: `size` after all blocks, else the block that was not taken.
    uint32_t stopped_at;
    int32_t result;  // the service's, with QUON_MCU_FAILED
} quon_mcu_upgrade;

// Start (unless it begins in the middle), blocks, finish; `timeout_ms` bounds each step. Blocks.
quon_mcu_status quon_mcu_client_upgrade(quon_mcu_client* client, quon_mcu_upgrade* upgrade,
                                        int32_t timeout_ms);

// Asks the daemon for its TCP connection to `ip` ("192.168.1.1") and `port` (1 or more): the one
// that it made on a remote wake-up, or a new one. Returns the connected descriptor, which blocks,
// is close-on-exec and is the caller's alone, or a quon_mcu_status, which is negative. Needs no
// client. QUON_MCU_FAILED: the daemon's attempt was refused. The daemon gives a connection up
// silently after 6 s, so a longer `timeout_ms` wins nothing.
int quon_mcu_client_take_socket(const char* ip, uint16_t port, int32_t timeout_ms);

// The same of a daemon that serves the hand-off at `path`.
int quon_mcu_client_take_socket_at(const char* path, const char* ip, uint16_t port,
                                   int32_t timeout_ms);

#ifdef __cplusplus
}
#endif

#endif
