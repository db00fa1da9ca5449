#include <sys/socket.h>

#include <cstddef>

#include "websocket.h"

// On the target the fields lie at 0, 4, 8 and 12, 16 bytes in all.
static_assert(offsetof(ws_preinit_param, remote_wakeup) == 0);
static_assert(offsetof(ws_preinit_param, server_ip) == 4);
static_assert(offsetof(ws_preinit_param, server_port) == 8 &&
              sizeof(ws_preinit_param::server_port) == 2);
static_assert(sizeof(void*) != 4 || offsetof(ws_preinit_param, get_ip_update_status) == 12);
static_assert(sizeof(void*) != 4 || sizeof(ws_preinit_param) == 16);
static_assert(sizeof(void*) != 4 || CMSG_LEN(sizeof(int)) == 16);
static_assert(WS_REQUEST_SIZE == 7 && WS_HANDOVER_SIZE == 8);
