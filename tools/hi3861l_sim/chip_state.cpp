#include "chip_state.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "text_values.h"

namespace quon::sim {
namespace {

constexpr std::string_view kSetPrefix = "set_";
constexpr std::string_view kDefaultVersion = "Hi3861L-SIM 1.0.0";
constexpr std::string_view kDefaultSocMinVersion = "1.0.0";
constexpr std::string_view kDefaultMac = "02:38:61:00:00:01";
constexpr std::string_view kDefaultNet = "192.168.1.20/24 gw 192.168.1.1 dns 8.8.8.8,1.1.1.1";
constexpr std::string_view kDefaultSsid = "quon-camera";
constexpr uint32_t kDefaultBattery = 80;
constexpr uint32_t kDefaultWdgPeriod = 60;
constexpr uint8_t kDefaultRssi = 0xC8;  // -56 dBm

// A scanned network: 33 bytes of name, 6 of address, 1 of signal strength.
void put_scan_entry(byte_list& scan, size_t index, std::string_view ssid, uint8_t last_octet) {
    constexpr size_t kEntrySize = 40;
    const size_t at = 1 + index * kEntrySize;
    std::ranges::copy(ssid, scan.begin() + static_cast<ptrdiff_t>(at));
    scan[at + 33] = 0x02;
    scan[at + 38] = last_octet;
    scan[at + 39] = kDefaultRssi;
}

// Records for which the catalog has no size.
struct record_size {
    std::string_view name;
    size_t size;
};
constexpr record_size kOwnSizes[] = {
    {"version", kMcuVersionSize},
    {"soc_min_version", kMcuSocMinVersionSize},
};

size_t size_of(const catalog::record& record) {
    const auto own = std::ranges::find(kOwnSizes, record.name, &record_size::name);
    return own == std::end(kOwnSizes) ? record.size : own->size;
}

bool is_set_command(const catalog::message& message) {
    return message.name.starts_with(kSetPrefix) && message.request != nullptr;
}

}  // namespace

record_store::record_store(std::span<const catalog::message> messages) : messages_(messages) {
    for (const catalog::message& message : messages) {
        if (message.timeout_ms != 0) {
            records_.try_emplace(message.reply->name, size_of(*message.reply));
        } else if (is_set_command(message)) {
            records_.try_emplace(stored_as(message), size_of(*message.request));
        }
    }
}

byte_list& record_store::at(std::string_view name) {
    return const_cast<byte_list&>(std::as_const(*this).at(name));
}

const byte_list& record_store::at(std::string_view name) const {
    const auto found = records_.find(name);
    if (found == records_.end()) {
        throw std::out_of_range("no record " + std::string(name));
    }
    return found->second;
}

std::string_view record_store::stored_as(const catalog::message& command) const {
    const bool answered = std::ranges::any_of(messages_, [&](const catalog::message& query) {
        return query.timeout_ms != 0 && query.reply == command.request;
    });
    return answered ? command.request->name : command.name.substr(kSetPrefix.size());
}

chip_state::chip_state() {
    set_text(*this, place::kVersion, kDefaultVersion);
    set_text(*this, place::kSocMinVersion, kDefaultSocMinVersion);
    set_net_record(*this, parse_net(kDefaultNet, {}).record);
    for (const slice& where : {place::kNetMac, place::kWakeupMac}) {
        std::ranges::copy(parse_mac(kDefaultMac), view(*this, where).begin());
    }
    set_battery(*this, kDefaultBattery);
    set_number(*this, place::kPirSwitch, 1);
    set_number(*this, place::kPirSensitivity, 5);
    set_number(*this, place::kWifiState, 1);
    set_text(*this, place::kWifiSsid, kDefaultSsid);
    set_number(*this, place::kWifiRssi, kDefaultRssi);
    set_number(*this, place::kWdgPeriod, kDefaultWdgPeriod);
    put_scan_entry(records.at("wifi_scanf_info"), 0, kDefaultSsid, 1);
    put_scan_entry(records.at("wifi_scanf_info"), 1, "neighbour", 2);
    clock.set(machine_time(), std::chrono::steady_clock::now());
}

std::span<uint8_t> view(chip_state& chip, const slice& where) {
    byte_list& record = chip.records.at(where.record);
    if (where.offset + where.size > record.size()) {
        throw std::out_of_range("outside the record " + std::string(where.record));
    }
    return std::span(record).subspan(where.offset, where.size);
}

byte_view view(const chip_state& chip, const slice& where) {
    return view(const_cast<chip_state&>(chip), where);
}

uint32_t number(const chip_state& chip, const slice& where) {
    return get_le(view(chip, where), 0, where.size);
}

void set_number(chip_state& chip, const slice& where, uint32_t value) {
    put_le(view(chip, where), 0, where.size, value);
}

std::string text(const chip_state& chip, const slice& where) {
    const byte_view area = view(chip, where);
    return {area.begin(), std::ranges::find(area, 0)};
}

void set_text(chip_state& chip, const slice& where, std::string_view value) {
    const std::span<uint8_t> area = view(chip, where);
    if (value.size() >= area.size()) {
        throw bad_value("text \"" + std::string(value) + "\" is longer than " +
                        std::to_string(area.size() - 1) + " bytes");
    }
    std::ranges::fill(area, uint8_t{0});
    std::ranges::copy(value, area.begin());
}

hi3861l_net_info net_record(const chip_state& chip) {
    hi3861l_net_info record{};
    std::memcpy(&record, chip.records.at("net_info").data(), sizeof record);
    return record;
}

void set_net_record(chip_state& chip, const hi3861l_net_info& record) {
    std::memcpy(chip.records.at("net_info").data(), &record, sizeof record);
}

void set_battery(chip_state& chip, uint32_t percent) {
    set_number(chip, place::kBatteryPercent, percent);
    set_number(chip, place::kBatteryMillivolt, 3300 + percent * 9);
}

void append_entry(byte_list& list, byte_view entry) {
    const size_t room = (list.size() - 1) / entry.size();
    if (list[0] >= room) {
        std::rotate(list.begin() + 1, list.begin() + 1 + static_cast<ptrdiff_t>(entry.size()),
                    list.end());
        list[0] = static_cast<uint8_t>(room - 1);
    }
    std::ranges::copy(entry, list.begin() + 1 + static_cast<ptrdiff_t>(list[0] * entry.size()));
    list[0]++;
}

}  // namespace quon::sim
