#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include "dbus_method_thread.h"
#include "dbus_module.h"
#include "dbus_socket_common.h"
#include "dbus_sockets.h"
#include "dbus_state.h"
#include "securec.h"

namespace {

using namespace quon::dbus;

static_assert(sizeof(void*) != 4 || sizeof(DbusInterface) == 168);
static_assert(sizeof(void*) != 4 || offsetof(DbusInfo, method_list) == 1156);

constexpr int kBacklog = 5;

void close_listener(DbusInfo* info) {
    close(info->listen_fd);
    info->listen_fd = 0;
}

bool bind_listener(DbusInfo* info) {
    snprintf_s(info->path, sizeof(info->path), sizeof(info->path) - 1, DBUS_SOCKET_PATH_FORMAT,
               info->name);
    unlink(info->path);
    sockaddr_un address;
    set_address(&address, info->path);
    if (bind(info->listen_fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) < 0) {
        printf("Cannot bind server socket (%s)\n", info->path);
        close_listener(info);
        return false;
    }
    if (listen(info->listen_fd, kBacklog) < 0) {
        puts("Cannot listen the client connect request");
        close_listener(info);
        unlink(info->path);
        return false;
    }
    return true;
}

void start_listen_thread(State* state) {
    join_state(state);
    set_flag(&state->listener_started, true);
    DbusInfo* info = state->info;
    if (pthread_create(&info->listen_thread, nullptr, Dbus_Listen_Thread, info) != 0) {
        info->listen_thread = 0;  // nobody is told: intended
        set_flag(&state->listener_started, false);
        leave_state(state);
    }
}

bool start_server_role(State* state) {
    DbusInfo* info = state->info;
    info->listen_fd = open_socket();
    if (info->listen_fd < 0) {
        puts(kNoSocket);
        info->listen_fd = 0;
        return false;
    }
    if (!bind_listener(info)) {
        return false;
    }
    start_listen_thread(state);
    return true;
}

bool start_client_role(State* state) {
    DbusInfo* info = state->info;
    info->client_fd = open_socket();
    if (info->client_fd < 0) {
        puts(kNoSocket);
        info->client_fd = 0;
        return false;
    }
    sockaddr_un address;
    set_address_of(&address, info->server_name);
    if (!connect_patiently(info->client_fd, address, connect_pause, nullptr)) {
        printf("Cannot connect to the server (%s) timeout\n", info->server_name);
        close(info->client_fd);
        info->client_fd = 0;
        return false;
    }
    start_method_thread(state);
    return true;
}

bool start_roles(State* state) {
    const DbusInfo* info = state->info;
    if (info->count != 0 && !start_server_role(state)) {
        return false;
    }
    return info->server_name[0] == '\0' || start_client_role(state);
}

// From here on the listen thread does not touch listen_fd, whose number may be reused.
void end_server_role(State* state) {
    pthread_mutex_lock(&state->lock);
    set_flag(&state->unregistered, true);
    pthread_mutex_unlock(&state->lock);
}

// Whether the caller must close the client role's descriptor.
bool end_client_role(DbusInfo* info, State* state) {
    if (info->method_thread == 0) {
        return true;
    }
    if (state == nullptr || client_phase(state) == kClientIdle) {
        pthread_cancel(info->method_thread);  // for a thread other than Dbus_Method_Thread
        return true;
    }
    return stop_method_thread(state);
}

}  // namespace

DbusInfo* DbusInfo_Alloc(int32_t count) {
    auto* info = static_cast<DbusInfo*>(malloc(sizeof(DbusInfo)));
    if (info == nullptr) {
        printf("%s malloc DbusInfo error\n", __func__);
        return nullptr;
    }
    memset_s(info, sizeof(*info), 0, sizeof(*info));
    info->count = count;
    for (int32_t i = 0; i < count; i++) {
        auto* entry = static_cast<DbusInterface*>(malloc(sizeof(DbusInterface)));
        if (entry == nullptr) {
            printf("%s malloc DbusInterface error\n", __func__);
            free(info);  // the entries made so far leak: intended
            return nullptr;
        }
        info->interfaces[i] = entry;
        memset_s(entry, sizeof(*entry), 0, sizeof(*entry));
    }
    return info;
}

void DbusInfo_Free(DbusInfo* info) {
    if (info == nullptr) {
        return;
    }
    release_record(info);
}

int32_t Dbus_Register(DbusInfo* info) {
    State* state = enter_state(info);
    if (state == nullptr) {
        printf("%s malloc DbusInfo error\n", __func__);
        return -1;
    }
    pthread_mutex_init(&info->mutex, nullptr);
    set_flag(&state->unregistered, false);
    set_flag(&state->registered, true);
    if (start_roles(state)) {
        return 0;
    }
    // The caller must free the record; server threads still running use the state on their own.
    set_flag(&state->registered, false);
    leave_state(state);
    return -1;
}

int32_t Dbus_UnRegister(DbusInfo* info) {
    // The server role never fills this slot, so the listen thread keeps running. Both are intended;
    // zero means no thread.
    if (info->count != 0 && info->spare_thread != 0) {
        pthread_cancel(info->spare_thread);
    }
    State* state = use_state(info);
    if (state != nullptr) {
        end_server_role(state);
    }
    const bool client_ended = end_client_role(info, state);
    if (info->listen_fd != 0) {
        close(info->listen_fd);
    }
    if (info->client_fd != 0 && client_ended) {
        close(info->client_fd);
    }
    if (info->path[0] != '\0') {
        unlink(info->path);
    }
    if (state == nullptr) {
        pthread_mutex_destroy(&info->mutex);
        return 0;
    }
    if (swap_flag(&state->registered, false)) {
        leave_state(state);
    }
    leave_state(state);  // the last user destroys the mutex
    return 0;
}
