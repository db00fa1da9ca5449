// Sizes and known fields of the records exchanged between bus peers, the daemon and a chip. All
// records are packed byte images with little-endian integers; bytes not named here belong to the
// chip.
#ifndef MCU_RECORDS_H
#define MCU_RECORDS_H

#include <stdint.h>

// Reply records (bytes).
inline constexpr int32_t kMcuWakeupInfoSize = 71;
inline constexpr int32_t kMcuTimeSize = 10;
inline constexpr int32_t kMcuBatteryStatusSize = 5;
inline constexpr int32_t kMcuPirInfoSize = 36;
inline constexpr int32_t kMcuWifiStatusSize = 70;
inline constexpr int32_t kMcuWifiInfoSize = 160;
inline constexpr int32_t kMcuWifiScanfInfoSize = 241;
inline constexpr int32_t kMcuStoreParamsSize = 48;
inline constexpr int32_t kMcuAlarmSize = 7;
inline constexpr int32_t kMcuErrReportSize = 181;
inline constexpr int32_t kMcuStatusInfoSize = 136;
inline constexpr int32_t kMcuConfigInfoSize = 256;
inline constexpr int32_t kMcuBitErrRateSize = 259;
inline constexpr int32_t kMcuWifiExtendedStatusSize = 264;
inline constexpr int32_t kMcuSocTimeListSize = 221;
inline constexpr int32_t kMcuSocTimeCurSize = 212;
inline constexpr int32_t kMcuLogProfileSize = 35;
inline constexpr int32_t kMcuSocMinVersionSize = 32;
inline constexpr int32_t kMcuEventInfoSize = 33;
inline constexpr int32_t kMcuVersionSize = 32;  // in the wake-up context
inline constexpr int32_t kMcuWakeupContextSize = 400;
inline constexpr int32_t kMcuSocupTimeSize = 12;
inline constexpr int32_t kMcuUpgReplySize = 4;

// Request records that are not also reply records.
inline constexpr int32_t kMcuWifiConnectSize = 134;
inline constexpr int32_t kMcuWifiKeepaliveSize = 164;
inline constexpr int32_t kMcuWifiExtendedInfoSize = 66;
inline constexpr int32_t kMcuApStartSize = 166;
inline constexpr int32_t kMcuChargeAutoPoweronSize = 67;
inline constexpr int32_t kMcuSocTimeInfoSize = 44;
inline constexpr int32_t kMcuWdgPeriodSize = 4;
inline constexpr int32_t kMcuUpgStartSize = 5;

// Upgrade block: word, data length N, room for 256 data bytes, trailing byte.
inline constexpr int32_t kMcuUpgBlockSize = 265;
inline constexpr int32_t kMcuUpgBlockLengthOffset = 4;
inline constexpr int32_t kMcuUpgBlockDataOffset = 8;
inline constexpr int32_t kMcuUpgBlockDataSize = 256;
inline constexpr int32_t kMcuUpgBlockTailOffset = 264;

// List replies: one count byte, then the entries.
inline constexpr int32_t kMcuErrReportEntrySize = 36;
inline constexpr int32_t kMcuSocTimeEntrySize = 44;

// Known fields.
inline constexpr int32_t kMcuWakeupReasonOffset = 0;
inline constexpr int32_t kMcuWakeupMacOffset = 54;
inline constexpr int32_t kMcuWakeupTime1Offset = 60;      // first word of "get.socup.time"
inline constexpr int32_t kMcuWakeupTime2Offset = 64;      // second word
inline constexpr int32_t kMcuStoreServerIpOffset = 38;    // 4 bytes, network order
inline constexpr int32_t kMcuStoreServerPortOffset = 42;  // 2 bytes
inline constexpr int32_t kMcuWifiInfoTextSize = 32;       // five texts: MAC, IP, gateway, DNS, DNS

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
inline constexpr int32_t kMcuContextWakeupOffset = 0;
inline constexpr int32_t kMcuContextTimeOffset = 71;
inline constexpr int32_t kMcuContextBatteryOffset = 81;
inline constexpr int32_t kMcuContextWifiStatusOffset = 86;
inline constexpr int32_t kMcuContextWifiInfoOffset = 156;
inline constexpr int32_t kMcuContextStoreOffset = 316;
inline constexpr int32_t kMcuContextVersionOffset = 364;
inline constexpr int32_t kMcuContextStartMsOffset = 396;

// A chip's reply is copied by its own length, so an area passed to a query slot has room for the
// longest payload, whatever its record's size.
inline constexpr int32_t kMcuReplyAreaSize = 384;

// A record passed to an operation by value.
template <int32_t Size>
struct mcu_record {
    uint8_t bytes[Size];
};

using mcu_pir_info = mcu_record<kMcuPirInfoSize>;
using mcu_wifi_connect = mcu_record<kMcuWifiConnectSize>;
using mcu_wifi_keepalive = mcu_record<kMcuWifiKeepaliveSize>;
using mcu_wifi_extended_info = mcu_record<kMcuWifiExtendedInfoSize>;
using mcu_store_params = mcu_record<kMcuStoreParamsSize>;
using mcu_alarm = mcu_record<kMcuAlarmSize>;
using mcu_ap_start = mcu_record<kMcuApStartSize>;
using mcu_wakeup_info = mcu_record<kMcuWakeupInfoSize>;
using mcu_charge_auto_poweron = mcu_record<kMcuChargeAutoPoweronSize>;
using mcu_log_profile = mcu_record<kMcuLogProfileSize>;
using mcu_soc_time_info = mcu_record<kMcuSocTimeInfoSize>;

#endif
