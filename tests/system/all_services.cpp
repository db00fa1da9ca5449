#include "all_services.h"

#include <gtest/gtest.h>

#include "expected_table.h"
#include "system_test.h"

namespace quon::test {

namespace {

Bytes request_of(const ExpectedService& service) {
    switch (service.passed) {
        case Passed::kText:
            return bytes_of("echo x");
        case Passed::kPointerAndLength:
            return Bytes{1};
        default:
            return Bytes(static_cast<std::size_t>(service.request_size));
    }
}

// With nothing in the event queue.
std::int32_t result_of(const ExpectedService& service) {
    if (service.passed == Passed::kText) {
        return service.name == std::string_view("method.quon.mcu.get.system") ? 1 : 2;
    }
    if (service.slot == expected::service("get.event.info").slot) {
        return -1;
    }
    if (service.slot == kNoSlot) {
        return service.reply_size;
    }
    const ExpectedOperation& operation = expected::operation_of(service);
    if (*operation.name == '\0') {
        return -1;
    }
    return service.reply_size != kAnySize
               ? service.reply_size
               : static_cast<std::int32_t>(usual_answer(operation.message()).size());
}

void expect_sent(const ExpectedService& service, const BusPeer& peer, const ScriptedChip& chip) {
    const ExpectedOperation& operation = expected::operation_of(service);
    const std::size_t before = operation.sends() ? chip.count(operation.message()) : 0;
    peer.notify(service.name, request_of(service));
    if (operation.sends()) {
        EXPECT_TRUE(chip.wait_for(operation.message(), before + 1)) << service.name;
    }
}

}  // namespace

void use_every_service(BusPeer& peer, const ScriptedChip& chip) {
    for (const ExpectedService& service : expected::kServices) {
        if (service.is_signal()) {
            expect_sent(service, peer, chip);
        } else {
            EXPECT_EQ(peer.call(service.name, request_of(service)).result, result_of(service))
                << service.name;
        }
    }
}

}  // namespace quon::test
