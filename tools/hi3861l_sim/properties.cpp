#include "properties.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "text_values.h"

namespace quon::sim {
namespace {

// The families of properties; each names its place at compile time.

template <slice Where>
std::string get_number(simulator& sim) {
    return std::to_string(number(sim.chip(), Where));
}
template <slice Where>
void set_number_text(simulator& sim, std::string_view value) {
    const uint32_t limit = Where.size >= 4 ? ~uint32_t{0} : (1U << (8 * Where.size)) - 1;
    set_number(sim.chip(), Where, parse_number(value, limit, "value"));
}

template <slice Where>
std::string get_text(simulator& sim) {
    return text(sim.chip(), Where);
}
template <slice Where>
void set_text_value(simulator& sim, std::string_view value) {
    set_text(sim.chip(), Where, value);
}

template <slice Where>
std::string get_bytes(simulator& sim) {
    return show_hex(view(sim.chip(), Where));
}
template <slice Where>
void set_bytes(simulator& sim, std::string_view value) {
    const bytes data = parse_hex(value);
    if (data.size() != Where.size) {
        throw bad_value(std::to_string(data.size()) + " bytes, expected " +
                        std::to_string(Where.size));
    }
    std::ranges::copy(data, view(sim.chip(), Where).begin());
}

template <slice Where>
std::string get_mac(simulator& sim) {
    return show_mac(view(sim.chip(), Where));
}
template <slice Where>
void set_mac(simulator& sim, std::string_view value) {
    std::ranges::copy(parse_mac(value), view(sim.chip(), Where).begin());
}

template <slice Where>
constexpr property numeric(std::string_view name) {
    return {name, "NUMBER", get_number<Where>, set_number_text<Where>};
}
template <slice Where>
constexpr property textual(std::string_view name) {
    return {name, "TEXT", get_text<Where>, set_text_value<Where>};
}
template <slice Where>
constexpr property binary(std::string_view name) {
    return {name, "HEX", get_bytes<Where>, set_bytes<Where>, Where.size};
}
template <slice Where>
constexpr property hardware(std::string_view name) {
    return {name, "MAC", get_mac<Where>, set_mac<Where>};
}

template <chip_record Record, size_t Size>
inline constexpr slice all{Record, 0, Size};

std::string get_server(simulator& sim) {
    return show_ipv4(view(sim.chip(), place::server_ip)) + ":" +
           std::to_string(number(sim.chip(), place::server_port));
}
void set_server(simulator& sim, std::string_view value) {
    const server_address server = parse_server(value);
    std::ranges::copy(server.ip, view(sim.chip(), place::server_ip).begin());
    set_number(sim.chip(), place::server_port, server.port);
}

std::string get_net(simulator& sim) {
    return show_net(net_record(sim.chip()));
}
void set_net(simulator& sim, std::string_view value) {
    set_net_record(sim.chip(), parse_net(value, net_record(sim.chip())).record);
}

void set_all_macs(simulator& sim, std::string_view value) {
    set_mac<place::net_mac>(sim, value);
    set_mac<place::wakeup_mac>(sim, value);
}

void set_battery_percent(simulator& sim, std::string_view value) {
    set_battery(sim.chip(), parse_number(value, 100, "battery"));
}

std::string get_time(simulator& sim) {
    const bytes record = sim.chip().clock.read(event_loop::clock::now());
    const auto part = [&](size_t i) { return static_cast<int8_t>(record[i]); };
    std::array<char, 64> shown{};
    std::snprintf(shown.data(), shown.size(), "%04d-%02d-%02d %02d:%02d:%02d", part(0) + 2000,
                  part(1), part(2), part(3), part(4), part(5));
    return shown.data();
}
void set_time(simulator& sim, std::string_view value) {
    const std::string given(value);
    std::array<int, 6> part{};
    int end = -1;
    const int count = std::sscanf(given.c_str(), "%4d-%2d-%2d %2d:%2d:%2d%n", &part[0], &part[1],
                                  &part[2], &part[3], &part[4], &part[5], &end);
    if (count != 6 || static_cast<size_t>(end) != given.size()) {
        throw bad_value("time \"" + given + "\" is not YYYY-MM-DD HH:MM:SS");
    }
    bytes record(MCU_TIME_SIZE);
    part[0] -= 2000;
    std::ranges::transform(part, record.begin(), [](int n) { return static_cast<uint8_t>(n); });
    const bool fits = std::ranges::all_of(part, [](int n) { return n >= -128 && n <= 127; });
    if (!fits || !is_time(record)) {
        throw bad_value("time \"" + given + "\" is none, or outside the years 1872 to 2127");
    }
    sim.chip().clock.set(record, event_loop::clock::now());
}

std::string get_command(simulator& sim) {
    return show_hex(sim.chip().last_command);
}

std::string get_silent(simulator& sim) {
    return sim.faults().silent() ? "1" : "0";
}
void set_silent(simulator& sim, std::string_view value) {
    sim.faults().set_silent(parse_number(value, 1, "silent") == 1);
}

std::string get_upgrade_checksum(simulator& sim) {
    std::array<char, 16> shown{};
    std::snprintf(shown.data(), shown.size(), "%08x", sim.chip().image.checksum());
    return shown.data();
}

constexpr property read_only(std::string_view name, std::string (*get)(simulator&)) {
    return {name, "", get, nullptr};
}

// clang-format off
constexpr property table[] = {
    numeric<place::wakeup_reason>                ("wakeup-reason"),
    {"server", "ADDRESS:PORT, or none", get_server, set_server},
    textual<all<&chip_state::version, MCU_VERSION_SIZE>>("firmware-version"),
    textual<all<&chip_state::soc_min_version, MCU_SOC_MIN_VERSION_SIZE>>("soc-min-version"),
    {"battery", "PERCENT", get_number<place::battery_percent>, set_battery_percent},
    {"net", "ADDRESS/PREFIX [gw A] [dns A[,A]] [mac M]", get_net, set_net},
    {"mac", "MAC (of the network record and of the wake-up info)", get_mac<place::net_mac>, set_all_macs},
    hardware<place::wakeup_mac>                  ("wakeup-mac"),
    numeric<place::wakeup_time1>                 ("wakeup-time1"),
    numeric<place::wakeup_time2>                 ("wakeup-time2"),
    {"time", "YYYY-MM-DD HH:MM:SS", get_time, set_time},
    numeric<place::led>                          ("led"),
    numeric<place::pir_switch>                   ("pir-switch"),
    numeric<place::pir_sensitivity>              ("pir-sensitivity"),
    numeric<place::wifi_state>                   ("wifi-state"),
    textual<place::wifi_ssid>                    ("wifi-ssid"),
    numeric<place::scan_selector>                ("scan-selector"),
    numeric<place::system_state>                 ("system-state"),
    numeric<place::uart_switch>                  ("uart-switch"),
    numeric<place::tamper_switch>                ("tamper-switch"),
    numeric<place::ap_running>                   ("ap-running"),
    numeric<all<&chip_state::wdg_state, 1>>      ("wdg-state"),
    numeric<place::wdg_period>                   ("wdg-period"),
    numeric<place::wdg_feeds>                    ("wdg-feeds"),
    numeric<place::crash_tests>                  ("crash-tests"),
    {"silent", "0 or 1", get_silent, set_silent},
    read_only("upgrade-state",    [](simulator& sim) { return sim.chip().image.state(); }),
    read_only("upgrade-kind",     [](simulator& sim) { return std::to_string(sim.chip().image.kind()); }),
    read_only("upgrade-size",     [](simulator& sim) { return std::to_string(sim.chip().image.size()); }),
    read_only("upgrade-blocks",   [](simulator& sim) { return std::to_string(sim.chip().image.blocks()); }),
    read_only("upgrade-bytes",    [](simulator& sim) { return std::to_string(sim.chip().image.received()); }),
    read_only("upgrade-checksum", get_upgrade_checksum),
    read_only("upgrade-refusal",  [](simulator& sim) { return sim.chip().image.refusal(); }),
    read_only("host",             [](simulator& sim) { return std::string(sim.link().host_present() ? "1" : "0"); }),
    read_only("frames-in",        [](simulator& sim) { return std::to_string(sim.frames_in()); }),
    read_only("frames-out",       [](simulator& sim) { return std::to_string(sim.frames_out()); }),
    read_only("command",          get_command),
    binary<all<&chip_state::wakeup_info, MCU_WAKEUP_INFO_SIZE>>             ("wakeup-info"),
    binary<all<&chip_state::battery, MCU_BATTERY_STATUS_SIZE>>              ("battery-status"),
    binary<all<&chip_state::pir_info, MCU_PIR_INFO_SIZE>>                   ("pir-info"),
    binary<all<&chip_state::wifi_status, MCU_WIFI_STATUS_SIZE>>             ("wifi-status"),
    binary<all<&chip_state::wifi_connect, MCU_WIFI_CONNECT_SIZE>>           ("wifi-connect"),
    binary<place::wifi_keepalive>                                           ("wifi-keepalive"),
    binary<place::wifi_extended_info>                                       ("wifi-extended-info"),
    binary<all<&chip_state::extended_status, MCU_WIFI_EXTENDED_STATUS_SIZE>>("wifi-extended-status"),
    binary<all<&chip_state::scan_info, MCU_WIFI_SCANF_INFO_SIZE>>           ("wifi-scan-info"),
    binary<all<&chip_state::store_params, MCU_STORE_PARAMS_SIZE>>           ("store-params"),
    binary<all<&chip_state::alarm, MCU_ALARM_SIZE>>                         ("alarm"),
    binary<place::ap_start>                                                 ("ap-start"),
    binary<place::charge_auto_poweron>                                      ("charge-auto-poweron"),
    binary<all<&chip_state::err_report, MCU_ERR_REPORT_SIZE>>               ("err-report"),
    binary<all<&chip_state::status_info, MCU_STATUS_INFO_SIZE>>             ("status-info"),
    binary<all<&chip_state::config_info, MCU_CONFIG_INFO_SIZE>>             ("config-info"),
    binary<all<&chip_state::soc_time_list, MCU_SOC_TIME_LIST_SIZE>>         ("soc-time-list"),
    binary<all<&chip_state::soc_time_cur, MCU_SOC_TIME_CUR_SIZE>>           ("soc-time-cur"),
};
// clang-format on

}  // namespace

std::span<const property> properties() {
    return table;
}

const property& find_property(std::string_view name) {
    const auto found = std::ranges::find(table, name, &property::name);
    if (found == std::end(table)) {
        throw bad_value("name \"" + std::string(name) + "\" is not known; \"state\" lists all");
    }
    return *found;
}

void set_property(simulator& sim, std::string_view name, std::string_view value) {
    const property& known = find_property(name);
    if (known.set == nullptr) {
        throw bad_value(std::string(name) + " cannot be set");
    }
    known.set(sim, value);
}

}  // namespace quon::sim
