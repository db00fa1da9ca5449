#include <stdio.h>
#include <websocket.h>

/* Starting the thread would take the machine's one hand-off socket, so it is linked only. */
static int (*volatile start)(const ws_preinit_param*) = websocket_local_server_init;

int main(void) {
    printf("%s %d\n", WS_SOCKET_PATH, start != 0);
    return 0;
}
