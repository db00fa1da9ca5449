#include "shared/values.h"

#include <gtest/gtest.h>

#include "failure_of.h"

namespace quon {
namespace {

using test::failure_of;

struct hex_row {
    const char* text;
    byte_list bytes;
};

TEST(Hex, IsReadWithOrWithoutSeparators) {
    const hex_row rows[] = {
        {"", {}},
        {"00", {0x00}},
        {"0aFf", {0x0a, 0xff}},
        {"0x0a0b", {0x0a, 0x0b}},
        {"0a 0b\t0c\n", {0x0a, 0x0b, 0x0c}},
        {"02:00:00:00:00:01", {2, 0, 0, 0, 0, 1}},
    };
    for (const hex_row& row : rows) {
        EXPECT_EQ(parse_hex(row.text), row.bytes) << row.text;
    }
}

TEST(Hex, IsRefusedWhenItIsNone) {
    EXPECT_EQ(failure_of([] { parse_hex("abc"); }).text, "'abc' has an odd number of digits");
    EXPECT_EQ(failure_of([] { parse_hex("0g"); }).text, "'0g' is not hexadecimal");
    EXPECT_EQ(failure_of([] { parse_hex("a b"); }).text, "'a b' is not hexadecimal");
    EXPECT_EQ(failure_of([] { parse_hex("zz"); }).status, 2);
}

struct duration_row {
    const char* text;
    int32_t ms;
};

TEST(ADuration, IsInMillisecondsOrSeconds) {
    const duration_row rows[] = {
        {"0", 0},       {"1500", 1500}, {"1500ms", 1500},           {"5s", 5000},
        {"1.5s", 1500}, {"0.25s", 250}, {"2147483647", 2147483647}, {"0.4", 0},
    };
    for (const duration_row& row : rows) {
        EXPECT_EQ(parse_duration(row.text), row.ms) << row.text;
    }
}

TEST(ADuration, IsRefusedWhenItIsNone) {
    for (const char* text :
         {"", "s", "-1", "5m", "abc", "1e", "1e3", "2147483648", "nan", "inf", "1 s"}) {
        const auto refused = failure_of([text] { parse_duration(text); });
        EXPECT_EQ(refused.status, 2) << text;
        EXPECT_EQ(refused.text,
                  "'" + std::string(text) + "' is no duration; write milliseconds or, say, 1.5s");
    }
}

struct number_row {
    const char* text;
    int64_t value;
};

TEST(ANumber, IsDecimalOrHexadecimalWithinItsBounds) {
    const number_row rows[] = {{"0", 0}, {"255", 255}, {"0xff", 255}, {"0XfF", 255}, {"-5", -5}};
    for (const number_row& row : rows) {
        EXPECT_EQ(parse_number(row.text, -5, 255), row.value) << row.text;
    }
    for (const char* text : {"", "256", "-6", "0x", "0x100", "0x-1", "1.5", "1 ", "+1", "ten",
                             "99999999999999999999"}) {
        const auto refused = failure_of([text] { parse_number(text, -5, 255); });
        EXPECT_EQ(refused.status, 2) << text;
        EXPECT_EQ(refused.text, "'" + std::string(text) + "' is no number from -5 to 255");
    }
}

TEST(AnAddress, IsReadFromItsParts) {
    EXPECT_EQ(parse_ipv4("192.168.1.254"), (byte_list{192, 168, 1, 254}));
    for (const char* text : {"", "1.2.3", "1.2.3.256", "1.2.3.4.5", "host", " 1.2.3.4"}) {
        const auto refused = failure_of([text] { parse_ipv4(text); });
        EXPECT_EQ(refused.status, 2) << text;
        EXPECT_EQ(refused.text, "'" + std::string(text) + "' is no IPv4 address");
    }
}

TEST(AHardwareAddress, IsReadFromSixPairsOfDigits) {
    EXPECT_EQ(parse_mac("02:aB:00:0c:FF:01"), (byte_list{0x02, 0xab, 0x00, 0x0c, 0xff, 0x01}));
    for (const char* text : {"", "02ab000cff01", "02:ab:00:0c:ff", "02:ab:00:0c:ff:01:02",
                             "2:ab:00:0c:ff:01", "02ab000cff:::::01"}) {
        const auto refused = failure_of([text] { parse_mac(text); });
        EXPECT_EQ(refused.status, 2) << text;
        EXPECT_EQ(refused.text, "'" + std::string(text) + "' is no MAC address");
    }
}

}  // namespace
}  // namespace quon
