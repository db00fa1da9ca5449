// What every chip's table must hold for the daemon.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "expected_table.h"
#include "mcu_ops.h"

namespace quon::test {
namespace {

// What the network question of the start tests before it calls it.
constexpr int kNetworkQuestion = 47;

bool is_null(const mcu_ops* ops, int slot) {
    const void* function = nullptr;
    std::memcpy(
        &function,
        reinterpret_cast<const char*>(ops) + static_cast<std::size_t>(slot) * sizeof(function),
        sizeof(function));
    return function == nullptr;
}

// The daemon tests some slots before it calls them.
bool may_be_null(const ExpectedOperation& operation) {
    return operation.slot == kNetworkQuestion ||
           std::ranges::any_of(expected::kServices, [&](const ExpectedService& row) {
               return row.slot == operation.slot && row.null_check == NullCheck::kYes;
           });
}

TEST(TheTableOfAChip, HasEverySlot) {
    EXPECT_EQ(sizeof(mcu_ops), std::size(expected::kOperations) * sizeof(void*));
}

TEST(TheTableOfAChip, IsOneConstant) {
    ASSERT_NE(mcu_get_ops_handle(), nullptr);
    EXPECT_EQ(mcu_get_ops_handle(), mcu_get_ops_handle());
}

TEST(TheTableOfAChip, FillsEverySlotThatIsCalledWithoutATest) {
    for (const ExpectedOperation& row : expected::kOperations) {
        if (!may_be_null(row)) {
            EXPECT_FALSE(is_null(mcu_get_ops_handle(), row.slot)) << row.slot;
        }
    }
}

}  // namespace
}  // namespace quon::test
