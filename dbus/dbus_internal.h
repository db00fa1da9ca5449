// What the files of the bus library share.
#ifndef DBUS_INTERNAL_H
#define DBUS_INTERNAL_H

#include <pthread.h>
#include <stddef.h>
#include <stdint.h>
#include <sys/un.h>

#include "dbus_socket_common.h"

static_assert(sizeof(DbusMsg) == DBUS_MSG_SIZE);
static_assert(offsetof(DbusMsg, data) == DBUS_MSG_SIZE - DBUS_DATA_SIZE);
static_assert(sizeof(void*) != 4 || sizeof(DbusInterface) == 168);
static_assert(sizeof(void*) != 4 || offsetof(DbusInfo, method_list) == 1156);

namespace quon::dbus {

inline constexpr char kTag[] = "DBUS";
inline constexpr char kSourceName[] = "dbus_socket_common";
inline constexpr char kThreadName[] = "DbusProcess";
inline constexpr char kNoSocket[] = "Cannot create communication socket";

// ---- Sockets (dbus_sockets.cpp)

// A stream socket that commands started by this process do not inherit, or -1.
int open_socket();

// Makes a socket fit for records: see the comment in dbus_sockets.cpp. Returns the descriptor to
// use from now on (another number when `fd` was one of the standard streams'); -1 stays -1.
int prepare_socket(int fd);

// Fills in the address of the socket file `path`, cut to 107 characters.
void set_address(sockaddr_un* address, const char* path);

// The address of the process with the bus name `name`.
void set_address_of(sockaddr_un* address, const char* name);

// Called after each failed attempt; false gives up.
using PauseFunction = bool (*)(void* context);

// Connects, at most 100 times, with a pause after each failed attempt (the last one too).
bool connect_patiently(int fd, const sockaddr_un& address, PauseFunction pause, void* context);

// One attempt. A listening server whose queue is full gets up to a second.
bool connect_once(int fd, const sockaddr_un& address);

// 50,000 microseconds, the pause between attempts. Never gives up.
bool connect_pause(void* context);

enum class Sent { kWhole, kNoRoom, kFailed };

// One write of the whole record, without waiting: it goes whole or not at all.
Sent send_record(int fd, const DbusMsg* record);

// Waits until `fd` has room for a record or has failed. A negative bound waits for ever.
void wait_for_room(int fd, int bound_ms);

// ---- Names

// Names of messages are read as at most 64 bytes, terminated or not.
bool same_name(const char* one, const char* other);

// ---- Client role (dbus_client.cpp, dbus_call.cpp)

enum ClientState : int32_t {
    kClientIdle = 0,
    kClientReading = 1,
    kClientReconnecting = 2,  // set while the registration's mutex is held for a reconnection
    kClientEnded = 3,         // the method thread is ending: no result can come
    kClientGone = 4,          // it touches the registration no more
};

ClientState client_state(DbusInfo* info);
void set_client_state(DbusInfo* info, ClientState state);
bool can_bring_results(DbusInfo* info);

// Starts Dbus_Method_Thread on the connection in client_fd.
void start_method_thread(DbusInfo* info);

// Ends it, and waits until it has left the registration. It is not joined.
void stop_method_thread(DbusInfo* info);

// Takes the nodes of ended calls out of method_list and frees them. Call with the registration's
// mutex held, or with nobody else using the registration.
void release_abandoned(DbusInfo* info);

// The pending call that `result` answers, or null. Call with the registration's mutex held.
DbusMethodNode* find_call(DbusInfo* info, const DbusMsg* result);

}  // namespace quon::dbus

extern "C" {

// Delivers one result to the call that waits for it.
void Dbus_Method_Msg_Result(DbusInfo* info, const DbusMsg* result);

// Connects client_fd anew, holding the registration's mutex for up to about 5 s. Returns 0, or -1
// when the method thread has to end. A cancellation between two attempts releases the mutex.
int32_t Dbus_Method_Reconnect_Daemon(DbusInfo* info);
}

#endif
