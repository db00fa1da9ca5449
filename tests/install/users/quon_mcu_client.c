#include <quon_mcu_client.h>
#include <stdio.h>

int main(void) {
    quon_mcu_time time;
    quon_mcu_client* client = quon_mcu_client_connect("user", 0);
    const int called = client == NULL ? 0 : (int)quon_mcu_client_get_time(client, &time, 0);
    printf("%s, %s, %d\n", called == 0 ? "no daemon" : "a daemon",
           quon_mcu_status_text(QUON_MCU_TIMEOUT), (int)sizeof(((quon_mcu_time*)0)->rest_6) + 6);
    quon_mcu_client_disconnect(client);
    return quon_mcu_client_take_socket("127.0.0.1", 0, 0) == QUON_MCU_INVALID ? 0 : 1;
}
