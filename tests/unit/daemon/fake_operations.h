// An operations table that records its calls, in place of a chip's driver; a hand-off that records
// its start record; and the daemon's log lines as text.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "bus_handler.h"
#include "dbus_socket_common.h"
#include "hex.h"
#include "mcu_ops.h"
#include "websocket.h"

namespace quon::test {

inline constexpr int kHandOffStart = -1;  // in place of a slot: websocket_local_server_init

struct Call {
    int slot = 0;
    Bytes values;  // arguments passed by value, as little-endian images
    const void* input = nullptr;
    const void* output = nullptr;
};

struct FakeOperations {
    mcu_ops table;                          // every slot is filled
    std::int32_t result = 0;                // of every operation
    Bytes reply;                            // written to the output area, whatever the result
    std::function<void(int slot)> on_call;  // before the reply is written
    std::vector<Call> calls;
    ws_preinit_param hand_off{};  // the last start record
    int hand_off_result = 0;

    void* slot_address(int slot) { return reinterpret_cast<void**>(&table) + slot; }
    void empty_slot(int slot);
    std::vector<int> called_slots() const;
};

// The operations behind the handlers of this process; fresh ones after fresh_operations().
FakeOperations& operations();
FakeOperations& fresh_operations();

// What a handler does: its result, its reply area and all that it prints. Log lines of every level
// are shown without colour, time and line number.
struct Outcome {
    std::int32_t result = 0;
    Bytes reply;
    std::string output;
};

inline constexpr std::uint8_t kUntouched = 0xee;  // a reply area before the call

Outcome run_method(method_handler* handler, const Bytes& request,
                   std::int32_t capacity = DBUS_DATA_SIZE);
Outcome run_signal(signal_handler* handler, const Bytes& request);

// The line that the log prints for these, in run_method and run_signal.
std::string log_line(const std::string& level, const std::string& function,
                     const std::string& message);
void show_whole_log();

// A payload area whose first bytes all differ.
Bytes numbered_request();

}  // namespace quon::test
