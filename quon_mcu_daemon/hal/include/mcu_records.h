// Sizes and known fields of the records that travel between bus peers, the daemon and a chip. All
// records are packed byte images, integers little-endian; bytes not named here are the chip's.
#ifndef MCU_RECORDS_H
#define MCU_RECORDS_H

#include <stdint.h>

// Reply records (bytes).
inline constexpr int32_t MCU_WAKEUP_INFO_SIZE = 71;
inline constexpr int32_t MCU_TIME_SIZE = 10;
inline constexpr int32_t MCU_BATTERY_STATUS_SIZE = 5;
inline constexpr int32_t MCU_PIR_INFO_SIZE = 36;
inline constexpr int32_t MCU_WIFI_STATUS_SIZE = 70;
inline constexpr int32_t MCU_WIFI_INFO_SIZE = 160;
inline constexpr int32_t MCU_WIFI_SCANF_INFO_SIZE = 241;
inline constexpr int32_t MCU_STORE_PARAMS_SIZE = 48;
inline constexpr int32_t MCU_ALARM_SIZE = 7;
inline constexpr int32_t MCU_ERR_REPORT_SIZE = 181;
inline constexpr int32_t MCU_STATUS_INFO_SIZE = 136;
inline constexpr int32_t MCU_CONFIG_INFO_SIZE = 256;
inline constexpr int32_t MCU_BIT_ERR_RATE_SIZE = 259;
inline constexpr int32_t MCU_WIFI_EXTENDED_STATUS_SIZE = 264;
inline constexpr int32_t MCU_SOC_TIME_LIST_SIZE = 221;
inline constexpr int32_t MCU_SOC_TIME_CUR_SIZE = 212;
inline constexpr int32_t MCU_LOG_PROFILE_SIZE = 35;
inline constexpr int32_t MCU_SOC_MIN_VERSION_SIZE = 32;
inline constexpr int32_t MCU_EVENT_INFO_SIZE = 33;
inline constexpr int32_t MCU_VERSION_SIZE = 32;  // in the wake-up context
inline constexpr int32_t MCU_WAKEUP_CONTEXT_SIZE = 400;
inline constexpr int32_t MCU_SOCUP_TIME_SIZE = 12;
inline constexpr int32_t MCU_UPG_REPLY_SIZE = 4;

// Request records that are no reply records.
inline constexpr int32_t MCU_WIFI_CONNECT_SIZE = 134;
inline constexpr int32_t MCU_WIFI_KEEPALIVE_SIZE = 164;
inline constexpr int32_t MCU_WIFI_EXTENDED_INFO_SIZE = 66;
inline constexpr int32_t MCU_AP_START_SIZE = 166;
inline constexpr int32_t MCU_CHARGE_AUTO_POWERON_SIZE = 67;
inline constexpr int32_t MCU_SOC_TIME_INFO_SIZE = 44;
inline constexpr int32_t MCU_WDG_PERIOD_SIZE = 4;
inline constexpr int32_t MCU_UPG_START_SIZE = 5;

// Upgrade block: word, data length N, room for 256 data bytes, trailing byte.
inline constexpr int32_t MCU_UPG_BLOCK_SIZE = 265;
inline constexpr int32_t MCU_UPG_BLOCK_LENGTH_OFFSET = 4;
inline constexpr int32_t MCU_UPG_BLOCK_DATA_OFFSET = 8;
inline constexpr int32_t MCU_UPG_BLOCK_DATA_SIZE = 256;
inline constexpr int32_t MCU_UPG_BLOCK_TAIL_OFFSET = 264;

// List replies: one count byte, then the entries.
inline constexpr int32_t MCU_ERR_REPORT_ENTRY_SIZE = 36;
inline constexpr int32_t MCU_SOC_TIME_ENTRY_SIZE = 44;

// Known fields.
inline constexpr int32_t MCU_WAKEUP_REASON_OFFSET = 0;
inline constexpr int32_t MCU_WAKEUP_MAC_OFFSET = 54;
inline constexpr int32_t MCU_WAKEUP_TIME1_OFFSET = 60;       // first word of "get.socup.time"
inline constexpr int32_t MCU_WAKEUP_TIME2_OFFSET = 64;       // second word
inline constexpr int32_t MCU_STORE_SERVER_IP_OFFSET = 38;    // 4 bytes, network order
inline constexpr int32_t MCU_STORE_SERVER_PORT_OFFSET = 42;  // 2 bytes
inline constexpr int32_t MCU_WIFI_INFO_TEXT_SIZE = 32;  // five texts: MAC, IP, gateway, DNS, DNS

// Network data of the Wi-Fi link. Addresses are four octets, first octet first.
struct mcu_net_info {
    uint8_t ip[4];
    uint8_t netmask[4];
    uint8_t gateway[4];
    uint8_t mac[6];
    uint8_t dns1[4];
    uint8_t dns2[4];
};
static_assert(sizeof(mcu_net_info) == 26);

// Wake-up context, the reply of "get.allwakeup.info".
inline constexpr int32_t MCU_CONTEXT_WAKEUP_OFFSET = 0;
inline constexpr int32_t MCU_CONTEXT_TIME_OFFSET = 71;
inline constexpr int32_t MCU_CONTEXT_BATTERY_OFFSET = 81;
inline constexpr int32_t MCU_CONTEXT_WIFI_STATUS_OFFSET = 86;
inline constexpr int32_t MCU_CONTEXT_WIFI_INFO_OFFSET = 156;
inline constexpr int32_t MCU_CONTEXT_STORE_OFFSET = 316;
inline constexpr int32_t MCU_CONTEXT_VERSION_OFFSET = 364;
inline constexpr int32_t MCU_CONTEXT_START_MS_OFFSET = 396;

// A chip's reply is copied by its own length, so an area handed to a query slot has room for the
// longest payload, whatever the size of its record.
inline constexpr int32_t MCU_REPLY_AREA_SIZE = 384;

// A record that an operation receives by value.
template <int32_t Size>
struct mcu_record {
    uint8_t bytes[Size];
};

using mcu_pir_info = mcu_record<MCU_PIR_INFO_SIZE>;
using mcu_wifi_connect = mcu_record<MCU_WIFI_CONNECT_SIZE>;
using mcu_wifi_keepalive = mcu_record<MCU_WIFI_KEEPALIVE_SIZE>;
using mcu_wifi_extended_info = mcu_record<MCU_WIFI_EXTENDED_INFO_SIZE>;
using mcu_store_params = mcu_record<MCU_STORE_PARAMS_SIZE>;
using mcu_alarm = mcu_record<MCU_ALARM_SIZE>;
using mcu_ap_start = mcu_record<MCU_AP_START_SIZE>;
using mcu_wakeup_info = mcu_record<MCU_WAKEUP_INFO_SIZE>;
using mcu_charge_auto_poweron = mcu_record<MCU_CHARGE_AUTO_POWERON_SIZE>;
using mcu_log_profile = mcu_record<MCU_LOG_PROFILE_SIZE>;
using mcu_soc_time_info = mcu_record<MCU_SOC_TIME_INFO_SIZE>;

#endif
