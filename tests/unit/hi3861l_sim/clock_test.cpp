#include <gtest/gtest.h>

#include "chip_clock.h"
#include "chip_fixture.h"

namespace quon::sim {
namespace {

using test::from_hex;

struct clock_case {
    const char* what;
    const char* set;
    int seconds;
    const char* read;
};

constexpr clock_case kCases[] = {
    {"at once", "1a0c1f0a0b0c01020304", 0, "1a0c1f0a0b0c01020304"},
    {"a second later", "1a0c1f0a0b0c01020304", 1, "1a0c1f0a0b0d01020304"},
    {"over midnight and new year", "1a0c1f173b3b01020304", 1,
     "1b01010000000102"
     "0304"},
    {"over the end of February in a leap year", "18021c173b3b00000000", 1, "18021d00000000000000"},
    {"a day later", "19060f0c000000000000", 86400, "1906100c000000000000"},
    {"a year before 2000", "ff0c1f173b3b00000000", 1, "00010100000000000000"},
    {"no month: stands still", "1a00010a0b0c01020304", 5, "1a00010a0b0c01020304"},
    {"no day: stands still", "1a02300a0b0c01020304", 5, "1a02300a0b0c01020304"},
    {"no hour: stands still", "1a0c1f180b0c01020304", 5, "1a0c1f180b0c01020304"},
    {"all ones: stands still", "ffffffffffffffffffff", 5, "ffffffffffffffffffff"},
};

TEST(TheChipsTime, RunsFromWhatWasSet) {
    const chip_clock::time_point start{};
    for (const clock_case& each : kCases) {
        chip_clock clock;
        clock.set(from_hex(each.set), start);
        EXPECT_EQ(hex(clock.read(start + std::chrono::seconds(each.seconds))), each.read)
            << each.what;
    }
}

TEST(TheChipsTime, IsTheMachinesUntilItIsSet) {
    const std::time_t before = std::time(nullptr);
    const byte_list record = machine_time();
    std::tm parts{};
    localtime_r(&before, &parts);
    ASSERT_EQ(record.size(), 10U);
    EXPECT_GE(record[0], parts.tm_year - 100);
}

}  // namespace
}  // namespace quon::sim
