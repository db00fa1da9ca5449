// The contract of the four bounds-checked functions, whichever library provides them.
#include "securec.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

namespace {

constexpr size_t kAreaSize = 16;
constexpr size_t kDestMax = 8;
constexpr size_t kTooLarge = 0x80000000UL;
constexpr char kOld = '#';

// The library's own numbers, typed here instead of taken from <cerrno>.
constexpr int kInvalid = 22;
constexpr int kRange = 34;
constexpr int kInvalidAndReset = 150;
constexpr int kRangeAndReset = 162;
constexpr int kOverlapAndReset = 182;

struct Area {
    std::array<char, kAreaSize> bytes;
    Area() { bytes.fill(kOld); }
    [[nodiscard]] std::string text() const { return {bytes.begin(), bytes.end()}; }
};

std::string old_bytes(size_t count) {
    return std::string(count, kOld);
}

std::string zero_bytes(size_t count) {
    return std::string(count, '\0');
}

TEST(TheResultNumbers, AreTheLibrarysOwn) {
    EXPECT_EQ(EOK, 0);
    EXPECT_EQ(EINVAL, kInvalid);
    EXPECT_EQ(ERANGE, kRange);
    EXPECT_EQ(EINVAL_AND_RESET, kInvalidAndReset);
    EXPECT_EQ(ERANGE_AND_RESET, kRangeAndReset);
    EXPECT_EQ(EOVERLAP_AND_RESET, kOverlapAndReset);
    EXPECT_EQ(SECUREC_MEM_MAX_LEN, 0x7fffffffUL);
}

struct MemoryCase {
    const char* what;
    bool dest_null;
    size_t dest_max;
    bool source_null;
    size_t count;
    int result;
    std::string after;  // the 16 bytes of the destination's area
};

void PrintTo(const MemoryCase& row, std::ostream* out) {
    *out << row.what;
}

class MemcpyS : public testing::TestWithParam<MemoryCase> {};

const std::string kAllOld = old_bytes(16);

// clang-format off
const std::vector<MemoryCase> kCopies = {
    // what                     dest   destMax    source count  result             destination after
    {"SomeBytes",               false, 8,         false, 3,     0,                 "abc" + old_bytes(13)},
    {"ExactlyDestMax",          false, 8,         false, 8,     0,                 "abcdefgh" + old_bytes(8)},
    {"Nothing",                 false, 8,         false, 0,     0,                 kAllOld},
    {"LargestDestMax",          false, 0x7fffffff, false, 3,    0,                 "abc" + old_bytes(13)},
    {"ToNull",                  true,  8,         false, 3,     kInvalid,          kAllOld},
    {"FromNullToNull",          true,  8,         true,  3,     kInvalid,          kAllOld},
    {"DestMaxZero",             false, 0,         false, 3,     kRange,            kAllOld},
    {"DestMaxAboveTheLimit",    false, kTooLarge, false, 3,     kRange,            kAllOld},
    {"DestMaxOfMinusOne",       false, static_cast<size_t>(-1), false, 3, kRange,  kAllOld},
    {"FromNull",                false, 8,         true,  3,     kInvalidAndReset,  zero_bytes(8) + old_bytes(8)},
    {"OneMoreThanDestMax",      false, 8,         false, 9,     kRangeAndReset,    zero_bytes(8) + old_bytes(8)},
    {"CountOfMinusOne",         false, 8,         false, static_cast<size_t>(-1), kRangeAndReset, zero_bytes(8) + old_bytes(8)},
};
// clang-format on

TEST_P(MemcpyS, GivesTheResultAndTheDestinationOfItsRow) {
    const MemoryCase& row = GetParam();
    const std::array<char, kAreaSize> source = {'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h', 'i'};
    Area area;
    EXPECT_EQ(memcpy_s(row.dest_null ? nullptr : area.bytes.data(), row.dest_max,
                       row.source_null ? nullptr : source.data(), row.count),
              row.result);
    EXPECT_EQ(area.text(), row.after);
}

constexpr auto kName = [](const auto& row) { return std::string(row.param.what); };

INSTANTIATE_TEST_SUITE_P(Copy, MemcpyS, testing::ValuesIn(kCopies), kName);

struct OverlapCase {
    const char* what;
    size_t dest_at;
    size_t source_at;
    size_t count;
    int result;
    std::string after;  // of "abcdefghijklmnop"
};

void PrintTo(const OverlapCase& row, std::ostream* out) {
    *out << row.what;
}

class MemcpySInOneArea : public testing::TestWithParam<OverlapCase> {};

// clang-format off
const std::vector<OverlapCase> kOverlaps = {
    // what                      dest source count result            area after
    {"SourceOneBehind",          0,   1,     4,    kOverlapAndReset, zero_bytes(8) + "ijklmnop"},
    {"SourceOneBefore",          1,   0,     4,    kOverlapAndReset, "a" + zero_bytes(8) + "jklmnop"},
    {"LastByteShared",           0,   3,     4,    kOverlapAndReset, zero_bytes(8) + "ijklmnop"},
    {"FirstByteShared",          3,   0,     4,    kOverlapAndReset, "abc" + zero_bytes(8) + "lmnop"},
    {"NeighboursBehind",         0,   4,     4,    0,                "efghefghijklmnop"},
    {"NeighboursBefore",         4,   0,     4,    0,                "abcdabcdijklmnop"},
    {"OntoItself",               2,   2,     4,    0,                "abcdefghijklmnop"},
    {"NothingWithinTheOther",    0,   1,     0,    0,                "abcdefghijklmnop"},
};
// clang-format on

TEST_P(MemcpySInOneArea, RefusesAreasThatOverlap) {
    const OverlapCase& row = GetParam();
    std::array<char, kAreaSize + 1> area = {"abcdefghijklmnop"};
    EXPECT_EQ(memcpy_s(area.data() + row.dest_at, kDestMax, area.data() + row.source_at, row.count),
              row.result);
    EXPECT_EQ(std::string(area.data(), kAreaSize), row.after);
}

INSTANTIATE_TEST_SUITE_P(Copy, MemcpySInOneArea, testing::ValuesIn(kOverlaps), kName);

class MemsetS : public testing::TestWithParam<MemoryCase> {};

// clang-format off
const std::vector<MemoryCase> kFills = {
    // what                     dest   destMax    (none) count  result             destination after
    {"SomeBytes",               false, 8,         false, 3,     0,                 "xxx" + old_bytes(13)},
    {"ExactlyDestMax",          false, 8,         false, 8,     0,                 "xxxxxxxx" + old_bytes(8)},
    {"Nothing",                 false, 8,         false, 0,     0,                 kAllOld},
    {"LargestDestMax",          false, 0x7fffffff, false, 3,    0,                 "xxx" + old_bytes(13)},
    {"ToNull",                  true,  8,         false, 3,     kInvalid,          kAllOld},
    {"DestMaxZero",             false, 0,         false, 3,     kRange,            kAllOld},
    {"DestMaxAboveTheLimit",    false, kTooLarge, false, 3,     kRange,            kAllOld},
    {"OneMoreThanDestMax",      false, 8,         false, 9,     kRangeAndReset,    "xxxxxxxx" + old_bytes(8)},
    {"CountOfMinusOne",         false, 8,         false, static_cast<size_t>(-1), kRangeAndReset, "xxxxxxxx" + old_bytes(8)},
};
// clang-format on

TEST_P(MemsetS, GivesTheResultAndTheDestinationOfItsRow) {
    const MemoryCase& row = GetParam();
    Area area;
    EXPECT_EQ(memset_s(row.dest_null ? nullptr : area.bytes.data(), row.dest_max, 'x', row.count),
              row.result);
    EXPECT_EQ(area.text(), row.after);
}

INSTANTIATE_TEST_SUITE_P(Fill, MemsetS, testing::ValuesIn(kFills), kName);

TEST(MemsetSOfALargeValue, KeepsItsLowByte) {
    Area area;
    EXPECT_EQ(memset_s(area.bytes.data(), kDestMax, 0x100 + 'y', 2), 0);
    EXPECT_EQ(area.text(), "yy" + old_bytes(14));
}

// The same text goes through both formatters, which have one contract.
__attribute__((format(printf, 4, 5))) int format_by_list(char* dest, size_t dest_max, size_t count,
                                                         const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int result = vsnprintf_s(dest, dest_max, count, format, args);
    va_end(args);
    return result;
}

struct FormatCase {
    const char* what;
    bool dest_null;
    size_t dest_max;
    size_t count;
    bool format_null;
    const char* text;
    int result;
    bool written;       // false: the destination keeps its old bytes
    const char* after;  // the destination's text
};

void PrintTo(const FormatCase& row, std::ostream* out) {
    *out << row.what;
}

class Formatters : public testing::TestWithParam<FormatCase> {};

// clang-format off
const std::vector<FormatCase> kFormats = {
    // what                          dest   destMax    count  format text          result written text after
    {"ShortText",                    false, 8,         7,     false, "abc",        3,     true,   "abc"},
    {"EmptyText",                    false, 8,         7,     false, "",           0,     true,   ""},
    {"TextThatFillsTheDestination",  false, 8,         7,     false, "abcdefg",    7,     true,   "abcdefg"},
    {"TextThatFillsItWithMoreCount", false, 8,         100,   false, "abcdefg",    7,     true,   "abcdefg"},
    {"OneTooLongForTheDestination",  false, 8,         8,     false, "abcdefgh",   -1,    true,   ""},
    {"TooLongForItWithMoreCount",    false, 8,         100,   false, "abcdefghij", -1,    true,   ""},
    {"TextOfExactlyCount",           false, 8,         4,     false, "abcd",       4,     true,   "abcd"},
    {"OneLongerThanCount",           false, 8,         4,     false, "abcde",      -1,    true,   "abcd"},
    {"LongerThanCountAndDestination", false, 8,        4,     false, "abcdefghij", -1,    true,   "abcd"},
    {"CountOneBelowDestMax",         false, 8,         7,     false, "abcdefgh",   -1,    true,   "abcdefg"},
    {"TextWithCountZero",            false, 8,         0,     false, "abc",        -1,    true,   ""},
    {"DestinationOfOneByte",         false, 1,         1,     false, "a",          -1,    true,   ""},
    {"LargestDestMax",               false, 0x7fffffff, 7,    false, "abc",        3,     true,   "abc"},
    {"ToNull",                       true,  8,         7,     false, "abc",        -1,    false,  ""},
    {"DestMaxZero",                  false, 0,         7,     false, "abc",        -1,    false,  ""},
    {"DestMaxAboveTheLimit",         false, kTooLarge, 7,     false, "abc",        -1,    false,  ""},
    {"NullFormat",                   false, 8,         7,     true,  "",           -1,    true,   ""},
};
// clang-format on

using Formatter = int (*)(char*, size_t, size_t, const char*, ...);

void check_format(Formatter formatter, const FormatCase& row) {
    Area area;
    EXPECT_EQ(formatter(row.dest_null ? nullptr : area.bytes.data(), row.dest_max, row.count,
                        row.format_null ? nullptr : "%s", row.text),
              row.result);
    if (row.written) {
        EXPECT_STREQ(area.bytes.data(), row.after);
        EXPECT_EQ(area.text().substr(kDestMax), old_bytes(8)) << "bytes beyond the destination";
    } else {
        EXPECT_EQ(area.text(), kAllOld);
    }
}

TEST_P(Formatters, GiveTheResultAndTheTextOfTheirRow) {
    check_format(snprintf_s, GetParam());
    check_format(format_by_list, GetParam());
}

INSTANTIATE_TEST_SUITE_P(Format, Formatters, testing::ValuesIn(kFormats), kName);

TEST(BothFormatters, TakeEveryKindOfArgument) {
    std::array<char, 64> text = {};
    EXPECT_EQ(snprintf_s(text.data(), text.size(), text.size() - 1, "%d %02X %s %c %ld %5.1f", -7,
                         0xABU, "word", 'z', 123456789L, 2.5),
              28);
    EXPECT_STREQ(text.data(), "-7 AB word z 123456789   2.5");
    EXPECT_EQ(format_by_list(text.data(), text.size(), text.size() - 1, "%s=%d", "key", 5), 5);
    EXPECT_STREQ(text.data(), "key=5");
}

}  // namespace
