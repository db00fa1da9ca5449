// Everything that the simulated chip knows. Records are the bytes of its answers; what a set
// command stores lies where the matching answer shows it.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "bytes.h"
#include "catalog/catalog.h"
#include "chip_clock.h"
#include "hi3861l_protocol.h"
#include "mcu_records.h"
#include "upgrade.h"

namespace quon::sim {

// The records, by the names that the catalog gives them: one for each query's answer, and one for
// what each set command stores that no query answers with, by the command's name without "set_".
class record_store {
  public:
    // The messages outlive this.
    explicit record_store(std::span<const catalog::message> messages = catalog::messages());

    // Throws std::out_of_range for a name that is none.
    bytes& at(std::string_view name);
    const bytes& at(std::string_view name) const;

    // The name of the record that a set command stores.
    [[nodiscard]] std::string_view stored_as(const catalog::message& command) const;

    [[nodiscard]] const std::map<std::string_view, bytes>& all() const { return records_; }

  private:
    std::span<const catalog::message> messages_;
    std::map<std::string_view, bytes> records_;
};

struct chip_state {
    chip_state();

    record_store records;
    bytes last_command;  // of set_cmd
    chip_clock clock;
    upgrade image;
};

// Some bytes of a record.
struct slice {
    std::string_view record;
    size_t offset;
    size_t size;
};

// Where the simulated chip keeps what it is told. Offsets that the protocol does not fix are this
// chip's own.
namespace place {

inline constexpr slice wakeup_reason{"wakeup_info", MCU_WAKEUP_REASON_OFFSET, 1};
inline constexpr slice wakeup_mac{"wakeup_info", MCU_WAKEUP_MAC_OFFSET, 6};
inline constexpr slice wakeup_time1{"wakeup_info", MCU_WAKEUP_TIME1_OFFSET, 4};
inline constexpr slice wakeup_time2{"wakeup_info", MCU_WAKEUP_TIME2_OFFSET, 4};
inline constexpr slice server_ip{"store_params", MCU_STORE_SERVER_IP_OFFSET, 4};
inline constexpr slice server_port{"store_params", MCU_STORE_SERVER_PORT_OFFSET, 2};
inline constexpr slice net_mac{"net_info", offsetof(hi3861l_net_info, mac), 6};

inline constexpr slice battery_percent{"battery_status", 0, 1};
inline constexpr slice battery_millivolt{"battery_status", 1, 2};
inline constexpr slice pir_switch{"pir_info", 0, 1};
inline constexpr slice pir_sensitivity{"pir_info", 1, 1};
inline constexpr slice wifi_state{"wifi_status", 0, 1};
inline constexpr slice wifi_ssid{"wifi_status", 1, 33};
inline constexpr slice wifi_rssi{"wifi_status", 34, 1};
inline constexpr slice version{"version", 0, MCU_VERSION_SIZE};
inline constexpr slice soc_min_version{"soc_min_version", 0, MCU_SOC_MIN_VERSION_SIZE};
inline constexpr slice wdg_state{"wdg_state_byte", 0, 1};
inline constexpr slice scan_selector{"wifi_scanf_info", 0, 1};

inline constexpr slice system_state{"status_info", 0, 1};
inline constexpr slice led{"status_info", 1, 1};
inline constexpr slice tamper_switch{"status_info", 2, 1};
inline constexpr slice uart_switch{"status_info", 3, 1};
inline constexpr slice ap_running{"status_info", 4, 1};
inline constexpr slice wdg_period{"status_info", 8, 4};
inline constexpr slice wdg_feeds{"status_info", 12, 4};
inline constexpr slice crash_tests{"status_info", 16, 4};

inline constexpr slice ap_start{"config_info", 0, MCU_AP_START_SIZE};
inline constexpr slice charge_auto_poweron{"config_info", MCU_AP_START_SIZE,
                                           MCU_CHARGE_AUTO_POWERON_SIZE};
inline constexpr slice wifi_extended_info{"wifi_extended_status", 0, MCU_WIFI_EXTENDED_INFO_SIZE};
inline constexpr slice wifi_keepalive{"wifi_extended_status", MCU_WIFI_EXTENDED_INFO_SIZE,
                                      MCU_WIFI_KEEPALIVE_SIZE};
static_assert(MCU_AP_START_SIZE + MCU_CHARGE_AUTO_POWERON_SIZE <= MCU_CONFIG_INFO_SIZE);
static_assert(MCU_WIFI_EXTENDED_INFO_SIZE + MCU_WIFI_KEEPALIVE_SIZE <=
              MCU_WIFI_EXTENDED_STATUS_SIZE);

}  // namespace place

// Throws std::out_of_range when the record is shorter.
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
