#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <string>
#include <string_view>
#include <vector>

#include "captured_output.h"
#include "profile_for_test.h"
#include "quon_log.h"
#include "text_lines.h"

namespace {

using quon::test::captured_output;
using quon::test::lines_of;
using quon::test::set_profile;
using Bytes = std::vector<unsigned char>;

class AHexDump : public quon::test::WithDefaultProfile {
  protected:
    AHexDump() { set_profile({.level_limit = QN_LOG_DEBUG}); }
};

Bytes bytes_of(std::string_view text) {
    return {text.begin(), text.end()};
}

std::string dumped(const std::string& name, unsigned char width, const Bytes& data) {
    return captured_output([&] {
        QnLogHexDump(name.c_str(), width, data.data(), static_cast<unsigned short>(data.size()));
    });
}

TEST_F(AHexDump, OfTwentyBytesAtWidthSixteenHasTwoLines) {
    EXPECT_EQ(dumped("recv msg", 16, bytes_of("0123456789abcdefghij")),
              "D/HEX recv msg: 0000-000F: "
              "30 31 32 33 34 35 36 37  38 39 61 62 63 64 65 66    0123456789abcdef\n"
              "D/HEX recv msg: 0010-001F: "
              "67 68 69 6A                                         ghij\n");
}

TEST_F(AHexDump, OfEightBytesAtWidthEightIsOneLine) {
    EXPECT_EQ(dumped("n", 8, bytes_of("ABCDEFGH")),
              "D/HEX n: 0000-0007: 41 42 43 44 45 46 47 48    ABCDEFGH\n");
}

TEST_F(AHexDump, GroupsOnlyAfterEveryEighthPosition) {
    EXPECT_EQ(dumped("n", 3, bytes_of("abcd")),
              "D/HEX n: 0000-0002: 61 62 63   abc\n"
              "D/HEX n: 0003-0005: 64         d\n");
    EXPECT_EQ(dumped("n", 9, bytes_of("abcdefghi")),
              "D/HEX n: 0000-0008: 61 62 63 64 65 66 67 68  69   abcdefghi\n");
    EXPECT_EQ(dumped("n", 1, bytes_of("ab")),
              "D/HEX n: 0000-0000: 61   a\n"
              "D/HEX n: 0001-0001: 62   b\n");
}

TEST_F(AHexDump, ShowsAFullStopForBytesThatDoNotPrint) {
    EXPECT_EQ(dumped("n", 8, {0x00, 0x1F, 0x20, 0x21, 0x7E, 0x7F, 0x80, 0xFF}),
              "D/HEX n: 0000-0007: 00 1F 20 21 7E 7F 80 FF    .. !~...\n");
}

TEST_F(AHexDump, PrintsAPercentSignAsItIs) {
    EXPECT_EQ(dumped("%s%n", 4, bytes_of("%s%n")), "D/HEX %s%n: 0000-0003: 25 73 25 6E   %s%n\n");
}

TEST_F(AHexDump, OfNothingPrintsNothing) {
    EXPECT_EQ(dumped("n", 16, {}), "");
}

TEST_F(AHexDump, OfWidthZeroPrintsNothing) {
    EXPECT_EQ(dumped("n", 0, bytes_of("abc")), "");
}

TEST_F(AHexDump, TakesWidthAndSizeByTheirLowBits) {
    const Bytes data = bytes_of("abcdefgh");
    const unsigned wide_width = 0x108;
    const unsigned wide_size = 65536 + 2;
    EXPECT_EQ(captured_output([&] {
                  QnLogHexDump("n", static_cast<unsigned char>(wide_width), data.data(),
                               static_cast<unsigned short>(wide_size));
              }),
              "D/HEX n: 0000-0007: 61 62                      ab\n");
}

TEST_F(AHexDump, IsPrintedFromLevelLimitFourOn) {
    struct Row {
        std::uint32_t limit;
        bool printed;
    };
    for (const Row& row :
         {Row{0, false}, Row{1, false}, Row{3, false}, Row{4, true}, Row{5, true}}) {
        set_profile({.level_limit = row.limit});
        EXPECT_EQ(!dumped("n", 8, bytes_of("a")).empty(), row.printed) << row.limit;
    }
}

TEST_F(AHexDump, IsNotPrintedUnderTheDefaultProfile) {
    quon::test::set_default_profile();
    EXPECT_EQ(dumped("n", 8, bytes_of("a")), "");
}

TEST_F(AHexDump, HasNeitherTheProfilesFieldsNorItsColour) {
    set_profile({.fmt_mask = 0xFF, .color = true});
    EXPECT_EQ(dumped("n", 1, bytes_of("a")), "D/HEX n: 0000-0000: 61   a\n");
}

// The last start is 0xFFF0; one more step would wrap its 16 bits.
TEST_F(AHexDump, Of65535BytesEndsBeforeItsOffsetWraps) {
    const auto lines = lines_of(dumped("n", 16, Bytes(65535, 'x')));
    ASSERT_EQ(lines.size(), 4096U);
    EXPECT_EQ(lines.front().substr(0, 20), "D/HEX n: 0000-000F: ");
    EXPECT_EQ(lines.back(),
              "D/HEX n: FFF0-FFFF: 78 78 78 78 78 78 78 78  78 78 78 78 78 78 78 "
              "   "  // the piece of the byte that does not exist
              " "    // the group's end
              "  "   // before the characters
              "xxxxxxxxxxxxxxx");
}

TEST_F(AHexDump, Of65535BytesEndsAlsoWhenTheLastStepWouldPassTheWrap) {
    for (const unsigned width : {200U, 255U}) {
        const auto lines =
            lines_of(dumped("n", static_cast<unsigned char>(width), Bytes(65535, 'x')));
        EXPECT_EQ(lines.size(), (65535 + width - 1) / width) << width;
    }
}

TEST_F(AHexDump, KeepsItsNewlineWhenALineIsCutAt512Bytes) {
    const std::string head = "D/HEX n: 0000-00FE: ";
    std::string hex;
    for (int group = 0; group < 32; group++) {
        hex += "AB AB AB AB AB AB AB AB  ";
    }
    const std::string line = (head + hex).substr(0, 511) + "\n";
    EXPECT_EQ(dumped("n", 255, Bytes(255, 0xAB)), line);
}

TEST_F(AHexDump, LosesTheEndOfItsCharactersInALineOf512Bytes) {
    // 20 of the head, 120 pieces of 3, 15 group blanks, 2 blanks: 397; 114 characters fit.
    const std::string line = dumped("n", 120, Bytes(120, 'c'));
    ASSERT_EQ(line.size(), 512U);
    EXPECT_EQ(line.substr(395), "  " + std::string(114, 'c') + "\n");
}

TEST_F(AHexDump, FillsALineOf511BytesToTheLastCharacter) {
    // 113 pieces of 3, 14 group blanks, 2 blanks, 113 characters, the newline: 469 after the head.
    const std::string name(512 - 469 - 19, 'n');
    const std::string line = dumped(name, 113, Bytes(113, 'c'));
    ASSERT_EQ(line.size(), 512U);
    EXPECT_EQ(line.substr(398), std::string(113, 'c') + "\n");
}

struct LongNameRow {
    size_t head_length;      // of the head as it would be without a limit
    std::string behind_510;  // what follows the head's first 510 bytes
};

TEST_F(AHexDump, CutsTheHeadOfALongNameAndKeepsTheNewline) {
    const size_t around_name = std::string("D/HEX : 0000-0007: ").size();
    const std::vector<LongNameRow> rows = {
        {510, "6\n"},  // the first digit of "61 " still fits, then the newline
        {511, " \n"}, {512, ":\n"}, {513, "7\n"}, {700, "n\n"},
    };
    for (const LongNameRow& row : rows) {
        const std::string name(row.head_length - around_name, 'n');
        const std::string head = "D/HEX " + name + ": 0000-0007: ";
        EXPECT_EQ(dumped(name, 8, bytes_of("a")), head.substr(0, 510) + row.behind_510)
            << row.head_length;
    }
}

}  // namespace
