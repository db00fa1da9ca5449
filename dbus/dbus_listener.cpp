#include <stdio.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "dbus_connection_thread.h"
#include "dbus_socket_common.h"
#include "dbus_sockets.h"
#include "dbus_threads.h"
#include "quon_descriptor.h"

namespace {

using namespace quon::dbus;

void start_connection(DbusInfo* info, int32_t fd) {
    auto* args = static_cast<ListenArgs*>(malloc(sizeof(ListenArgs)));
    if (args == nullptr) {
        printf("%s malloc ListenArgs failed\n", "Dbus_Listen_Thread");
        close(fd);
        return;
    }
    *args = {info, fd};
    if (!start_thread(Dbus_ReadWrite_Thread, args)) {
        free(args);
        close(fd);
    }
}

}  // namespace

void* Dbus_Listen_Thread(void* info_pointer) {
    auto* info = static_cast<DbusInfo*>(info_pointer);
    prctl(PR_SET_NAME, info->name);
    for (;;) {
        sockaddr_un peer;
        socklen_t length = sizeof(peer);
        const int fd = quon_accept(info->listen_fd, reinterpret_cast<sockaddr*>(&peer), &length, 0);
        if (fd < 0) {
            break;  // whatever the reason: intended
        }
        start_connection(info, prepare_socket(fd));
    }
    puts("Cannot accept client connect request");
    return nullptr;
}
