#include "answers.h"

#include <algorithm>

namespace quon::sim {
namespace {

struct request {
    chip_state& chip;
    bytes_view payload;
    chip_clock::time_point now;
};

using action = outcome (*)(const request&);

outcome set_time(const request& in) {
    in.chip.clock.set(in.payload, in.now);
    return {};
}

outcome get_time(const request& in) {
    return {in.chip.clock.read(in.now), ""};
}

outcome connect_wifi(const request& in) {
    in.chip.wifi_connect.assign(in.payload.begin(), in.payload.end());
    const size_t room = place::wifi_ssid.size - 1;
    const auto end = std::find(in.payload.begin(),
                               in.payload.begin() + static_cast<ptrdiff_t>(room), uint8_t{0});
    set_text(in.chip, place::wifi_ssid, std::string(in.payload.begin(), end));
    set_number(in.chip, place::wifi_state, 1);
    return {};
}

outcome disconnect_wifi(const request& in) {
    set_number(in.chip, place::wifi_state, 0);
    return {};
}

outcome start_ap(const request& in) {
    std::ranges::copy(in.payload, view(in.chip, place::ap_start).begin());
    set_number(in.chip, place::ap_running, 1);
    return {};
}

outcome stop_ap(const request& in) {
    set_number(in.chip, place::ap_running, 0);
    return {};
}

outcome feed_watchdog(const request& in) {
    set_number(in.chip, place::wdg_feeds, number(in.chip, place::wdg_feeds) + 1);
    return {};
}

// The crash leaves an entry in the error report: kind 1, then the time of the crash.
outcome crash_test(const request& in) {
    const uint32_t count = number(in.chip, place::crash_tests) + 1;
    set_number(in.chip, place::crash_tests, count);
    bytes entry(MCU_ERR_REPORT_ENTRY_SIZE);
    entry[0] = 1;
    std::ranges::copy(in.chip.clock.read(in.now), entry.begin() + 1);
    put_le(entry, MCU_ERR_REPORT_ENTRY_SIZE - 4, 4, count);
    append_entry(in.chip.err_report, entry);
    return {};
}

outcome run_command(const request& in) {
    in.chip.last_command.assign(in.payload.begin(), in.payload.end());
    return {};
}

outcome scan_wifi(const request& in) {
    set_number(in.chip, place::scan_selector, in.payload[0]);
    return {in.chip.scan_info, ""};
}

outcome add_soc_time(const request& in) {
    append_entry(in.chip.soc_time_list, in.payload);
    std::ranges::copy(in.payload, in.chip.soc_time_cur.begin());
    return {};
}

// Bytes 0 to 3 say how many bytes the chip holds, byte 4 whether it accepted.
outcome upgrade_answer(const upgrade& image, bool accepted) {
    bytes body(HI3861L_UPG_ANSWER_OFFSET + 1);
    put_le(body, 0, 4, static_cast<uint32_t>(image.received()));
    body[HI3861L_UPG_ANSWER_OFFSET] = accepted ? HI3861L_UPG_ACCEPTED : 0;
    return {body, accepted ? "" : "upgrade refused: " + image.refusal()};
}

outcome start_upgrade(const request& in) {
    return upgrade_answer(in.chip.image, in.chip.image.start(in.payload));
}

outcome take_block(const request& in) {
    return upgrade_answer(in.chip.image, in.chip.image.block(in.payload));
}

outcome finish_upgrade(const request& in) {
    in.chip.image.finish();
    return {std::nullopt, "upgrade " + in.chip.image.state() + ": " +
                              std::to_string(in.chip.image.received()) + " bytes"};
}

constexpr int any_size = -1;

// One message: it gives a record, or stores its payload, or acts.
struct row {
    uint8_t type;
    int request_size;
    chip_record given = nullptr;
    slice stored{nullptr, 0, 0};
    action act = nullptr;
    bool answered = false;
};

constexpr row gives(uint8_t type, chip_record record) {
    return {.type = type, .request_size = any_size, .given = record, .answered = true};
}
constexpr row stores(uint8_t type, slice where) {
    return {.type = type, .request_size = static_cast<int>(where.size), .stored = where};
}
constexpr row does(uint8_t type, int request_size, action act) {
    return {.type = type, .request_size = request_size, .act = act};
}
constexpr row asks(uint8_t type, int request_size, action act) {
    return {.type = type, .request_size = request_size, .act = act, .answered = true};
}

constexpr slice whole(chip_record record, size_t size) {
    return {record, 0, size};
}

// clang-format off
constexpr row table[] = {
    gives (HI3861L_GET_VERSION,               &chip_state::version),
    gives (HI3861L_GET_NET_INFO,              &chip_state::net),
    gives (HI3861L_GET_WAKEUP_INFO,           &chip_state::wakeup_info),
    does  (HI3861L_SET_TIME,                  MCU_TIME_SIZE, set_time),
    asks  (HI3861L_GET_TIME,                  any_size, get_time),
    stores(HI3861L_SET_LED,                   place::led),
    gives (HI3861L_GET_BATTERY_STATUS,        &chip_state::battery),
    stores(HI3861L_SET_PIR_SWITCH,            place::pir_switch),
    stores(HI3861L_SET_PIR_SENSITIVITY,       place::pir_sensitivity),
    gives (HI3861L_GET_PIR_INFO,              &chip_state::pir_info),
    does  (HI3861L_SET_WIFI_CONNECT,          MCU_WIFI_CONNECT_SIZE, connect_wifi),
    does  (HI3861L_SET_WIFI_DISCONNECT,       0, disconnect_wifi),
    gives (HI3861L_GET_WIFI_STATUS,           &chip_state::wifi_status),
    stores(HI3861L_SET_WIFI_KEEPALIVE,        place::wifi_keepalive),
    stores(HI3861L_SET_SYSTEM_STATE,          place::system_state),
    asks  (HI3861L_UPG_START,                 any_size, start_upgrade),
    asks  (HI3861L_UPG_TRANSMIT,              any_size, take_block),
    does  (HI3861L_UPG_FINISH,                0, finish_upgrade),
    stores(HI3861L_SET_STORE_PARAMS,          whole(&chip_state::store_params, MCU_STORE_PARAMS_SIZE)),
    gives (HI3861L_GET_STORE_PARAMS,          &chip_state::store_params),
    stores(HI3861L_SET_WDG_STATE,             whole(&chip_state::wdg_state, 1)),
    gives (HI3861L_GET_WDG_STATE,             &chip_state::wdg_state),
    stores(HI3861L_SET_WDG_PERIOD,            place::wdg_period),
    does  (HI3861L_SET_WDG_FEED,              0, feed_watchdog),
    stores(HI3861L_SET_ALARM,                 whole(&chip_state::alarm, MCU_ALARM_SIZE)),
    gives (HI3861L_GET_ALARM,                 &chip_state::alarm),
    does  (HI3861L_SET_AP_START,              MCU_AP_START_SIZE, start_ap),
    does  (HI3861L_SET_AP_STOP,               0, stop_ap),
    does  (HI3861L_SET_CRASH_TEST,            0, crash_test),
    stores(HI3861L_SET_WIFI_EXTENDED_INFO,    place::wifi_extended_info),
    gives (HI3861L_GET_ERR_REPORT,            &chip_state::err_report),
    gives (HI3861L_GET_SOC_MIN_VERSION,       &chip_state::soc_min_version),
    stores(HI3861L_SET_UART_SWITCH,           place::uart_switch),
    stores(HI3861L_SET_WAKEUP_INFO,           whole(&chip_state::wakeup_info, MCU_WAKEUP_INFO_SIZE)),
    stores(HI3861L_SET_PIR_INFO,              whole(&chip_state::pir_info, MCU_PIR_INFO_SIZE)),
    gives (HI3861L_GET_STATUS_INFO,           &chip_state::status_info),
    stores(HI3861L_SET_CHARGE_AUTO_POWERON,   place::charge_auto_poweron),
    does  (HI3861L_SET_CMD,                   any_size, run_command),
    stores(HI3861L_SET_TAMPER_SWITCH,         place::tamper_switch),
    gives (HI3861L_GET_CONFIG_INFO,           &chip_state::config_info),
    asks  (HI3861L_GET_WIFI_SCANF_INFO,       1, scan_wifi),
    gives (HI3861L_GET_WIFI_EXTENDED_STATUS,  &chip_state::extended_status),
    does  (HI3861L_SET_SOC_POWERON_TIME_INFO, MCU_SOC_TIME_INFO_SIZE, add_soc_time),
    gives (HI3861L_GET_SOC_POWERON_TIME_LIST, &chip_state::soc_time_list),
    gives (HI3861L_GET_SOC_POWERON_TIME_CUR,  &chip_state::soc_time_cur),
};
// clang-format on

const row* find_row(uint8_t type) {
    const auto found = std::ranges::find(table, type, &row::type);
    return found == std::end(table) ? nullptr : &*found;
}

}  // namespace

bool has_answer(uint8_t type) {
    const row* known = find_row(type);
    return known != nullptr && known->answered;
}

outcome answer_message(chip_state& chip, uint8_t type, bytes_view payload,
                       chip_clock::time_point now) {
    const row* known = find_row(type);
    if (known == nullptr) {
        return {std::nullopt, "ignored: no such message"};
    }
    if (known->request_size != any_size &&
        payload.size() != static_cast<size_t>(known->request_size)) {
        return {std::nullopt, "ignored: " + std::to_string(payload.size()) + " bytes, expected " +
                                  std::to_string(known->request_size)};
    }
    if (known->given != nullptr) {
        return {chip.*known->given, ""};
    }
    if (known->stored.record != nullptr) {
        std::ranges::copy(payload, view(chip, known->stored).begin());
        return {};
    }
    return known->act({chip, payload, now});
}

}  // namespace quon::sim
