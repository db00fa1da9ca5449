#include <hichannel_host.h>

int main(void) {
    /* A closed channel refuses all of it, with messages on standard output. */
    const uint8_t byte = 1;
    if (hi_channel_send_to_dev(&byte, 1) != -1 || hi_channel_register_rx_cb(0) != -1) {
        return 1;
    }
    return hi_channel_deinit() == -1 ? 0 : 2;
}
