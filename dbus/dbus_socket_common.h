// The local message bus: fixed 4568-byte records over Unix stream sockets "/tmp/dbus-<bus name>".
//
// One registration record, DbusInfo, carries the server role (members that this process offers),
// the client role (the process whose members it calls) or both. Every name is NUL-terminated within
// its field; integers are in the host's byte order. Most messages go to standard output.
#ifndef DBUS_SOCKET_COMMON_H
#define DBUS_SOCKET_COMMON_H

#include <pthread.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum {
    DBUS_NAME_SIZE = 64,    // bus and member names, terminator included
    DBUS_DATA_SIZE = 4356,  // payload of one message
    DBUS_MSG_SIZE = 4568,   // one record on the socket
    DBUS_INTERFACE_MAX = 256,
    DBUS_PATH_SIZE = 128,
};

#define DBUS_MSG_HEAD 0x5AA55AA5u
#define DBUS_SOCKET_PATH_FORMAT "/tmp/dbus-%s"

enum {
    DBUS_TYPE_SIGNAL = 0,
    DBUS_TYPE_METHOD = 1,  // any value but 0 counts as a method
};

// One record, request, result and signal alike. One write puts a whole record on the socket, one
// read takes one off it; a reader never gathers a record from several reads.
typedef struct DbusMsg {
    uint32_t head;  // DBUS_MSG_HEAD
    uint32_t id;    // chosen by the caller, echoed in the result
    char src_name[DBUS_NAME_SIZE];
    char dst_name[DBUS_NAME_SIZE];
    uint32_t type;  // DBUS_TYPE_
    char name[DBUS_NAME_SIZE];
    int32_t result;  // results only: what the handler returned, -1 without a handler
    uint32_t data_len;
    uint8_t data[DBUS_DATA_SIZE];
} DbusMsg;

// Handlers run on a bus thread of their own each, concurrently, without any bus lock held.
// `request` is the record's payload (DBUS_DATA_SIZE bytes, 4-byte aligned); `request_len` is the
// record's data_len as the peer sent it, bit for bit, unchecked.
typedef void (*DbusSignalHandler)(const uint8_t* request, int32_t request_len);
// `reply` is cleared and has `reply_capacity` (DBUS_DATA_SIZE) bytes. Returns the reply's length,
// or a negative value that the caller gets as the result.
typedef int32_t (*DbusMethodHandler)(const uint8_t* request, int32_t request_len, uint8_t* reply,
                                     int32_t reply_capacity);

// One member. A non-empty marker text says that the entry accepts that kind of message.
typedef struct DbusInterface {
    char name[DBUS_NAME_SIZE];
    char signal_type[32];
    DbusSignalHandler signal_handler;
    char method_type[64];
    DbusMethodHandler method_handler;
} DbusInterface;

// One pending method call of the client role.
typedef struct DbusMethodNode {
    DbusMsg* request_msg;  // owned by the caller of the method
    DbusMsg* result_msg;   // null until the result has come; owned by the node; under `lock`
    pthread_mutex_t lock;
    pthread_cond_t cond;  // monotonic clock
    struct DbusMethodNode* next;
} DbusMethodNode;

typedef struct DbusInfo {
    char name[DBUS_NAME_SIZE];         // own bus name
    char server_name[DBUS_NAME_SIZE];  // process to connect to; empty: no client role
    int32_t count;                     // entries; not 0: server role
    DbusInterface* interfaces[DBUS_INTERFACE_MAX];
    DbusMethodNode* method_list;  // under `mutex`
    int32_t listen_fd;            // 0: none
    int32_t client_fd;            // 0: none; -1: a reconnection has failed; under `mutex`
    char path[DBUS_PATH_SIZE];    // of the listening socket
    pthread_t method_thread;      // 0: none
    pthread_t spare_thread;       // never filled: intended
    pthread_t listen_thread;
    pthread_mutex_t mutex;  // result writes, method_list, client_fd
    // The calling side's own; accessed atomically.
    int32_t client_state;              // of the method thread
    int32_t client_stop;               // not 0: the method thread is to end
    struct DbusMethodNode* abandoned;  // ended calls that could not leave method_list in time
} DbusInfo;

