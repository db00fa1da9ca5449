// The simulated chip's whole state. Records are the bytes of its answers; a set command's data is
// stored where the matching answer shows it.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "catalog/catalog.h"
#include "chip_clock.h"
#include "hi3861l_protocol.h"
#include "mcu_records.h"
#include "shared/bytes.h"
#include "upgrade.h"

namespace quon::sim {

// The records under the catalog's names: one per query's answer, and one per set command without a
// matching query, under the command's name without "set_".
class record_store {
  public:
    // The messages must outlive this object.
    explicit record_store(std::span<const catalog::message> messages = catalog::messages());

    // Throws std::out_of_range for an unknown name.
    byte_list& at(std::string_view name);
    const byte_list& at(std::string_view name) const;

    // The name of the record that a set command stores.
    [[nodiscard]] std::string_view stored_as(const catalog::message& command) const;

    [[nodiscard]] const std::map<std::string_view, byte_list>& all() const { return records_; }

  private:
    std::span<const catalog::message> messages_;
    std::map<std::string_view, byte_list> records_;
};

struct chip_state {
    chip_state();

    record_store records;
    byte_list last_command;  // of set_cmd
    chip_clock clock;
    upgrade image;
};

// A range of bytes in a record.
struct slice {
    std::string_view record;
    size_t offset;
    size_t size;
};

// Where the simulated chip stores values. Offsets that the protocol does not define are this chip's
// own.
namespace place {

inline constexpr slice kWakeupReason{"wakeup_info", kMcuWakeupReasonOffset, 1};
inline constexpr slice kWakeupMac{"wakeup_info", kMcuWakeupMacOffset, 6};
inline constexpr slice kWakeupTime1{"wakeup_info", kMcuWakeupTime1Offset, 4};
inline constexpr slice kWakeupTime2{"wakeup_info", kMcuWakeupTime2Offset, 4};
inline constexpr slice kServerIp{"store_params", kMcuStoreServerIpOffset, 4};
inline constexpr slice kServerPort{"store_params", kMcuStoreServerPortOffset, 2};
inline constexpr slice kNetMac{"net_info", offsetof(hi3861l_net_info, mac), 6};

inline constexpr slice kBatteryPercent{"battery_status", 0, 1};
inline constexpr slice kBatteryMillivolt{"battery_status", 1, 2};
inline constexpr slice kPirSwitch{"pir_info", 0, 1};
inline constexpr slice kPirSensitivity{"pir_info", 1, 1};
inline constexpr slice kWifiState{"wifi_status", 0, 1};
inline constexpr slice kWifiSsid{"wifi_status", 1, 33};
inline constexpr slice kWifiRssi{"wifi_status", 34, 1};
inline constexpr slice kVersion{"version", 0, kMcuVersionSize};
inline constexpr slice kSocMinVersion{"soc_min_version", 0, kMcuSocMinVersionSize};
inline constexpr slice kWdgState{"wdg_state_byte", 0, 1};
inline constexpr slice kScanSelector{"wifi_scanf_info", 0, 1};

inline constexpr slice kSystemState{"status_info", 0, 1};
inline constexpr slice kLed{"status_info", 1, 1};
inline constexpr slice kTamperSwitch{"status_info", 2, 1};
inline constexpr slice kUartSwitch{"status_info", 3, 1};
inline constexpr slice kApRunning{"status_info", 4, 1};
inline constexpr slice kWdgPeriod{"status_info", 8, 4};
inline constexpr slice kWdgFeeds{"status_info", 12, 4};
inline constexpr slice kCrashTests{"status_info", 16, 4};

inline constexpr slice kApStart{"config_info", 0, kMcuApStartSize};
inline constexpr slice kChargeAutoPoweron{"config_info", kMcuApStartSize,
                                          kMcuChargeAutoPoweronSize};
inline constexpr slice kWifiExtendedInfo{"wifi_extended_status", 0, kMcuWifiExtendedInfoSize};
inline constexpr slice kWifiKeepalive{"wifi_extended_status", kMcuWifiExtendedInfoSize,
                                      kMcuWifiKeepaliveSize};
static_assert(kMcuApStartSize + kMcuChargeAutoPoweronSize <= kMcuConfigInfoSize);
static_assert(kMcuWifiExtendedInfoSize + kMcuWifiKeepaliveSize <= kMcuWifiExtendedStatusSize);

}  // namespace place

// Throws std::out_of_range if the record is shorter.
std::span<uint8_t> view(chip_state& chip, const slice& where);
byte_view view(const chip_state& chip, const slice& where);

// An integer of 1 to 4 bytes.
uint32_t number(const chip_state& chip, const slice& where);
void set_number(chip_state& chip, const slice& where, uint32_t value);

// A text that ends at its first zero byte. The last byte of the range stays zero.
std::string text(const chip_state& chip, const slice& where);
void set_text(chip_state& chip, const slice& where, std::string_view value);

hi3861l_net_info net_record(const chip_state& chip);
void set_net_record(chip_state& chip, const hi3861l_net_info& record);
void set_battery(chip_state& chip, uint32_t percent);

// A list record keeps its newest entries, newest last; a full list loses its oldest.
void append_entry(byte_list& list, byte_view entry);

}  // namespace quon::sim
