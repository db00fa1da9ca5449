#include "hi3861l_receive.h"

#include <algorithm>

#include "hi3861l_context.h"
#include "hi3861l_events.h"
#include "hi3861l_net_update.h"
#include "quon_little_endian.h"
#include "securec.h"

namespace {

constexpr unsigned char kDumpWidth = 16;

// A firmware upgrade's answers would flood the log.
bool is_dumped(uint8_t type) {
    return type != HI3861L_UPG_START && type != HI3861L_UPG_TRANSMIT && type != HI3861L_UPG_FINISH;
}

void apply_network_event(const uint8_t* payload) {
    const uint8_t state = payload[kHi3861lNetEventStateOffset];
    if (state == 1 || state == 2) {
        hi3861l_net_info info;
        (void)memcpy_s(&info, sizeof(info), payload + kHi3861lNetEventRecordOffset, sizeof(info));
        hi3861l_update_ip_info(&info);
    }
}

// A failed push or update is logged where it happens; the message is still passed on.
void take_event(const hi3861l_msg& msg) {
    switch (msg.type) {
        case HI3861L_EVENT_NET:
            apply_network_event(msg.payload);
            [[fallthrough]];
        case HI3861L_EVENT_0:
        case HI3861L_EVENT_1:
        case HI3861L_EVENT_2:
        case HI3861L_EVENT_4:
        case HI3861L_EVENT_5:
            (void)hi3861l_event_push(msg.payload);
            break;
        default:
            break;
    }
}

// A reply that nobody awaits any more is also stored; the next exchange clears the slot.
void hand_to_waiter(const hi3861l_msg& msg) {
    pthread_mutex_lock(&g_hi3861l.reply_lock);
    hi3861l_msg& slot = g_hi3861l.pending;
    if (slot.type == msg.type) {
        if (msg.len != 0) {
            (void)memcpy_s(slot.payload, sizeof(slot.payload), msg.payload, msg.len);
        }
        slot.len = msg.len;
        pthread_cond_signal(&g_hi3861l.reply_cond);
    }
    pthread_mutex_unlock(&g_hi3861l.reply_lock);
}

}  // namespace

hi3861l_msg hi3861l_decode(const uint8_t* data, int32_t len) {
    const auto size = static_cast<uint32_t>(std::max(len, 0));
    uint8_t head[kHi3861lFrameHeadSize] = {};
    std::copy_n(data, std::min(size, kHi3861lFrameHeadSize), head);

    hi3861l_msg msg{};
    msg.type = head[0];
    msg.len = std::min(quon_load_le32(head + 1), kHi3861lPayloadSize);
    if (size > kHi3861lFrameHeadSize && msg.len != 0) {
        (void)memcpy_s(msg.payload, sizeof(msg.payload), data + kHi3861lFrameHeadSize,
                       std::min(msg.len, size - kHi3861lFrameHeadSize));
    }
    return msg;
}

void hi3861l_msg_dispatch(const uint8_t* data, int32_t len) {
    if (is_dumped(data[0])) {
        QnLogHexDump("recv msg", kDumpWidth, data, static_cast<unsigned short>(len));
    }
    const hi3861l_msg msg = hi3861l_decode(data, len);
    take_event(msg);
    hand_to_waiter(msg);
}

int32_t hi3861l_rx_callback(const uint8_t* data, int32_t len) {
    if (data != nullptr && len > 0) {
        hi3861l_msg_dispatch(data, len);
    }
    return 0;
}
