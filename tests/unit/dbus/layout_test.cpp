#include <gtest/gtest.h>

#include <array>
#include <bit>

#include "bus_peers.h"
#include "dbus_socket_common.h"
#include "hex.h"

namespace quon::test {
namespace {

TEST(ABusRecord, HasItsFieldsAtTheirOffsetsInTheMachinesByteOrder) {
    DbusMsg record = make_request("method.x", 0x01020304, "\x11\x22");
    record.result = -2;
    const auto bytes = bytes_of_record(record);
    ASSERT_EQ(bytes.size(), 4568U);
    if constexpr (std::endian::native == std::endian::little) {
        EXPECT_EQ(to_hex(bytes.subspan(0, 8)), "a5 5a a5 5a 04 03 02 01");
        EXPECT_EQ(to_hex(bytes.subspan(136, 4)), "01 00 00 00");
        EXPECT_EQ(to_hex(bytes.subspan(140, 10)), "6d 65 74 68 6f 64 2e 78 00 00");
        EXPECT_EQ(to_hex(bytes.subspan(204, 11)), "fe ff ff ff 02 00 00 00 11 22 00");
    } else {
        EXPECT_EQ(to_hex(bytes.subspan(0, 4)), "5a a5 5a a5");
    }
}

}  // namespace
}  // namespace quon::test
