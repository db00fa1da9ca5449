#include "hi3861l_transport.h"

#include <errno.h>
#include <stdlib.h>

#include "hi3861l_context.h"
#include "hichannel_host.h"
#include "quon_little_endian.h"
#include "securec.h"

namespace {

constexpr long kNsPerUs = 1000;
constexpr long kNsPerMs = 1000000;
constexpr long kUsPerMs = 1000;
constexpr long kUsPerS = 1000000;
constexpr int32_t kMsPerS = 1000;

void write_frame(uint8_t* frame, size_t size, const hi3861l_msg* msg) {
    (void)memset_s(frame, size, 0, size);
    frame[0] = static_cast<uint8_t>(msg->type);
    quon_store_le32(frame + 1, msg->len);
    if (msg->len != 0) {
        (void)memcpy_s(frame + kHi3861lFrameHeadSize, msg->len, msg->payload, msg->len);
    }
}

// Waits once, without checking the slot again: any wake-up before the deadline counts as the reply,
// and a spurious one leaves the reply empty. Intended. With the reply lock held.
int32_t wait_for_reply(hi3861l_msg* reply, int32_t timeout_ms) {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const timespec deadline = hi3861l_deadline(now, timeout_ms);
    if (pthread_cond_timedwait(&g_hi3861l.reply_cond, &g_hi3861l.reply_lock, &deadline) ==
        ETIMEDOUT) {
        return -1;
    }
    const hi3861l_msg& slot = g_hi3861l.pending;
    if (slot.len != 0) {
        (void)memcpy_s(reply->payload, sizeof(reply->payload), slot.payload, slot.len);
        reply->len = slot.len;
    }
    return 0;
}

}  // namespace

timespec hi3861l_deadline(timespec now, int32_t timeout_ms) {
    const long ms = timeout_ms % kMsPerS;
    timespec deadline{};
    deadline.tv_nsec = ((now.tv_nsec / kNsPerUs + ms * kUsPerMs) % kUsPerS) * kNsPerUs;
    deadline.tv_sec = now.tv_sec + timeout_ms / kMsPerS + (now.tv_nsec / kNsPerMs + ms) / kMsPerS;
    return deadline;
}

int32_t hi3861l_send_data(const hi3861l_msg* msg) {
    const size_t size = kHi3861lFrameHeadSize + msg->len;
    auto* const frame = static_cast<uint8_t*>(malloc(size));
    if (frame == nullptr) {
        HI3861L_LOG(QN_LOG_ERROR, "malloc failed\n");
        return -1;
    }
    write_frame(frame, size, msg);
    int32_t result = 0;
    if (hi_channel_send_to_dev(frame, static_cast<int32_t>(size)) != 0) {
        HI3861L_LOG(QN_LOG_ERROR, "hi_channel_send_to_dev failed\n");
        result = -1;
    }
    free(frame);
    return result;
}

int32_t hi3861l_send_msg_async(const hi3861l_msg* msg) {
    pthread_mutex_lock(&g_hi3861l.request_lock);
    const int32_t result = hi3861l_send_data(msg);
    if (result != 0) {
        HI3861L_LOG(QN_LOG_ERROR, "hi3861l_send_data failed\n");
    }
    pthread_mutex_unlock(&g_hi3861l.request_lock);
    return result;
}

// The reply lock is held from announcing the slot until the wait, so no reply can slip in between.
int32_t hi3861l_send_msg_sync(const hi3861l_msg* request, hi3861l_msg* reply, int32_t timeout_ms) {
    pthread_mutex_lock(&g_hi3861l.request_lock);
    pthread_mutex_lock(&g_hi3861l.reply_lock);
    g_hi3861l.pending = *reply;
    int32_t result = -1;
    if (hi3861l_send_data(request) != 0) {
        HI3861L_LOG(QN_LOG_ERROR, "hi3861l_send_data failed\n");
    } else {
        result = wait_for_reply(reply, timeout_ms);
    }
    pthread_mutex_unlock(&g_hi3861l.reply_lock);
    pthread_mutex_unlock(&g_hi3861l.request_lock);
    return result;
}
