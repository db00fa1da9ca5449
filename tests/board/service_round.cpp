#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

#include "catalog/catalog.h"
#include "checks.h"
#include "expected_table.h"
#include "sockets.h"

namespace quon::board {

namespace {

using test::ExpectedOperation;
using test::ExpectedService;

constexpr int kFailed = -1;
constexpr int kAnyText = -2;

struct Special {
    std::string_view name;
    Bytes request;
    int result;
};

Bytes text(std::string_view words) {
    Bytes bytes(words.begin(), words.end());
    bytes.push_back(0);
    return bytes;
}

Bytes upgrade_block_of_one_byte() {
    Bytes block(265);
    block[4] = 1;  // of its data
    return block;
}

// Services whose request must be meaningful, or whose result has no fixed length. "false" ends with
// status 1, which is the wait status 256.
const Special kSpecials[] = {
    {"method.quon.mcu.get.ver", {}, kAnyText},
    {"method.quon.mcu.get.soc.min.ver", {}, kAnyText},
    {"method.quon.mcu.upg.transmit", upgrade_block_of_one_byte(), 4},
    {"method.quon.mcu.get.system", text("false"), 3},
    {"method.quon.mcu.get.popen", text("echo board"), 6},
    {"signal.quon.mcu.set.cmd", {0x01, 0x02, 0x03}, 0},
    {"method.quon.mcu.get.log.profile", {}, kFailed},
    {"method.quon.mcu.get.bit.err.rate", {}, kFailed},
};

Special expectation(const ExpectedService& service) {
    for (const Special& special : kSpecials) {
        if (special.name == service.name) {
            return special;
        }
    }
    return {service.name, Bytes(static_cast<size_t>(service.request_size)), service.reply_size};
}

bool fits(const DbusMsg& message, int expected) {
    if (expected == kAnyText) {
        return message.result > 0 && message.data_len == static_cast<uint32_t>(message.result);
    }
    const uint32_t length = expected > 0 ? static_cast<uint32_t>(expected) : 0;
    return message.result == expected && message.data_len == length;
}

std::string use_method(const BusPeer& peer, const Special& expected) {
    const auto result = peer.call(expected.name, expected.request);
    if (!result) {
        return "no result";
    }
    if (!fits(*result, expected.result)) {
        return "result " + std::to_string(result->result) + ", length " +
               std::to_string(result->data_len);
    }
    return {};
}

std::string use(const BusPeer& peer, const ExpectedService& service) {
    const Special special = expectation(service);
    std::string fault;
    if (service.is_signal()) {
        peer.send(DBUS_TYPE_SIGNAL, special.name, special.request, 0);
    } else {
        fault = use_method(peer, special);
    }
    const ExpectedOperation& operation = test::expected::operation_of(service);
    if (fault.empty() && operation.sends() &&
        !chip_control("wait-frame " + std::string(catalog::message_name(operation.message())) +
                      " timeout " + std::to_string(kPatienceMs))) {
        fault = "its message does not reach the chip";
    }
    return fault;
}

// The event service has a result only while an event is queued.
bool raise_event(const BusPeer& peer) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kPatienceMs);
    chip_control("event raw 01 00");
    while (std::chrono::steady_clock::now() < end) {
        const auto result = peer.call("method.quon.mcu.get.event.info", {});
        if (result && result->result == 33) {
            return chip_control("event raw 01 00");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
}

}  // namespace

int check_every_service() {
    const BusPeer peer;
    int failures = raise_event(peer) ? 0 : 1;
    chip_control("forget");
    for (const ExpectedService& service : test::expected::kServices) {
        const std::string fault = use(peer, service);
        failures += fault.empty() ? 0 : 1;
        std::printf("%s service %s %s\n", fault.empty() ? "ok   " : "FAIL ", service.name,
                    fault.c_str());
    }
    return failures;
}

// All commands are sent before the first answer is read.
int flood_with_events(int count) {
    ChipControl chip;
    for (int event = 0; event < count; event++) {
        chip.send("event raw 02 00");
    }
    int failures = 0;
    for (int event = 0; event < count; event++) {
        failures += chip.accepted() ? 0 : 1;
    }
    return failures;
}

}  // namespace quon::board
