// The local message bus: fixed 4568-byte records over Unix stream sockets "/tmp/dbus-<bus name>".
//
// One registration record, DbusInfo, carries the server role (members that this process offers),
// the client role (the process whose members it calls) or both. Every name is NUL-terminated within
// its field; integers are in the host's byte order.
//
// Messages: the library reports errors on the process's standard output (the server role logs the
// others, with the tag "DBUS"). A process whose standard output nobody reads is blocked by them.
// One that may be started without standard streams should open them first; otherwise a connection
// briefly has such a number, and text printed by another thread at that moment goes to the peer.
//
// Signals: a handler installed without SA_RESTART interrupts library threads. The listen thread
// then ends, as after any failed accept; connection and method threads report it and read on. So
// block signals in a thread before it calls Dbus_Register or Dbus_Client_Connect (new threads
// inherit the mask) and handle them elsewhere. The library's writes never raise SIGPIPE.
#ifndef DBUS_SOCKET_COMMON_H
#define DBUS_SOCKET_COMMON_H

#include <pthread.h>
#include <stddef.h>
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

// Handlers run on a bus thread of their own each, concurrently, without any bus lock held, on a
// stack of the size that the process asked for (Dbus_SetThreadStack). They may block; they must not
// end their thread. When no thread can be made for a message, its connection's thread runs the
// handler, and the peer's next message waits. `request` is the record's payload (DBUS_DATA_SIZE
// bytes, 4-byte aligned); `request_len` is the record's data_len as the peer sent it, bit for bit,
// unchecked.
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

// A registration. DbusInfo_Alloc makes one, but any cleared record of these fields will do.
typedef struct DbusInfo {
    char name[DBUS_NAME_SIZE];         // own bus name
    char server_name[DBUS_NAME_SIZE];  // process to connect to; empty: no client role
    int32_t count;                     // entries, at most 256; not 0: server role
    DbusInterface* interfaces[DBUS_INTERFACE_MAX];
    DbusMethodNode* method_list;  // under `mutex`
    int32_t listen_fd;            // 0: none
    int32_t client_fd;            // 0: none; -1: a reconnection has failed; under `mutex`
    char path[DBUS_PATH_SIZE];    // of the listening socket
    pthread_t method_thread;      // 0: none
    pthread_t spare_thread;       // never filled: intended
    pthread_t listen_thread;
    pthread_mutex_t mutex;  // result writes, method_list, client_fd
} DbusInfo;

// Returns a zeroed record with `count` zeroed entries, or null with a message. `count` is not
// checked: 0 or less makes no entries, more than 256 writes outside the record. If an entry cannot
// be allocated, those already made leak: intended.
DbusInfo* DbusInfo_Alloc(int32_t count);

// Frees the entries and the record, which must come from DbusInfo_Alloc (null: does nothing).
// Closes nothing and stops nothing: call Dbus_UnRegister first. While library threads still use the
// record (the listen thread, which outlives Dbus_UnRegister, and open connections), it stays
// allocated, and the last of them frees it.
void DbusInfo_Free(DbusInfo* info);

// Stack size in bytes of the server role's connection and message threads. A value below the C
// library's minimum counts as that minimum; 0, the initial value, means the default size. It
// applies to connections accepted later, so call it before Dbus_Register. Handlers run on this
// stack, on top of 8 KiB for the library.
//
// Memory: about 0.4 s after a storm of peers or messages, a thread named "DbusCalm" makes the C
// library release the stacks of ended threads and the free pages of the process's heap
// (malloc_trim).
void Dbus_SetThreadStack(size_t bytes);

// Opens the sockets and starts the threads of the requested roles. The record must stay alive, with
// its names and entries unchanged, until Dbus_UnRegister and as long as the server role has open
// connections. Blocks for up to about 5 s while the client role's server does not answer. Returns
// 0, or -1 with a message and the failed role's socket closed; if only the client role failed, the
// server role may be left running.
//
// Failures to create threads are not reported: without its listen thread a server accepts nobody,
// and without its method thread a client's calls and signals end with DBUS_CALL_NO_CONNECTION at
// once.
//
// A peer that does not read its results blocks nobody else: its results wait in order, and once
// 1024 wait its requests are no longer read. A connection whose descriptor is among the last 16
// below the soft limit, or below 1024 (among the last quarter, where the limit is below 64), is
// closed at once, with a log line. A failed accept ends the listening, whatever the reason: later
// peers are refused, and open connections continue.
int32_t Dbus_Register(DbusInfo* info);

