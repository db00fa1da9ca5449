// Inside the driver: its records, its one context, and the functions that its files share.
#ifndef HI3861L_DRIVER_H
#define HI3861L_DRIVER_H

#include <pthread.h>
#include <stdint.h>
#include <time.h>

#include <atomic>

#include "hi3861l_protocol.h"
#include "mcu_records.h"
#include "quon_log.h"
#include "quon_queue.h"

inline constexpr char HI3861L_TAG[] = "HI3861L";
inline constexpr char HI3861L_SOURCE[] = "hi3861l_dev";
inline constexpr char HI3861L_INTERFACE[] = "wlan0";

// A request or a reply. Only the low 8 bits of `type` travel.
struct hi3861l_msg {
    uint32_t type;
    uint8_t payload[HI3861L_PAYLOAD_SIZE];
    uint32_t len;
};
static_assert(sizeof(hi3861l_msg) == 392);

// A queued event: the head of its message's payload. The type is not kept.
struct hi3861l_event {
    uint8_t bytes[MCU_EVENT_INFO_SIZE];
};
static_assert(sizeof(hi3861l_event) == 33);

// What hi3861l_api_get_wifi_info reports; every field is a text.
struct hi3861l_wifi_info {
    char mac[MCU_WIFI_INFO_TEXT_SIZE];
    char ip[MCU_WIFI_INFO_TEXT_SIZE];
    char gateway[MCU_WIFI_INFO_TEXT_SIZE];
    char dns1[MCU_WIFI_INFO_TEXT_SIZE];
    char dns2[MCU_WIFI_INFO_TEXT_SIZE];
};
static_assert(sizeof(hi3861l_wifi_info) == MCU_WIFI_INFO_SIZE);

struct hi3861l_mac {
    uint8_t octets[6];
};

// Lock order: request lock, then reply lock. The record lock is a leaf, held for one copy; it
// guards the members marked (r).
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
    std::atomic<QN_QUEUE*> events;
    uint32_t ip_updated;  // (r) a network event has been applied
    pthread_mutex_t record_lock;
};

extern constinit hi3861l_context g_hi3861l;  // NOLINT(bugprone-dynamic-static-initializers)

// Logs "[%s] failed\n" with `reason` at level 1 under the name `function`. Returns -1.
int32_t hi3861l_failed(const char* function, int line, const char* reason);

// --- transport

int32_t hi3861l_send_data(const hi3861l_msg* msg);
int32_t hi3861l_send_msg_async(const hi3861l_msg* msg);

// `reply` comes with its type set and nothing else. Returns 0 after any wake-up, also one without
// a reply (its length is then 0), or -1 when sending failed or the time is over.
int32_t hi3861l_send_msg_sync(const hi3861l_msg* request, hi3861l_msg* reply, int32_t timeout_ms);

// The moment `timeout_ms` (not negative) after `now`, on a clock cut to whole microseconds.
timespec hi3861l_deadline(timespec now, int32_t timeout_ms);

// --- receive

// The channel's callback. Returns 0.
int32_t hi3861l_rx_callback(const uint8_t* data, int32_t len);
void hi3861l_msg_dispatch(const uint8_t* data, int32_t len);

// Reads a frame of any length. The declared length is cut to the payload's size; bytes that the
// frame does not hold, its head's included, read as zero.
hi3861l_msg hi3861l_decode(const uint8_t* data, int32_t len);

void hi3861l_event_init();
int32_t hi3861l_event_push(const uint8_t* payload);
int32_t hi3861l_api_get_event_info(uint8_t* event);

// --- network

// Applies a record to the interface and to /etc/resolv.conf, and keeps it. Receive thread only.
void hi3861l_update_ip_info(const hi3861l_net_info* info);

// Asks the chip for its network record and keeps it. `out` has room for MCU_REPLY_AREA_SIZE bytes.
int32_t hi3861l_get_ip_info(uint8_t* out);

void hi3861l_keep_second_mac(const uint8_t* mac);
int32_t hi3861l_api_get_wifi_info(uint8_t* info);
int32_t hi3861l_api_get_ipaddr_update_status(uint32_t* updated);

// --- init

int32_t hi3861l_api_init();
int32_t hi3861l_api_deinit();

#endif
