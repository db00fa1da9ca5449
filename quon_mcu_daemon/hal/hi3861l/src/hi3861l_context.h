// The driver's single context, and the log functions of its files.
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

// Logs a line under the name of the enclosing function.
#define HI3861L_LOG(level, ...) \
    QnLogPrint(level, kHi3861lTag, kHi3861lSource, __func__, __LINE__, __VA_ARGS__)

// Logs "[%s] failed\n" with `reason` at level 1 under the name `function`. Returns -1.
int32_t hi3861l_failed(const char* function, int line, const char* reason);

struct hi3861l_mac {
    uint8_t octets[6];
};

// Lock order: request lock, then reply lock. The event lock is held for one queue operation. The
// record lock is a leaf, held for one copy; it protects the members marked (r).
struct hi3861l_context {
    uint8_t initialised;
    bool mac_applied;  // (r) a MAC has been written to the interface
    pthread_mutex_t request_lock;
    pthread_mutex_t reply_lock;
    pthread_cond_t reply_cond;
    pthread_condattr_t reply_cond_attr;
    hi3861l_msg pending;        // under the reply lock: the awaited type, then its reply
    hi3861l_net_info net_info;  // (r)
    hi3861l_mac second_mac;     // (r) from the last wake-up info record read
    QN_QUEUE* events;           // under the event lock
    uint32_t ip_updated;        // (r) a network event has been applied
    pthread_mutex_t event_lock;
    pthread_mutex_t record_lock;
};

// The locks are usable from process start, because the bus offers its services before init has run.
extern constinit hi3861l_context g_hi3861l;  // NOLINT(bugprone-dynamic-static-initializers)

// Clears the context and creates its condition. An operation that a bus peer requests too early
// either fails first on the closed channel, or finds everything ready.
void hi3861l_context_init();

// Destroys the locks and the condition and resets the locks to their initial state, so that an
// operation between a stop and the next start fails on the closed channel.
void hi3861l_context_deinit();

#endif
