#include "answers.h"

#include <algorithm>

namespace quon::sim {
namespace {

struct request {
    chip_state& chip;
    byte_view payload;
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
    in.chip.records.at("wifi_connect").assign(in.payload.begin(), in.payload.end());
    const size_t room = place::kWifiSsid.size - 1;
    const auto end = std::find(in.payload.begin(),
                               in.payload.begin() + static_cast<ptrdiff_t>(room), uint8_t{0});
    set_text(in.chip, place::kWifiSsid, std::string(in.payload.begin(), end));
    set_number(in.chip, place::kWifiState, 1);
    return {};
}

outcome disconnect_wifi(const request& in) {
    set_number(in.chip, place::kWifiState, 0);
    return {};
}

outcome start_ap(const request& in) {
    std::ranges::copy(in.payload, view(in.chip, place::kApStart).begin());
    set_number(in.chip, place::kApRunning, 1);
    return {};
}

outcome stop_ap(const request& in) {
    set_number(in.chip, place::kApRunning, 0);
    return {};
}

outcome feed_watchdog(const request& in) {
    set_number(in.chip, place::kWdgFeeds, number(in.chip, place::kWdgFeeds) + 1);
    return {};
}

// The crash adds an entry to the error report: kind 1, then the time of the crash.
outcome crash_test(const request& in) {
    const uint32_t count = number(in.chip, place::kCrashTests) + 1;
    set_number(in.chip, place::kCrashTests, count);
    byte_list entry(kMcuErrReportEntrySize);
    entry[0] = 1;
    std::ranges::copy(in.chip.clock.read(in.now), entry.begin() + 1);
    put_le(entry, kMcuErrReportEntrySize - 4, 4, count);
    append_entry(in.chip.records.at("err_report"), entry);
    return {};
}

outcome run_command(const request& in) {
    in.chip.last_command.assign(in.payload.begin(), in.payload.end());
    return {};
}

outcome scan_wifi(const request& in) {
    set_number(in.chip, place::kScanSelector, in.payload[0]);
    return {in.chip.records.at("wifi_scanf_info"), ""};
}

outcome add_soc_time(const request& in) {
    std::ranges::copy(in.payload, in.chip.records.at("soc_poweron_time_info").begin());
    append_entry(in.chip.records.at("soc_time_list"), in.payload);
    std::ranges::copy(in.payload, in.chip.records.at("soc_time_cur").begin());
    return {};
}

// Bytes 0 to 3 are the number of bytes received, byte 4 says whether the block was accepted.
outcome upgrade_answer(const upgrade& image, bool accepted) {
    byte_list body(kHi3861lUpgAnswerOffset + 1);
    put_le(body, 0, 4, static_cast<uint32_t>(image.received()));
    body[kHi3861lUpgAnswerOffset] = accepted ? kHi3861lUpgAccepted : 0;
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

constexpr int kAnySize = -1;

// Messages whose effect the catalog does not describe: they store their payload in a place chosen
// by this chip, or do something. Every other query is answered with its record, and every other set
// command stores its record where the matching query finds it.
struct row {
    uint8_t type;
    int request_size;
    slice stored{"", 0, 0};
    action act = nullptr;
};

constexpr row stores(uint8_t type, slice where) {
    return {.type = type, .request_size = static_cast<int>(where.size), .stored = where};
}
constexpr row does(uint8_t type, int request_size, action act) {
    return {.type = type, .request_size = request_size, .act = act};
}

// clang-format off
constexpr row kTable[] = {
    does  (HI3861L_SET_TIME,                  kMcuTimeSize,        set_time),
    does  (HI3861L_GET_TIME,                  kAnySize,            get_time),
    stores(HI3861L_SET_LED,                   place::kLed),
    stores(HI3861L_SET_PIR_SWITCH,            place::kPirSwitch),
    stores(HI3861L_SET_PIR_SENSITIVITY,       place::kPirSensitivity),
    does  (HI3861L_SET_WIFI_CONNECT,          kMcuWifiConnectSize, connect_wifi),
    does  (HI3861L_SET_WIFI_DISCONNECT,       0,                   disconnect_wifi),
    stores(HI3861L_SET_WIFI_KEEPALIVE,        place::kWifiKeepalive),
    stores(HI3861L_SET_SYSTEM_STATE,          place::kSystemState),
    does  (HI3861L_UPG_START,                 kAnySize,            start_upgrade),
    does  (HI3861L_UPG_TRANSMIT,              kAnySize,            take_block),
    does  (HI3861L_UPG_FINISH,                0,                   finish_upgrade),
    stores(HI3861L_SET_WDG_STATE,             place::kWdgState),
    stores(HI3861L_SET_WDG_PERIOD,            place::kWdgPeriod),
    does  (HI3861L_SET_WDG_FEED,              0,                   feed_watchdog),
    does  (HI3861L_SET_AP_START,              kMcuApStartSize,     start_ap),
    does  (HI3861L_SET_AP_STOP,               0,                   stop_ap),
    does  (HI3861L_SET_CRASH_TEST,            0,                   crash_test),
    stores(HI3861L_SET_WIFI_EXTENDED_INFO,    place::kWifiExtendedInfo),
    stores(HI3861L_SET_UART_SWITCH,           place::kUartSwitch),
    stores(HI3861L_SET_CHARGE_AUTO_POWERON,   place::kChargeAutoPoweron),
    does  (HI3861L_SET_CMD,                   kAnySize,            run_command),
    stores(HI3861L_SET_TAMPER_SWITCH,         place::kTamperSwitch),
    does  (HI3861L_GET_WIFI_SCANF_INFO,       1,                   scan_wifi),
    does  (HI3861L_SET_SOC_POWERON_TIME_INFO, kMcuSocTimeInfoSize, add_soc_time),
};
// clang-format on

std::optional<outcome> size_refusal(int expected, byte_view payload) {
    if (expected == kAnySize || payload.size() == static_cast<size_t>(expected)) {
        return std::nullopt;
    }
    return outcome{std::nullopt, "ignored: " + std::to_string(payload.size()) +
                                     " bytes, expected " + std::to_string(expected)};
}

outcome by_row(const row& known, chip_state& chip, byte_view payload, chip_clock::time_point now) {
    if (const auto refusal = size_refusal(known.request_size, payload)) {
        return *refusal;
    }
    if (!known.stored.record.empty()) {
        std::ranges::copy(payload, view(chip, known.stored).begin());
        return {};
    }
    return known.act({chip, payload, now});
}

}  // namespace

outcome answer_by_catalog(chip_state& chip, const catalog::message& message, byte_view payload) {
    if (message.timeout_ms != 0) {
        return {chip.records.at(message.reply->name), ""};
    }
    const bool sized = message.request == nullptr || message.request->size != 0;
    const int expected = message.request == nullptr ? 0 : static_cast<int>(message.request->size);
    if (const auto refusal = size_refusal(sized ? expected : kAnySize, payload)) {
        return *refusal;
    }
    if (message.request != nullptr) {
        chip.records.at(chip.records.stored_as(message)).assign(payload.begin(), payload.end());
    }
    return {};
}

bool has_answer(uint8_t type) {
    const catalog::message* message = catalog::find_message(type);
    return message != nullptr && message->timeout_ms != 0;
}

outcome answer_message(chip_state& chip, uint8_t type, byte_view payload,
                       chip_clock::time_point now) {
    const auto known = std::ranges::find(kTable, type, &row::type);
    if (known != std::end(kTable)) {
        return by_row(*known, chip, payload, now);
    }
    const catalog::message* message = catalog::find_message(type);
    const bool from_the_host = message != nullptr && !message->name.starts_with("event_");
    return from_the_host ? answer_by_catalog(chip, *message, payload)
                         : outcome{std::nullopt, "ignored: no such message"};
}

}  // namespace quon::sim
