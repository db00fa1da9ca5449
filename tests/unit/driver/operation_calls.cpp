#include "operation_calls.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <utility>

#include "driver_world.h"

namespace quon::test {

namespace {

using Call = std::int32_t (*)(const Bytes& body, std::uint8_t* area);

template <typename Value>
Value leading(const Bytes& body, std::size_t offset = 0) {
    Value value;
    std::memcpy(&value, body.data() + offset, sizeof(value));
    return value;
}

template <typename... Args>
std::int32_t call_with(std::size_t number, Args... args) {
    return slot<std::int32_t (*)(Args...)>(number)(args...);
}

template <std::size_t Slot>
std::int32_t query(const Bytes& body, std::uint8_t* area) {
    constexpr const ExpectedOperation& kRow = expected::kOperations[Slot];
    if constexpr (kRow.answer == Answer::kText) {
        return call_with(Slot, reinterpret_cast<char*>(area));
    } else if constexpr (kRow.request_size == 1) {
        return call_with(Slot, body[0], area);
    } else {
        return call_with(Slot, area);
    }
}

template <std::size_t Slot>
std::int32_t command(const Bytes& body, std::uint8_t* /*area*/) {
    constexpr const ExpectedOperation& kRow = expected::kOperations[Slot];
    constexpr Passed kPassed = expected::service_of(kRow).passed;
    if constexpr (kPassed == Passed::kByte) {
        return call_with(Slot, body[0]);
    } else if constexpr (kPassed == Passed::kWord) {
        return call_with(Slot, leading<std::uint32_t>(body));
    } else if constexpr (kPassed == Passed::kRecord) {
        return call_with(Slot, leading<mcu_record<kRow.request_size>>(body));
    } else if constexpr (kPassed == Passed::kByteAndWord) {
        return call_with(Slot, body[0], leading<std::uint32_t>(body, 1));
    } else if constexpr (kPassed == Passed::kPointer) {
        return call_with(Slot, body.data());
    } else if constexpr (kPassed == Passed::kPointerAndLength) {
        return call_with(Slot, body.data(), static_cast<std::int32_t>(body.size()));
    } else {
        return call_with(Slot);
    }
}

template <std::size_t Slot>
constexpr Call call_of_slot() {
    constexpr const ExpectedOperation& kRow = expected::kOperations[Slot];
    if constexpr (!kRow.sends()) {
        return nullptr;
    } else if constexpr (kRow.fills_area()) {
        return query<Slot>;
    } else {
        return command<Slot>;
    }
}

template <std::size_t... Slot>
constexpr std::array<Call, sizeof...(Slot)> calls_of_slots(std::index_sequence<Slot...>) {
    return {call_of_slot<Slot>()...};
}

constexpr auto kCalls =
    calls_of_slots(std::make_index_sequence<std::size(expected::kOperations)>{});

}  // namespace

std::int32_t call_operation(const ExpectedOperation& operation, const Bytes& body,
                            std::uint8_t* area) {
    return kCalls[static_cast<std::size_t>(operation.slot)](body, area);
}

}  // namespace quon::test