// For the end of a process: closes the sockets, removes the socket file and ends the method thread,
// waiting at most a second for it. The listen thread and the threads of open connections keep
// running and keep the record in use. A method thread that has not ended in time (for example
// because standard output is blocked) ends later and closes the connection then; until it does,
// only DbusInfo_Free may free the record, since it waits for that. No call may be in progress.
// Returns 0.
int32_t Dbus_UnRegister(DbusInfo* info);

// Passed by the listen thread to a connection thread, which frees it (malloc).
typedef struct ListenArgs {
    DbusInfo* info;
    int32_t fd;  // closed by the connection thread, or by its last message thread
} ListenArgs;

// Passed by a connection thread to a message thread, which frees it (malloc).
typedef struct DbusProcessArgs {
    DbusInfo* info;
    DbusMsg msg;
    int32_t fd;  // stays open
} DbusProcessArgs;

// Thread functions, started by Dbus_Register and by each other; a process may also start them
// itself, with records of exactly these fields. Dbus_Method_Thread can be cancelled only between
// two messages.
void* Dbus_Listen_Thread(void* info);      // DbusInfo*
void* Dbus_ReadWrite_Thread(void* args);   // ListenArgs*
void* Dbus_ReadWrite_Process(void* args);  // DbusProcessArgs*
void* Dbus_Method_Thread(void* info);      // DbusInfo*

// ---- The calling side -------------------------------------------------------------------------

// How a call ended.
typedef enum DbusCallStatus {
    DBUS_CALL_OK = 0,        // a result came; DbusReply.result has the handler's own status
    DBUS_CALL_TIMEOUT = -1,  // no result in time; a late one is dropped
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

// Registers a client role with the bus name `name`, connected to the process `server_name`. If the
// server does not listen yet, waits for up to `wait_ms` milliseconds without messages (0: one
// attempt; a server that listens but does not accept fails it after a millisecond); a negative
// value registers as Dbus_Register does (100 attempts, about 5 s, with a message). Returns a
// registration to be released with Dbus_Client_Disconnect, or null.
//
// When the server closes the connection, the method thread reconnects by itself for about 5 s.
// After that, or after a read error (a server killed with unread requests), it has ended and calls
// in progress end with DBUS_CALL_NO_CONNECTION. The next call or signal then makes one attempt to
// reconnect, within its own time-out if the server is there but busy. It also does so when the
// method thread could not be created.
DbusInfo* Dbus_Client_Connect(const char* name, const char* server_name, int32_t wait_ms);

// Calls the method `member` with `len` bytes of `data` (null only when len is 0). Sending and
// waiting for the result may take `timeout_ms` milliseconds in total. 0 does not wait; a negative
// value is DBUS_CALL_INVALID. `reply` may be null; it is filled in only with DBUS_CALL_OK. Any
// number of threads may call over one registration at once.
DbusCallStatus Dbus_Method_Call(DbusInfo* info, const char* member, const uint8_t* data,
                                uint32_t len, int32_t timeout_ms, DbusReply* reply);

// Sends a signal; DBUS_CALL_OK means that the connection took the record. Waits up to `timeout_ms`
// for room and for a reconnection in progress.
DbusCallStatus Dbus_Signal_Send(DbusInfo* info, const char* member, const uint8_t* data,
                                uint32_t len, int32_t timeout_ms);

// Ends the client role and frees the registration, now or, as with Dbus_UnRegister, when its method
// thread ends. Waits at most a second. No call may be in progress or follow.
void Dbus_Client_Disconnect(DbusInfo* info);

#ifdef __cplusplus
}
#endif

#endif
