#include "properties.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "text_values.h"

namespace quon::sim {
namespace {

// The families of properties, each with its place in the records.

property numeric(std::string_view name, const slice& where) {
    const uint32_t limit = where.size >= 4 ? ~uint32_t{0} : (1U << (8 * where.size)) - 1;
    return {.name = std::string(name),
            .value_help = "NUMBER",
            .get = [where](simulator& sim) { return std::to_string(number(sim.chip(), where)); },
            .set =
                [where, limit](simulator& sim, std::string_view value) {
                    set_number(sim.chip(), where, parse_number(value, limit, "value"));
                },
            .number = true};
}

property textual(std::string_view name, const slice& where) {
    return {.name = std::string(name),
            .value_help = "TEXT",
            .get = [where](simulator& sim) { return text(sim.chip(), where); },
            .set = [where](simulator& sim,
                           std::string_view value) { set_text(sim.chip(), where, value); }};
}

property address(std::string_view name, std::string_view help, const slice& where,
                 byte_list (*parse)(std::string_view), std::string (*show)(byte_view)) {
    return {.name = std::string(name),
            .value_help = help,
            .get = [where, show](simulator& sim) { return show(view(sim.chip(), where)); },
            .set =
                [where, parse](simulator& sim, std::string_view value) {
                    std::ranges::copy(parse(value), view(sim.chip(), where).begin());
                }};
}

property hardware(std::string_view name, const slice& where) {
    return address(name, "MAC", where, parse_mac, show_mac);
}

property binary(std::string_view name, const slice& where) {
    return {.name = std::string(name),
            .value_help = "HEX",
            .get = [where](simulator& sim) { return show_hex(view(sim.chip(), where)); },
            .set =
                [where](simulator& sim, std::string_view value) {
                    const byte_list data = parse_hex(value);
                    if (data.size() != where.size) {
                        throw bad_value(std::to_string(data.size()) + " bytes, expected " +
                                        std::to_string(where.size));
                    }
                    std::ranges::copy(data, view(sim.chip(), where).begin());
                },
            .octets = where.size};
}

property read_only(std::string_view name, std::string (*get)(simulator&)) {
    return {.name = std::string(name), .value_help = "", .get = get, .set = nullptr};
}

property counter(std::string_view name, std::string (*get)(simulator&)) {
    property made = read_only(name, get);
    made.number = true;
    return made;
}

std::string get_server(simulator& sim) {
    return show_ipv4(view(sim.chip(), place::kServerIp)) + ":" +
           std::to_string(number(sim.chip(), place::kServerPort));
}
void set_server(simulator& sim, std::string_view value) {
    const server_address server = parse_server(value);
    std::ranges::copy(server.ip, view(sim.chip(), place::kServerIp).begin());
    set_number(sim.chip(), place::kServerPort, server.port);
}

std::string get_net(simulator& sim) {
    return show_net(net_record(sim.chip()));
}
void set_net(simulator& sim, std::string_view value) {
    set_net_record(sim.chip(), parse_net(value, net_record(sim.chip())).record);
}

void set_all_macs(simulator& sim, std::string_view value) {
    for (const slice& where : {place::kNetMac, place::kWakeupMac}) {
        std::ranges::copy(parse_mac(value), view(sim.chip(), where).begin());
    }
}

std::string get_net_mac(simulator& sim) {
    return show_mac(view(sim.chip(), place::kNetMac));
}

std::string get_battery_percent(simulator& sim) {
    return std::to_string(number(sim.chip(), place::kBatteryPercent));
}
void set_battery_percent(simulator& sim, std::string_view value) {
    set_battery(sim.chip(), parse_number(value, 100, "battery"));
}

std::string get_time(simulator& sim) {
    const byte_list record = sim.chip().clock.read(event_loop::clock::now());
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
    byte_list record(kMcuTimeSize);
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

// clang-format off
const std::vector<property> kNamed = {
    numeric("wakeup-reason", place::kWakeupReason),
    {"server", "ADDRESS:PORT, or none", get_server, set_server},
    textual("firmware-version", place::kVersion),
    textual("soc-min-version", place::kSocMinVersion),
    {"battery", "PERCENT", get_battery_percent, set_battery_percent, 0, true},
    {"net", "ADDRESS/PREFIX [gw A] [dns A[,A]] [mac M]", get_net, set_net},
    {"mac", "MAC (of the network record and of the wake-up info)", get_net_mac, set_all_macs},
    hardware("wakeup-mac", place::kWakeupMac),
    numeric("wakeup-time1", place::kWakeupTime1),
    numeric("wakeup-time2", place::kWakeupTime2),
    {"time", "YYYY-MM-DD HH:MM:SS", get_time, set_time},
    numeric("led", place::kLed),
    numeric("pir-switch", place::kPirSwitch),
    numeric("pir-sensitivity", place::kPirSensitivity),
    numeric("wifi-state", place::kWifiState),
    textual("wifi-ssid", place::kWifiSsid),
    numeric("scan-selector", place::kScanSelector),
    numeric("system-state", place::kSystemState),
    numeric("uart-switch", place::kUartSwitch),
    numeric("tamper-switch", place::kTamperSwitch),
    numeric("ap-running", place::kApRunning),
    numeric("wdg-state", place::kWdgState),
    numeric("wdg-period", place::kWdgPeriod),
    numeric("wdg-feeds", place::kWdgFeeds),
    numeric("crash-tests", place::kCrashTests),
    {"silent", "0 or 1", get_silent, set_silent, 0, true},
    read_only("upgrade-state",    [](simulator& sim) { return sim.chip().image.state(); }),
    counter("upgrade-kind",       [](simulator& sim) { return std::to_string(sim.chip().image.kind()); }),
    counter("upgrade-size",       [](simulator& sim) { return std::to_string(sim.chip().image.size()); }),
    counter("upgrade-blocks",     [](simulator& sim) { return std::to_string(sim.chip().image.blocks()); }),
    counter("upgrade-bytes",      [](simulator& sim) { return std::to_string(sim.chip().image.received()); }),
    read_only("upgrade-checksum", get_upgrade_checksum),
    read_only("upgrade-refusal",  [](simulator& sim) { return sim.chip().image.refusal(); }),
    counter("host",               [](simulator& sim) { return std::string(sim.link().host_present() ? "1" : "0"); }),
    counter("frames-in",          [](simulator& sim) { return std::to_string(sim.frames_in()); }),
    counter("frames-out",         [](simulator& sim) { return std::to_string(sim.frames_out()); }),
    read_only("command",          get_command),
    binary("wifi-keepalive", place::kWifiKeepalive),
    binary("wifi-extended-info", place::kWifiExtendedInfo),
    binary("ap-start", place::kApStart),
    binary("charge-auto-poweron", place::kChargeAutoPoweron),
};
// clang-format on

// One field defined by the camera's maker: "battery-status.charge".
property defined(const std::string& name, const slice& where, catalog::field_kind kind) {
    switch (kind) {
        case catalog::field_kind::text:
            return textual(name, where);
        case catalog::field_kind::ipv4:
            return address(name, "ADDRESS", where, parse_ipv4, show_ipv4);
        case catalog::field_kind::mac:
            return hardware(name, where);
        case catalog::field_kind::bytes:
            return binary(name, where);
        default:
            return numeric(name, where);  // a signed value as its byte
    }
}

void add_defined(std::vector<property>& all, std::string_view record, size_t size,
                 const std::string& shown) {
    const catalog::record* known = catalog::find_record(record);
    if (known == nullptr || !known->is_makers || known->entry_size != 0) {
        return;
    }
    for (const catalog::field& each : known->fields) {
        const size_t own = each.size != 0 ? each.size : size - std::min<size_t>(size, each.offset);
        if (own != 0 && each.offset + own <= size) {
            all.push_back(defined(shown + "." + std::string(each.name), {record, each.offset, own},
                                  each.kind));
        }
    }
}

// The table's properties, and in hex each of the chip's records without a property of its name.
std::vector<property> all_properties() {
    std::vector<property> all = kNamed;
    const record_store records;
    for (const auto& [record, content] : records.all()) {
        std::string name(record);
        std::ranges::replace(name, '_', '-');
        const bool taken = std::ranges::find(all, name, &property::name) != all.end();
        if (!taken && !content.empty()) {
            all.push_back(binary(name, {record, 0, content.size()}));
        }
        add_defined(all, record, content.size(), name);
    }
    return all;
}

}  // namespace

// Rebuilt if records have been defined since.
std::span<const property> properties() {
    static std::vector<property> all;
    static std::ptrdiff_t defined = -1;
    const std::ptrdiff_t now = std::ranges::count_if(
        catalog::records(), [](const catalog::record* each) { return each->is_makers; });
    if (now != defined) {
        all = all_properties();
        defined = now;
    }
    return all;
}

const property& find_property(std::string_view name) {
    const auto found = std::ranges::find(properties(), name, &property::name);
    if (found == properties().end()) {
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
