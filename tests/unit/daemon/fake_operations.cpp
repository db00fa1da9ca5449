#include "fake_operations.h"

#include <algorithm>
#include <cstring>
#include <numeric>
#include <type_traits>
#include <utility>

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

// Becomes the operation of a slot, whatever arguments that has.
template <int Slot>
struct AnyOperation {
    template <typename... Args>
    using function = std::int32_t (*)(Args...);

    template <typename... Args>
    operator function<Args...>() const {  // NOLINT(google-explicit-constructor)
        return operation<Slot, Args...>;
    }
};

template <int... Slot>
mcu_ops filled_table(std::integer_sequence<int, Slot...>) {
    return {AnyOperation<Slot>{}...};
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
    operations().table =
        filled_table(std::make_integer_sequence<int, sizeof(mcu_ops) / sizeof(void*)>{});
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
