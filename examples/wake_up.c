/* What runs first after a remote wake-up: takes over the connection that the daemon has made to the
 * server, waits for the server's question and answers it with the reason and the battery's record.
 *
 * Exit status: 0 answered; 1 failed, standard error says why; 2 it was no remote wake-up. */
#include <quon_mcu_client.h>
#include <stdio.h>
#include <unistd.h>

enum { TIMEOUT_MS = 5000, CONNECT_MS = 6500 };

static int fail(const char* why) {
    fprintf(stderr, "wake_up: %s\n", why);
    return 1;
}

static int answer(int server, const quon_mcu_wakeup_context* context) {
    char text[64];
    const uint8_t* battery = context->battery_status;
    if (read(server, text, sizeof(text)) <= 0) {
        return fail("the server has no question");
    }
    const int length = snprintf(
        text, sizeof(text), "awake, reason %d, battery %02x%02x%02x%02x%02x\n",
        context->wakeup_reason, battery[0], battery[1], battery[2], battery[3], battery[4]);
    return write(server, text, (size_t)length) == length ? 0 : fail("the server has gone");
}

int main(void) {
    quon_mcu_wakeup_context context;
    quon_mcu_client* client = quon_mcu_client_connect("example.wake.up", 2000);
    if (client == NULL) {
        return fail("no daemon");
    }
    const quon_mcu_status status = quon_mcu_client_get_allwakeup_info(client, &context, TIMEOUT_MS);
    quon_mcu_client_disconnect(client);
    if (status != QUON_MCU_OK) {
        return fail(quon_mcu_status_text(status));
    }
    const int reason = context.wakeup_reason;
    if ((reason != 1 && reason != 3 && reason != 13) || context.server_port == 0) {
        fprintf(stderr, "wake_up: no remote wake-up, reason %d\n", reason);
        return 2;
    }
    const int server =
        quon_mcu_client_take_socket(context.server_ip, context.server_port, CONNECT_MS);
    if (server < 0) {
        return fail(quon_mcu_status_text((quon_mcu_status)server));
    }
    const int outcome = answer(server, &context);
    close(server);
    return outcome;
}
