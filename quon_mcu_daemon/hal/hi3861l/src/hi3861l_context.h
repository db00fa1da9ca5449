// The driver's one context, and how its files log.
#ifndef HI3861L_CONTEXT_H
#define HI3861L_CONTEXT_H

#include <pthread.h>
#include <stdint.h>

#include "hi3861l_msg.h"
#include "hi3861l_protocol.h"
#include "quon_log.h"
#include "quon_queue.h"

inline constexpr char kHi3861lTag[] = "HI3861L";
inline constexpr char kHi3861lSource[] = "hi3861l_dev";

// A line under the name of the function that it stands in.
#define HI3861L_LOG(level, ...) \
    QnLogPrint(level, kHi3861lTag, kHi3861lSource, __func__, __LINE__, __VA_ARGS__)

// Logs "[%s] failed\n" with `reason` at level 1 under the name `function`. Returns -1.
int32_t hi3861l_failed(const char* function, int line, const char* reason);

struct hi3861l_mac {
    uint8_t octets[6];
};

// Lock order: request lock, then reply lock. The event lock is held for one operation of the queue.
// The record lock is a leaf, held for one copy; it guards the members marked (r).
struct hi3861l_context {
    uint8_t initialised;
    bool mac_applied;  // (r) a MAC has been written to the interface
    pthread_mutex_t request_lock;
    pthread_mutex_t reply_lock;
    pthread_cond_t reply_cond;
    pthread_condattr_t reply_cond_attr;
    hi3861l_msg pending;        // under the reply lock: the awaited type, then its reply
    hi3861l_net_info net_info;  // (r)
    hi3861l_mac second_mac;     // (r) of the last wake-up info record read
    QN_QUEUE* events;           // under the event lock
    uint32_t ip_updated;        // (r) a network event has been applied
    pthread_mutex_t event_lock;
    pthread_mutex_t record_lock;
};

// The locks are usable from process start: the bus offers its services before init has run.
extern constinit hi3861l_context g_hi3861l;  // NOLINT(bugprone-dynamic-static-initializers)

// Clears the context and makes its condition. An operation that a bus peer asked for too early
// either ends first, failing on the closed channel, or finds everything in place.
void hi3861l_context_init();

// Destroys locks and condition, and leaves the locks as at process start: an operation between a
// stop and the next start fails on the closed channel.
void hi3861l_context_deinit();

#endif
