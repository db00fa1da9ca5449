/* Prints the battery's record, five bytes whose meaning is the camera maker's own.
 *
 * Exit status: 0 printed; 1 it cannot be had, standard error says why. */
#include <quon_mcu_client.h>
#include <stdio.h>

enum { TIMEOUT_MS = 5000 };

static int fail(const char* why) {
    fprintf(stderr, "read_battery: %s\n", why);
    return 1;
}

int main(void) {
    quon_mcu_battery_status battery;
    /* 0: one attempt; more waits that many milliseconds for a daemon that is starting. */
    quon_mcu_client* client = quon_mcu_client_connect("example.battery", 0);
    if (client == NULL) {
        return fail("no daemon");
    }
    const quon_mcu_status status = quon_mcu_client_get_battery_status(client, &battery, TIMEOUT_MS);
    quon_mcu_client_disconnect(client);
    if (status != QUON_MCU_OK) {
        return fail(quon_mcu_status_text(status));
    }
    if (battery.absent & QUON_MCU_BATTERY_STATUS_BYTES) {
        return fail("the chip sent nothing");
    }
    for (size_t i = 0; i < sizeof(battery.bytes); ++i) {
        printf("%s%02x", i == 0 ? "battery " : " ", battery.bytes[i]);
    }
    return printf("\n") < 0 || fflush(stdout) != 0 ? fail("standard output cannot be written") : 0;
}
