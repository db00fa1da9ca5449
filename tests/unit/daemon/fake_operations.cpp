#include "fake_operations.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <numeric>
#include <type_traits>

#include "captured_output.h"
#include "quon_log.h"

namespace quon::test {

namespace {

template <typename Value>
void record_argument(Call& call, Value value) {
    if constexpr (!std::is_pointer_v<Value>) {
        const std::size_t at = call.values.size();
        call.values.resize(at + sizeof(value));
        std::memcpy(&call.values[at], &value, sizeof(value));
    } else if constexpr (std::is_const_v<std::remove_pointer_t<Value>>) {
        call.input = value;
    } else {
        call.output = value;
    }
}

template <typename Value>
void write_reply(Value value, const Bytes& reply) {
    if constexpr (std::is_pointer_v<Value>) {
        if constexpr (!std::is_const_v<std::remove_pointer_t<Value>>) {
            std::copy(reply.begin(), reply.end(), reinterpret_cast<std::uint8_t*>(value));
        }
    }
}

template <int Slot, typename... Args>
std::int32_t operation(Args... args) {
    Call call{Slot, {}, nullptr, nullptr};
    (record_argument(call, args), ...);
    operations().calls.push_back(call);
    if (operations().on_call) {
        operations().on_call(Slot);
    }
    (write_reply(args, operations().reply), ...);
    return operations().result;
}

template <int Slot, typename... Args>
void fill(std::int32_t (*&slot)(Args...)) {
    ASSERT_EQ(static_cast<void*>(&slot), operations().slot_address(Slot));
    slot = operation<Slot, Args...>;
}

// The operations in the order of their slots.
void fill_table(mcu_ops& ops) {
    fill<0>(ops.init);
    fill<1>(ops.deinit);
    fill<2>(ops.get_version);
    fill<3>(ops.get_wakeup_info);
    fill<4>(ops.set_time);
    fill<5>(ops.get_time);
    fill<6>(ops.set_led_state);
    fill<7>(ops.get_battery_status);
    fill<8>(ops.set_pir_switch);
    fill<9>(ops.set_pir_sensitivity);
    fill<10>(ops.get_pir_info);
    fill<11>(ops.set_pir_info);
    fill<12>(ops.set_wifi_connect);
    fill<13>(ops.set_wifi_disconnect);
    fill<14>(ops.get_wifi_status);
    fill<15>(ops.get_wifi_info);
    fill<16>(ops.set_wifi_keepalive);
    fill<17>(ops.set_wifi_extended_info);
    fill<18>(ops.get_wifi_scanf_info);
    fill<19>(ops.set_system_state);
    fill<20>(ops.get_event_info);
    fill<21>(ops.upg_start);
    fill<22>(ops.upg_transmit);
    fill<23>(ops.upg_finish);
    fill<24>(ops.set_store_params);
    fill<25>(ops.get_store_params);
    fill<26>(ops.set_wdg_state);
    fill<27>(ops.get_wdg_state);
    fill<28>(ops.set_wdg_period);
    fill<29>(ops.set_wdg_feed);
    fill<30>(ops.set_alarm);
    fill<31>(ops.get_alarm);
    fill<32>(ops.set_ap_start);
    fill<33>(ops.set_ap_stop);
    fill<34>(ops.set_crash_test);
    fill<35>(ops.get_err_report);
    fill<36>(ops.get_soc_min_version);
    fill<37>(ops.set_uart_switch);
    fill<38>(ops.set_wakeup_info);
    fill<39>(ops.get_status_info);
    fill<40>(ops.set_charge_auto_poweron);
    fill<41>(ops.set_cmd);
    fill<42>(ops.set_tamper_switch);
    fill<43>(ops.get_config_info);
    fill<44>(ops.set_log_profile);
    fill<45>(ops.get_log_profile);
    fill<46>(ops.get_bit_err_rate);
    fill<47>(ops.get_ipaddr_update_status);
    fill<48>(ops.get_wifi_extended_status);
    fill<49>(ops.set_soc_poweron_time_info);
    fill<50>(ops.get_soc_poweron_time_info_list);
    fill<51>(ops.get_soc_poweron_time_cur_info);
}

}  // namespace

void FakeOperations::empty_slot(int slot) {
    std::memset(slot_address(slot), 0, sizeof(void*));
}

std::vector<int> FakeOperations::called_slots() const {
    std::vector<int> slots;
    for (const Call& call : calls) {
        slots.push_back(call.slot);
    }
    return slots;
}

FakeOperations& operations() {
    static FakeOperations* the_chip = new FakeOperations();
    return *the_chip;
}

FakeOperations& fresh_operations() {
    operations() = FakeOperations();
    fill_table(operations().table);
    return operations();
}

void show_whole_log() {
    QnLogProfile profile{};
    QnLogGetProfile(&profile);
    profile.color = 0;
    profile.level_limit = QN_LOG_DEBUG;
    profile.fmt_mask = QN_LOG_FMT_LEVEL | QN_LOG_FMT_TAG | QN_LOG_FMT_FILE | QN_LOG_FMT_FUNC;
    QnLogSetProfile(profile);
}

std::string log_line(const std::string& level, const std::string& function,
                     const std::string& message) {
    const std::string shown = function.substr(0, QN_LOG_FUNC_SIZE - 1);
    return level + "QUON_MCU_DAEMON (quon_mcu_daemon " + shown + ") " + message;
}

Outcome run_method(method_handler* handler, const Bytes& request, std::int32_t capacity) {
    show_whole_log();
    Outcome outcome;
    outcome.reply.assign(DBUS_DATA_SIZE, kUntouched);
    outcome.output = captured_output([&] {
        outcome.result = handler(request.data(), static_cast<std::int32_t>(request.size()),
                                 outcome.reply.data(), capacity);
    });
    return outcome;
}

Outcome run_signal(signal_handler* handler, const Bytes& request) {
    show_whole_log();
    Outcome outcome;
    outcome.output = captured_output(
        [&] { handler(request.data(), static_cast<std::int32_t>(request.size())); });
    return outcome;
}

Bytes numbered_request() {
    Bytes request(DBUS_DATA_SIZE);
    std::iota(request.begin(), request.end(), std::uint8_t{0x11});
    return request;
}

}  // namespace quon::test

const mcu_ops* mcu_get_ops_handle() {
    return &quon::test::operations().table;
}

int websocket_local_server_init(const ws_preinit_param* param) {
    using quon::test::operations;
    operations().calls.push_back({quon::test::kHandOffStart, {}, nullptr, nullptr});
    operations().hand_off = *param;
    return operations().hand_off_result;
}