// Returns a cleared record with `count` cleared entries (none when count is 0 or less; at most
// 256), or null with a message. When an entry cannot be allocated, those made before leak:
// intended.
DbusInfo* DbusInfo_Alloc(int32_t count);

// Frees the entries and the record; closes nothing and stops nothing. Call Dbus_UnRegister first.
void DbusInfo_Free(DbusInfo* info);

// Opens the sockets and starts the threads of the roles that the record asks for. The record must
// live until Dbus_UnRegister. Blocks up to about 5 s while the server of the client role does not
// answer. Returns 0, or -1 with a message and the failed role's socket closed; the server role may
// be left running when only the client role failed.
int32_t Dbus_Register(DbusInfo* info);

// Closes the sockets, unlinks the socket file and cancels the method thread, which has left the
// record when this returns. Joins nothing: the connection and message threads go on until their
// reads and writes fail. Returns 0.
int32_t Dbus_UnRegister(DbusInfo* info);

// Thread functions, started by Dbus_Register and by each other.
void* Dbus_Listen_Thread(void* info);      // DbusInfo*
void* Dbus_ReadWrite_Thread(void* args);   // ListenArgs*
void* Dbus_ReadWrite_Process(void* args);  // DbusProcessArgs*
void* Dbus_Method_Thread(void* info);      // DbusInfo*

// ---- The calling side -------------------------------------------------------------------------

// How a call ended. Every call ends in one of these ways.
typedef enum DbusCallStatus {
    DBUS_CALL_OK = 0,        // a result came; the handler's own failure stands in DbusReply.result
    DBUS_CALL_TIMEOUT = -1,  // no result in time; a late one is dropped and harms nobody
    DBUS_CALL_NO_CONNECTION =
        -2,                  // not connected, connection lost, or the record cannot be written
    DBUS_CALL_INVALID = -3,  // null argument, name of 64 bytes or more, or more than 4356 bytes
    DBUS_CALL_NO_MEMORY = -4,
} DbusCallStatus;

// What a handler sent back.
typedef struct DbusReply {
    int32_t result;  // length of the payload, or the handler's negative result
    uint32_t
        data_len;  // as the server sent it; may exceed DBUS_DATA_SIZE when the server is broken
    uint8_t data[DBUS_DATA_SIZE];
} DbusReply;

// Registers a client role: bus name `name`, connected to the process `server_name`. A server that
// does not listen yet is waited for up to `wait_ms` milliseconds, quietly (0: one attempt; a server
// that listens but does not accept may cost a second more); a negative value registers as
// Dbus_Register does (100 attempts, about 5 s, and a message). Returns a registration to be
// released with Dbus_Client_Disconnect, or null. Writes to it raise no SIGPIPE.
DbusInfo* Dbus_Client_Connect(const char* name, const char* server_name, int32_t wait_ms);

// Calls the method `member` with `len` bytes of `data` (null only when len is 0) and waits up to
// `timeout_ms` milliseconds (0 or more). `reply` may be null; it is filled in with DBUS_CALL_OK
// only. Any number of threads may call over one registration at once.
DbusCallStatus Dbus_Method_Call(DbusInfo* info, const char* member, const uint8_t* data,
                                uint32_t len, int32_t timeout_ms, DbusReply* reply);

// Sends a signal; DBUS_CALL_OK means that the record was handed to the connection. Waits up to
// `timeout_ms` for room and for a reconnection in progress.
DbusCallStatus Dbus_Signal_Send(DbusInfo* info, const char* member, const uint8_t* data,
                                uint32_t len, int32_t timeout_ms);

// Ends the client role and frees the registration. No call may be in progress or follow.
void Dbus_Client_Disconnect(DbusInfo* info);

#ifdef __cplusplus
}
#endif

#endif
