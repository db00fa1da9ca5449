// Datagrams from the chip, as answers and unsolicited, through the channel and the driver:
// exchanges, events, network updates.
#include <pthread.h>

#include <memory>

#include "fake_chip.h"
#include "harness.h"
#include "hi3861l_dev.h"
#include "hichannel_host.h"
#include "quon_log.h"

namespace quon::fuzz {

namespace {

constexpr std::string_view kOutcomes[] = {
    "an exchange was answered",
    "an exchange had no answer",
    "a list was answered",
    "a text was answered",
    "an event was taken",
    "no event was there",
    "the network was updated",
    "a command was sent",
    "an upgrade block was accepted",
    "a command was refused",
    "a channel could not be opened",
};

constexpr mcu_query mcu_ops::*kQueries[] = {
    &mcu_ops::get_wakeup_info,
    &mcu_ops::get_time,
    &mcu_ops::get_battery_status,
    &mcu_ops::get_pir_info,
    &mcu_ops::get_wifi_status,
    &mcu_ops::get_store_params,
    &mcu_ops::get_wdg_state,
    &mcu_ops::get_alarm,
    &mcu_ops::get_status_info,
    &mcu_ops::get_config_info,
    &mcu_ops::get_wifi_extended_status,
    &mcu_ops::get_soc_poweron_time_cur_info,
};

constexpr mcu_query mcu_ops::*kLists[] = {&mcu_ops::get_err_report,
                                          &mcu_ops::get_soc_poweron_time_info_list};
constexpr mcu_text_query mcu_ops::*kTexts[] = {&mcu_ops::get_version,
                                               &mcu_ops::get_soc_min_version};

const mcu_ops& ops() {
    return *hi3861l_get_ops_handle();
}

// Exactly as many bytes as the contract says.
struct Area {
    explicit Area(std::size_t size) : bytes(new std::uint8_t[size]()) {}
    std::unique_ptr<std::uint8_t[]> bytes;
};

template <std::size_t Count, typename Slot>
Slot chosen(const Slot (&slots)[Count], Input& input) {
    return slots[input.byte() % Count];
}

void note_exchange(std::int32_t result, std::string_view answered) {
    require(result == 0 || result == -1, "an exchange ends with 0 or -1");
    saw(result == 0 ? answered : "an exchange had no answer");
}

void query(Input& input) {
    const auto slot = chosen(kQueries, input);
    chip().answer_next(take_datagrams(input));
    const Area area(kMcuReplyAreaSize);
    note_exchange((ops().*slot)(area.bytes.get()), "an exchange was answered");
}

void list(Input& input) {
    const auto slot = chosen(kLists, input);
    chip().answer_next(take_datagrams(input));
    const Area area(kMcuReplyAreaSize);
    note_exchange((ops().*slot)(area.bytes.get()), "a list was answered");
}

void text(Input& input) {
    const auto slot = chosen(kTexts, input);
    chip().answer_next(take_datagrams(input));
    const Area area(kMcuReplyAreaSize);
    note_exchange((ops().*slot)(reinterpret_cast<char*>(area.bytes.get())), "a text was answered");
}

void scan(Input& input) {
    const std::uint8_t selector = input.byte();
    chip().answer_next(take_datagrams(input));
    const Area area(kMcuReplyAreaSize);
    note_exchange(ops().get_wifi_scanf_info(selector, area.bytes.get()),
                  "an exchange was answered");
}

void upgrade(Input& input) {
    chip().answer_next(take_datagrams(input));
    chip().answer_next(take_datagrams(input));
    note_exchange(ops().upg_start(1, 2), "an exchange was answered");
    Bytes block = input.piece();
    block.resize(kMcuUpgBlockSize);
    block.shrink_to_fit();
    if (ops().upg_transmit(block.data()) == 0) {
        saw("an upgrade block was accepted");
    }
}

void command(Input& input) {
    chip().takes = input.byte() % 8 != 7;
    const Bytes body = input.piece();
    const auto length = static_cast<std::int32_t>(input.number(4));
    // The contract: the caller's bytes are there when the length is taken.
    const bool fits = length >= 0 && static_cast<std::size_t>(length) <= body.size();
    const bool refused = ops().set_cmd(body.data(), fits ? length : -1) != 0;
    saw(refused ? "a command was refused" : "a command was sent");
    Bytes time = body;
    time.resize(kMcuTimeSize);
    (void)ops().set_time(time.data());
    chip().takes = true;
}

void take_event(Input& /*input*/) {
    const Area event(kMcuEventInfoSize);
    saw(ops().get_event_info(event.bytes.get()) == 0 ? "an event was taken" : "no event was there");
}

// Anything that the chip sends unasked; commands may fail meanwhile.
void arrival(Input& input) {
    chip().command_result = input.byte() % 4 == 3 ? -1 : 0;
    chip().deliver(take_datagrams(input));
    chip().command_result = 0;
    const Area info(kMcuWifiInfoSize);
    require(ops().get_wifi_info(info.bytes.get()) == 0, "the Wi-Fi info is always there");
    std::uint32_t updated = 0;
    require(ops().get_ipaddr_update_status(&updated) == 0, "the update status is always there");
    if (updated != 0) {
        saw("the network was updated");
    }
}

void start_driver(Input& input) {
    const std::uint8_t choice = input.byte();
    chip().opens = choice != 0xff;
    if (!chip().opens) {
        saw("a channel could not be opened");
    }
    chip().answer_next(take_datagrams(input));
    require(ops().init() == 0, "a start succeeds");
}

using Step = void (*)(Input& input);
constexpr Step kSteps[] = {arrival, query, list, text, scan, upgrade, command, take_event};

}  // namespace

std::span<const std::string_view> outcomes() {
    return kOutcomes;
}

void run_input(Input& input) {
    chip().reset();
    QnLogProfile profile{};
    QnLogGetProfile(&profile);
    profile.level_limit = QN_LOG_DEBUG;
    QnLogSetProfile(profile);
    start_driver(input);
    while (!input.empty() && chip().opens) {
        kSteps[input.byte() % std::size(kSteps)](input);
    }
    require(ops().deinit() == 0, "a stop succeeds");
}

}  // namespace quon::fuzz

extern "C" {

int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                          void* (*function)(void*), void* argument);

// The receive thread's function runs where the harness calls it.
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                          void* (*function)(void*), void* argument) {
    return function == hi_channel_host_thread
               ? 0
               : __real_pthread_create(thread, attributes, function, argument);
}
}
