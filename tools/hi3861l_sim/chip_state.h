// Everything that the simulated chip knows. Records are the bytes of its answers; what a set
// command stores lies where the matching answer shows it.
#pragma once

#include <string_view>

#include "bytes.h"
#include "chip_clock.h"
#include "hi3861l_protocol.h"
#include "mcu_records.h"
#include "upgrade.h"

namespace quon::sim {

struct chip_state {
    chip_state();

    bytes version{bytes(MCU_VERSION_SIZE)};
    bytes net{bytes(sizeof(hi3861l_net_info))};
    bytes wakeup_info{bytes(MCU_WAKEUP_INFO_SIZE)};
    bytes battery{bytes(MCU_BATTERY_STATUS_SIZE)};
    bytes pir_info{bytes(MCU_PIR_INFO_SIZE)};
    bytes wifi_status{bytes(MCU_WIFI_STATUS_SIZE)};
    bytes store_params{bytes(MCU_STORE_PARAMS_SIZE)};
    bytes wdg_state{bytes(1)};
    bytes alarm{bytes(MCU_ALARM_SIZE)};
    bytes err_report{bytes(MCU_ERR_REPORT_SIZE)};
    bytes soc_min_version{bytes(MCU_SOC_MIN_VERSION_SIZE)};
    bytes status_info{bytes(MCU_STATUS_INFO_SIZE)};
    bytes config_info{bytes(MCU_CONFIG_INFO_SIZE)};
    bytes scan_info{bytes(MCU_WIFI_SCANF_INFO_SIZE)};
    bytes extended_status{bytes(MCU_WIFI_EXTENDED_STATUS_SIZE)};
    bytes soc_time_list{bytes(MCU_SOC_TIME_LIST_SIZE)};
    bytes soc_time_cur{bytes(MCU_SOC_TIME_CUR_SIZE)};

    bytes wifi_connect{bytes(MCU_WIFI_CONNECT_SIZE)};  // no answer shows it whole
    bytes last_command;                                // of set_cmd
    chip_clock clock;
    upgrade image;
};

using chip_record = bytes chip_state::*;

// Some bytes of a record.
struct slice {
    chip_record record;
    size_t offset;
    size_t size;
};

// Where the simulated chip keeps what it is told. Offsets that the protocol does not fix are this
// chip's own.
namespace place {

inline constexpr slice wakeup_reason{&chip_state::wakeup_info, MCU_WAKEUP_REASON_OFFSET, 1};
inline constexpr slice wakeup_mac{&chip_state::wakeup_info, MCU_WAKEUP_MAC_OFFSET, 6};
inline constexpr slice wakeup_time1{&chip_state::wakeup_info, MCU_WAKEUP_TIME1_OFFSET, 4};
inline constexpr slice wakeup_time2{&chip_state::wakeup_info, MCU_WAKEUP_TIME2_OFFSET, 4};
inline constexpr slice server_ip{&chip_state::store_params, MCU_STORE_SERVER_IP_OFFSET, 4};
inline constexpr slice server_port{&chip_state::store_params, MCU_STORE_SERVER_PORT_OFFSET, 2};
inline constexpr slice net_mac{&chip_state::net, offsetof(hi3861l_net_info, mac), 6};

inline constexpr slice battery_percent{&chip_state::battery, 0, 1};
inline constexpr slice battery_millivolt{&chip_state::battery, 1, 2};
inline constexpr slice pir_switch{&chip_state::pir_info, 0, 1};
inline constexpr slice pir_sensitivity{&chip_state::pir_info, 1, 1};
inline constexpr slice wifi_state{&chip_state::wifi_status, 0, 1};
inline constexpr slice wifi_ssid{&chip_state::wifi_status, 1, 33};
inline constexpr slice wifi_rssi{&chip_state::wifi_status, 34, 1};
inline constexpr slice scan_selector{&chip_state::scan_info, 0, 1};

inline constexpr slice system_state{&chip_state::status_info, 0, 1};
inline constexpr slice led{&chip_state::status_info, 1, 1};
inline constexpr slice tamper_switch{&chip_state::status_info, 2, 1};
inline constexpr slice uart_switch{&chip_state::status_info, 3, 1};
inline constexpr slice ap_running{&chip_state::status_info, 4, 1};
inline constexpr slice wdg_period{&chip_state::status_info, 8, 4};
inline constexpr slice wdg_feeds{&chip_state::status_info, 12, 4};
inline constexpr slice crash_tests{&chip_state::status_info, 16, 4};

inline constexpr slice ap_start{&chip_state::config_info, 0, MCU_AP_START_SIZE};
inline constexpr slice charge_auto_poweron{&chip_state::config_info, MCU_AP_START_SIZE,
                                           MCU_CHARGE_AUTO_POWERON_SIZE};
inline constexpr slice wifi_extended_info{&chip_state::extended_status, 0,
                                          MCU_WIFI_EXTENDED_INFO_SIZE};
inline constexpr slice wifi_keepalive{&chip_state::extended_status, MCU_WIFI_EXTENDED_INFO_SIZE,
                                      MCU_WIFI_KEEPALIVE_SIZE};
static_assert(MCU_AP_START_SIZE + MCU_CHARGE_AUTO_POWERON_SIZE <= MCU_CONFIG_INFO_SIZE);
static_assert(MCU_WIFI_EXTENDED_INFO_SIZE + MCU_WIFI_KEEPALIVE_SIZE <=
              MCU_WIFI_EXTENDED_STATUS_SIZE);

}  // namespace place

std::span<uint8_t> view(chip_state& chip, const slice& where);
bytes_view view(const chip_state& chip, const slice& where);

// An integer of 1 to 4 bytes.
uint32_t number(const chip_state& chip, const slice& where);
void set_number(chip_state& chip, const slice& where, uint32_t value);

// A text that ends at its first zero byte. The last byte of the place stays zero.
std::string text(const chip_state& chip, const slice& where);
void set_text(chip_state& chip, const slice& where, std::string_view value);

hi3861l_net_info net_record(const chip_state& chip);
void set_net_record(chip_state& chip, const hi3861l_net_info& record);
void set_battery(chip_state& chip, uint32_t percent);

// A list record keeps its newest entries, newest last; the oldest leaves a full list.
void append_entry(bytes& list, bytes_view entry);

}  // namespace quon::sim
