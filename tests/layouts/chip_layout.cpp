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
static_assert(HI3861L_FRAME_HEAD_SIZE == 5);
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
static_assert(HI3861L_NET_EVENT_STATE_OFFSET == 1);
static_assert(HI3861L_NET_EVENT_RECORD_OFFSET == 2);

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
static_assert(MCU_WDG_PERIOD_SIZE == 4);
static_assert(MCU_UPG_START_SIZE == 5);
static_assert(MCU_TIME_SIZE == 10);

// The upgrade block.
static_assert(MCU_UPG_BLOCK_SIZE == 265);
static_assert(MCU_UPG_BLOCK_LENGTH_OFFSET == 4);
static_assert(MCU_UPG_BLOCK_DATA_OFFSET == 8);
static_assert(MCU_UPG_BLOCK_DATA_SIZE == 256);
static_assert(MCU_UPG_BLOCK_TAIL_OFFSET == 264);
static_assert(HI3861L_UPG_ANSWER_OFFSET == 4 && HI3861L_UPG_ACCEPTED == 0xA1);

// List replies.
static_assert(MCU_ERR_REPORT_ENTRY_SIZE == 36);
static_assert(MCU_SOC_TIME_ENTRY_SIZE == 44);

// The wake-up context, and where other fields lie that the daemon reads.
static_assert(MCU_CONTEXT_WAKEUP_OFFSET == 0 && MCU_WAKEUP_INFO_SIZE == 71);
static_assert(MCU_CONTEXT_TIME_OFFSET == 71);
static_assert(MCU_CONTEXT_BATTERY_OFFSET == 81 && MCU_BATTERY_STATUS_SIZE == 5);
static_assert(MCU_CONTEXT_WIFI_STATUS_OFFSET == 86 && MCU_WIFI_STATUS_SIZE == 70);
static_assert(MCU_CONTEXT_WIFI_INFO_OFFSET == 156 && MCU_WIFI_INFO_SIZE == 160);
static_assert(MCU_CONTEXT_STORE_OFFSET == 316 && MCU_STORE_PARAMS_SIZE == 48);
static_assert(MCU_CONTEXT_VERSION_OFFSET == 364 && MCU_VERSION_SIZE == 32);
static_assert(MCU_CONTEXT_START_MS_OFFSET == 396);
static_assert(MCU_WAKEUP_CONTEXT_SIZE == 400);
static_assert(MCU_WAKEUP_REASON_OFFSET == 0);
static_assert(MCU_WAKEUP_MAC_OFFSET == 54);
static_assert(MCU_WAKEUP_TIME1_OFFSET == 60 && MCU_WAKEUP_TIME2_OFFSET == 64);
static_assert(MCU_STORE_SERVER_IP_OFFSET == 38 && MCU_STORE_SERVER_PORT_OFFSET == 42);

static_assert(sizeof(mcu_ops) == 52 * sizeof(void*));
