#include <cstddef>

#include "hi3861l_events.h"
#include "hi3861l_msg.h"
#include "hi3861l_net_record.h"
#include "hichannel_host.h"
#include "mcu_ops_table.h"

// A message in memory and on the channel.
static_assert(sizeof(hi3861l_msg) == 392);
static_assert(offsetof(hi3861l_msg, type) == 0 && sizeof(hi3861l_msg::type) == 4);
static_assert(offsetof(hi3861l_msg, payload) == 4 && sizeof(hi3861l_msg::payload) == 384);
static_assert(offsetof(hi3861l_msg, len) == 388 && sizeof(hi3861l_msg::len) == 4);
static_assert(kHi3861lFrameHeadSize == 5);
static_assert(HI_CHANNEL_HEADER_SIZE == 16);

// What the driver makes by itself.
static_assert(sizeof(hi3861l_event) == 33);
static_assert(sizeof(hi3861l_wifi_info) == 160);
static_assert(offsetof(hi3861l_wifi_info, mac) == 0);
static_assert(offsetof(hi3861l_wifi_info, ip) == 32);
static_assert(offsetof(hi3861l_wifi_info, gateway) == 64);
static_assert(offsetof(hi3861l_wifi_info, dns1) == 96);
static_assert(offsetof(hi3861l_wifi_info, dns2) == 128);

// The network record, and its place in event 0x03.
static_assert(sizeof(hi3861l_net_info) == 26);
static_assert(offsetof(hi3861l_net_info, ip) == 0);
static_assert(offsetof(hi3861l_net_info, netmask) == 4);
static_assert(offsetof(hi3861l_net_info, gateway) == 8);
static_assert(offsetof(hi3861l_net_info, mac) == 12);
static_assert(offsetof(hi3861l_net_info, dns1) == 18);
static_assert(offsetof(hi3861l_net_info, dns2) == 22);
static_assert(kHi3861lNetEventStateOffset == 1);
static_assert(kHi3861lNetEventRecordOffset == 2);

// Records that operations take by value.
static_assert(sizeof(mcu_alarm) == 7);
static_assert(sizeof(mcu_pir_info) == 36);
static_assert(sizeof(mcu_soc_time_info) == 44);
static_assert(sizeof(mcu_store_params) == 48);
static_assert(sizeof(mcu_wifi_extended_info) == 66);
static_assert(sizeof(mcu_charge_auto_poweron) == 67);
static_assert(sizeof(mcu_wakeup_info) == 71);
static_assert(sizeof(mcu_wifi_connect) == 134);
static_assert(sizeof(mcu_wifi_keepalive) == 164);
static_assert(sizeof(mcu_ap_start) == 166);
static_assert(kMcuWdgPeriodSize == 4);
static_assert(kMcuUpgStartSize == 5);
static_assert(kMcuTimeSize == 10);

// The upgrade block.
static_assert(kMcuUpgBlockSize == 265);
static_assert(kMcuUpgBlockLengthOffset == 4);
static_assert(kMcuUpgBlockDataOffset == 8);
static_assert(kMcuUpgBlockDataSize == 256);
static_assert(kMcuUpgBlockTailOffset == 264);
static_assert(kHi3861lUpgAnswerOffset == 4 && kHi3861lUpgAccepted == 0xA1);

// List replies.
static_assert(kMcuErrReportEntrySize == 36);
static_assert(kMcuSocTimeEntrySize == 44);

// The wake-up context, and where other fields lie that the daemon reads.
static_assert(kMcuContextWakeupOffset == 0 && kMcuWakeupInfoSize == 71);
static_assert(kMcuContextTimeOffset == 71);
static_assert(kMcuContextBatteryOffset == 81 && kMcuBatteryStatusSize == 5);
static_assert(kMcuContextWifiStatusOffset == 86 && kMcuWifiStatusSize == 70);
static_assert(kMcuContextWifiInfoOffset == 156 && kMcuWifiInfoSize == 160);
static_assert(kMcuContextStoreOffset == 316 && kMcuStoreParamsSize == 48);
static_assert(kMcuContextVersionOffset == 364 && kMcuVersionSize == 32);
static_assert(kMcuContextStartMsOffset == 396);
static_assert(kMcuWakeupContextSize == 400);
static_assert(kMcuWakeupReasonOffset == 0);
static_assert(kMcuWakeupMacOffset == 54);
static_assert(kMcuWakeupTime1Offset == 60 && kMcuWakeupTime2Offset == 64);
static_assert(kMcuStoreServerIpOffset == 38 && kMcuStoreServerPortOffset == 42);
