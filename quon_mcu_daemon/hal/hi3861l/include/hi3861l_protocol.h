// The chip's message protocol, shared by the driver, the simulated chip, the client and the tests:
// the frame, the message types, and the network record.
#ifndef HI3861L_PROTOCOL_H
#define HI3861L_PROTOCOL_H

#include <stdint.h>

#include "hi3861l_operations.h"
#include "mcu_records.h"

// Frame, both directions: type (1 byte), payload length (4 bytes, little-endian), payload.
inline constexpr uint32_t kHi3861lFrameHeadSize = 5;
inline constexpr uint32_t kHi3861lPayloadSize = 384;

enum hi3861l_msg_type : uint8_t {
    // Events, sent by the chip unasked.
    HI3861L_EVENT_0 = 0x00,
    HI3861L_EVENT_1 = 0x01,
    HI3861L_EVENT_2 = 0x02,
    HI3861L_EVENT_NET = 0x03,  // payload byte 1 is the network state, bytes 2-27 the network record
    HI3861L_EVENT_4 = 0x04,
    HI3861L_EVENT_5 = 0x05,
// Commands. Those with a time-out are answered by a frame of the same type. 0xA8 is unused.
#define HI3861L_COMMAND_TYPE(family, slot, function, message, type, ...) message = (type),
#define HI3861L_START_TYPE(message, type, timeout_ms) message = (type),
    HI3861L_OPERATIONS(HI3861L_COMMAND_TYPE) HI3861L_START_QUERY(HI3861L_START_TYPE)
#undef HI3861L_COMMAND_TYPE
#undef HI3861L_START_TYPE
};

// How long the driver waits for the answer to a message of this type; 0: not at all.
constexpr int32_t hi3861l_timeout_ms(hi3861l_msg_type type) {
    switch (type) {
#define HI3861L_COMMAND_TIMEOUT(family, slot, function, message, type, timeout_ms, bytes) \
    case message:                                                                         \
        return timeout_ms;
#define HI3861L_START_TIMEOUT(message, type, timeout_ms) \
    case message:                                        \
        return timeout_ms;
        // Rows that share a time-out only happen to. NOLINTBEGIN(bugprone-branch-clone)
        HI3861L_OPERATIONS(HI3861L_COMMAND_TIMEOUT)
        HI3861L_START_QUERY(HI3861L_START_TIMEOUT)
        // NOLINTEND(bugprone-branch-clone)
#undef HI3861L_COMMAND_TIMEOUT
#undef HI3861L_START_TIMEOUT
        default:
            return 0;
    }
}

// Network record: event payload bytes 2-27, and the reply of HI3861L_GET_NET_INFO.
using hi3861l_net_info = mcu_net_info;

inline constexpr uint32_t kHi3861lNetEventStateOffset = 1;
inline constexpr uint32_t kHi3861lNetEventRecordOffset = 2;

// Byte 4 of the reply to an accepted upgrade block.
inline constexpr uint32_t kHi3861lUpgAnswerOffset = 4;
inline constexpr uint8_t kHi3861lUpgAccepted = 0xA1;

#endif
