// Calls the driver's operations by their slots.
#pragma once

#include <cstdint>

#include "expected_table.h"
#include "hex.h"

namespace quon::test {

// Any operation that sends a message. Its arguments by value are the first bytes of `body`, an
// argument by pointer is `body`; a query fills `area`, which may be null.
std::int32_t call_operation(const ExpectedOperation& operation, const Bytes& body,
                            std::uint8_t* area = nullptr);

}  // namespace quon::test
