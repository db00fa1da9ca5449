#include "battery_guard.h"

#include <sys/socket.h>
#include <unistd.h>

bool may_record(quon_mcu_client* client) {
    quon_mcu_battery_status battery;
    const quon_mcu_status status = quon_mcu_client_get_battery_status(client, &battery, 5000);
    return status == QUON_MCU_OK && (battery.absent & QUON_MCU_BATTERY_STATUS_BYTES) == 0 &&
           battery.bytes[0] > 10;
}

bool answer_server(const char* ip, unsigned short port) {
    const int remote = quon_mcu_client_take_socket(ip, port, 6500);
    if (remote < 0) {
        return false;
    }
    char question[100];
    const bool done = recv(remote, question, sizeof(question), 0) > 0 &&
                      send(remote, "awake\n", 6, MSG_NOSIGNAL) == 6;
    close(remote);
    return done;
}
