// Facts of the chip's message protocol, shared by the driver, the simulated chip, the client and
// the tests: the frame, the message types, and the network record.
#ifndef HI3861L_PROTOCOL_H
#define HI3861L_PROTOCOL_H

#include <stdint.h>

// Frame, both directions: type (1 byte), payload length (4 bytes, little-endian), payload.
inline constexpr uint32_t HI3861L_FRAME_HEAD_SIZE = 5;
inline constexpr uint32_t HI3861L_PAYLOAD_SIZE = 384;

enum hi3861l_msg_type : uint8_t {
    // Events, raised by the chip.
    HI3861L_EVENT_0 = 0x00,
    HI3861L_EVENT_1 = 0x01,
    HI3861L_EVENT_2 = 0x02,
    HI3861L_EVENT_NET = 0x03,  // payload byte 1 is the network state, bytes 2-27 the network record
    HI3861L_EVENT_4 = 0x04,
    HI3861L_EVENT_5 = 0x05,
    // Commands. A GET, UPG_START and UPG_TRANSMIT are answered by a frame of the same type.
    HI3861L_GET_VERSION = 0x80,
    HI3861L_GET_NET_INFO = 0x81,
    HI3861L_GET_WAKEUP_INFO = 0x82,
    HI3861L_SET_TIME = 0x83,
    HI3861L_GET_TIME = 0x84,
    HI3861L_SET_LED = 0x85,
    HI3861L_GET_BATTERY_STATUS = 0x86,
    HI3861L_SET_PIR_SWITCH = 0x87,
    HI3861L_SET_PIR_SENSITIVITY = 0x88,
    HI3861L_GET_PIR_INFO = 0x89,
    HI3861L_SET_WIFI_CONNECT = 0x8A,
    HI3861L_SET_WIFI_DISCONNECT = 0x8B,
    HI3861L_GET_WIFI_STATUS = 0x8C,
    HI3861L_SET_WIFI_KEEPALIVE = 0x8D,
    HI3861L_SET_SYSTEM_STATE = 0x8E,
    HI3861L_UPG_START = 0x8F,
    HI3861L_UPG_TRANSMIT = 0x90,
    HI3861L_UPG_FINISH = 0x91,
    HI3861L_SET_STORE_PARAMS = 0x92,
    HI3861L_GET_STORE_PARAMS = 0x93,
    HI3861L_SET_WDG_STATE = 0x94,
    HI3861L_GET_WDG_STATE = 0x95,
    HI3861L_SET_WDG_PERIOD = 0x96,
    HI3861L_SET_WDG_FEED = 0x97,
    HI3861L_SET_ALARM = 0x98,
    HI3861L_GET_ALARM = 0x99,
    HI3861L_SET_AP_START = 0x9A,
    HI3861L_SET_AP_STOP = 0x9B,
    HI3861L_SET_CRASH_TEST = 0x9C,
    HI3861L_SET_WIFI_EXTENDED_INFO = 0x9D,
    HI3861L_GET_ERR_REPORT = 0x9E,
    HI3861L_GET_SOC_MIN_VERSION = 0x9F,
    HI3861L_SET_UART_SWITCH = 0xA0,
    HI3861L_SET_WAKEUP_INFO = 0xA1,
    HI3861L_SET_PIR_INFO = 0xA2,
    HI3861L_GET_STATUS_INFO = 0xA3,
    HI3861L_SET_CHARGE_AUTO_POWERON = 0xA4,
    HI3861L_SET_CMD = 0xA5,
    HI3861L_SET_TAMPER_SWITCH = 0xA6,
    HI3861L_GET_CONFIG_INFO = 0xA7,
    // 0xA8 is not used.
    HI3861L_GET_WIFI_SCANF_INFO = 0xA9,
    HI3861L_GET_WIFI_EXTENDED_STATUS = 0xAA,
    HI3861L_SET_SOC_POWERON_TIME_INFO = 0xAB,
    HI3861L_GET_SOC_POWERON_TIME_LIST = 0xAC,
    HI3861L_GET_SOC_POWERON_TIME_CUR = 0xAD,
};

// Network record: event payload bytes 2-27, and the reply of HI3861L_GET_NET_INFO. Addresses are
// four octets, first octet first.
struct hi3861l_net_info {
    uint8_t ip[4];
    uint8_t netmask[4];
    uint8_t gateway[4];
    uint8_t mac[6];
    uint8_t dns1[4];
    uint8_t dns2[4];
};
static_assert(sizeof(hi3861l_net_info) == 26);

inline constexpr uint32_t HI3861L_NET_EVENT_STATE_OFFSET = 1;
inline constexpr uint32_t HI3861L_NET_EVENT_RECORD_OFFSET = 2;

// Byte 4 of the reply to an accepted upgrade block.
inline constexpr uint32_t HI3861L_UPG_ANSWER_OFFSET = 4;
inline constexpr uint8_t HI3861L_UPG_ACCEPTED = 0xA1;

#endif
