// Host end of the netlink link to the companion chip. One channel per process, and one process per
// machine: the local port id is always 1100.
//
// hi_channel_init and hi_channel_deinit must run on one thread while nobody sends. This module's
// messages go to standard output.
#ifndef HICHANNEL_HOST_H
#define HICHANNEL_HOST_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum {
    HI_CHANNEL_NETLINK_PROTOCOL = 28,
    HI_CHANNEL_HOST_PORT = 1100,
    HI_CHANNEL_KERNEL_PORT = 0,
    HI_CHANNEL_HEADER_SIZE = 16,    // netlink header in front of every message
    HI_CHANNEL_SEND_MAX = 1500,     // payload bytes of one outgoing message
    HI_CHANNEL_RECEIVE_SIZE = 384,  // most bytes taken from one incoming message, header included
};

// Runs on the receive thread, one message at a time; `data` is the payload, valid during the call.
typedef int32_t (*hi_channel_rx_cb)(const uint8_t* data, int32_t len);

// Opens and binds the socket and starts the receive thread. Returns 0, or -1 with everything
// released (a channel that is already open is left unchanged).
int32_t hi_channel_init(void);

// Sets or replaces the callback; messages received earlier are dropped. Returns 0, or -1 when the
// channel is closed or `cb` is null.
int32_t hi_channel_register_rx_cb(hi_channel_rx_cb cb);

// Sends `len` (1 to 1500) bytes as one message, from any thread. Returns 0 if the kernel accepted
// it.
int32_t hi_channel_send_to_dev(const uint8_t* data, int32_t len);

// Stops the receive thread between two messages and closes the socket. Returns 0, or -1 when the
// channel is not open. Waits at most 1 second for a running callback; after that, the thread ends
// when its callback returns, the socket and memory are kept, and this process cannot open another
// channel. Must not be called from the callback.
int32_t hi_channel_deinit(void);

// Entry function of the receive thread.
void* hi_channel_host_thread(void* unused);

#ifdef __cplusplus
}
#endif

#endif
