// Remote wake-up hand-off: connects early to the remote server over TCP and passes the connected
// socket to the local program that asks for it through "/tmp/ws_socket".
#ifndef WEBSOCKET_H
#define WEBSOCKET_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define WS_SOCKET_PATH "/tmp/ws_socket"

enum {
    WS_COMMAND_CONNECT = 0,  // address (4 bytes, network order), port (2 bytes, host order)
    WS_COMMAND_DROP = 1,
    WS_REQUEST_SIZE = 7,
    WS_HANDOVER_SIZE = 8,  // first byte 1, the others 0, sent with one descriptor
};

typedef struct ws_preinit_param {
    uint32_t remote_wakeup;  // not 0: connect before anybody asks
    uint32_t server_ip;      // network byte order; 0: none
    uint16_t server_port;    // host byte order; 0: none
    // Asks whether the network configuration is in place: 1 or more with *updated not 0 means yes.
    // Called from the hand-off thread, up to 300 times, 10 ms apart.
    int (*get_ip_update_status)(int* updated);
} ws_preinit_param;

// Copies the record and starts the detached thread "webpreinit", which runs until its select fails.
// Call once. Returns 0, or non-zero with a message when the thread cannot be created.
int websocket_local_server_init(const ws_preinit_param* param);

#ifdef __cplusplus
}
#endif

#endif
