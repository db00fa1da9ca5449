// What every chip's table must hold for the daemon.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "mcu_ops.h"

namespace quon::test {
namespace {

// The slots that the daemon tests before it calls them; all others must be filled.
constexpr std::size_t kTestedSlots[] = {18, 39, 40, 42, 43, 44, 45, 46, 47, 48, 49, 50, 51};

bool is_null(const mcu_ops* ops, std::size_t slot) {
    const void* function = nullptr;
    std::memcpy(&function, reinterpret_cast<const char*>(ops) + slot * sizeof(function),
                sizeof(function));
    return function == nullptr;
}

TEST(TheTableOfAChip, IsOneConstant) {
    ASSERT_NE(mcu_get_ops_handle(), nullptr);
    EXPECT_EQ(mcu_get_ops_handle(), mcu_get_ops_handle());
}

TEST(TheTableOfAChip, FillsEverySlotThatIsCalledWithoutATest) {
    for (std::size_t slot = 0; slot < MCU_OPS_SLOTS; slot++) {
        if (std::ranges::find(kTestedSlots, slot) == std::end(kTestedSlots)) {
            EXPECT_FALSE(is_null(mcu_get_ops_handle(), slot)) << slot;
        }
    }
}

}  // namespace
}  // namespace quon::test
