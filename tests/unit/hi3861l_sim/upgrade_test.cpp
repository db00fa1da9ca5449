#include <gtest/gtest.h>

#include "chip_fixture.h"

namespace quon::sim {
namespace {

byte_list block(uint32_t offset, uint32_t length, uint8_t fill) {
    byte_list record(265);
    put_le(record, 0, 4, offset);
    put_le(record, 4, 4, length);
    std::fill_n(record.begin() + 8, std::min<uint32_t>(length, 256), fill);
    return record;
}

struct upgrading_chip : test_chip {
    explicit upgrading_chip(uint32_t size = 600) {
        byte_list start(5);
        put_le(start, 1, 4, size);
        EXPECT_EQ(answer(0x8F, start), 0xA1);
    }
    // Byte 4 of the answer.
    int answer(uint8_t type, const byte_list& payload) {
        const byte_list body = answer_to(type, test::to_hex(payload));
        return body.size() < 5 ? -1 : body[4];
    }
    int send(uint32_t offset, uint32_t length, uint8_t fill) {
        return answer(0x90, block(offset, length, fill));
    }
};

TEST(AnUpgrade, AcceptsBlocksInOrderAndFinishes) {
    upgrading_chip chip;
    EXPECT_EQ(chip.send(0, 256, 1), 0xA1);
    EXPECT_EQ(chip.send(256, 256, 2), 0xA1);
    EXPECT_EQ(chip.send(512, 88, 3), 0xA1);
    EXPECT_TRUE(chip.ask(0x91).empty());
    EXPECT_EQ(chip.get("upgrade-state"), "upgrade-state=finished");
    EXPECT_EQ(chip.get("upgrade-bytes"), "upgrade-bytes=600");
    EXPECT_EQ(chip.get("upgrade-blocks"), "upgrade-blocks=3");
    EXPECT_EQ(chip.get("upgrade-size"), "upgrade-size=600");
}

// The check value of CRC-32 (IEEE) for the nine digits.
TEST(AnUpgrade, ShowsACrc32OfWhatArrived) {
    upgrading_chip chip(9);
    byte_list record = block(0, 9, 0);
    std::ranges::copy(test::bytes_of("123456789"), record.begin() + 8);
    EXPECT_EQ(chip.answer(0x90, record), 0xA1);
    EXPECT_EQ(chip.get("upgrade-checksum"), "upgrade-checksum=cbf43926");
}

struct refused_block {
    const char* what;
    uint32_t offset;
    uint32_t length;
};

TEST(AnUpgrade, RefusesABlockThatDoesNotContinueTheImage) {
    constexpr refused_block kCases[] = {
        {"a gap", 512, 100},
        {"an earlier offset", 128, 100},
        {"the same offset with other data", 0, 256},
        {"no data", 256, 0},
        {"more than 256 bytes", 256, 257},
        {"a length of 0xFFFFFFFF", 256, 0xFFFFFFFF},
        {"beyond the announced size", 256, 245},
        {"an offset of 0xFFFFFFFF", 0xFFFFFFFF, 1},
    };
    for (const refused_block& each : kCases) {
        upgrading_chip chip(500);
        ASSERT_EQ(chip.send(0, 256, 1), 0xA1);
        EXPECT_EQ(chip.send(each.offset, each.length, 9), 0x00) << each.what;
        EXPECT_EQ(chip.get("upgrade-bytes"), "upgrade-bytes=256") << each.what;
        EXPECT_NE(chip.get("upgrade-refusal"), "upgrade-refusal=") << each.what;
        EXPECT_EQ(chip.send(256, 244, 2), 0xA1) << each.what;
        EXPECT_EQ(chip.get("upgrade-refusal"), "upgrade-refusal=") << each.what;
    }
}

TEST(AnUpgrade, RefusesABlockRecordOfAnotherSize) {
    upgrading_chip chip;
    EXPECT_EQ(chip.answer(0x90, byte_list(264)), 0x00);
    EXPECT_EQ(chip.answer(0x90, byte_list(266)), 0x00);
    EXPECT_EQ(chip.answer(0x90, {}), 0x00);
}

TEST(AnUpgrade, AcceptsTheLastBlockAgainWhenItsAnswerWasLost) {
    upgrading_chip chip;
    ASSERT_EQ(chip.send(0, 256, 1), 0xA1);
    ASSERT_EQ(chip.send(256, 256, 2), 0xA1);
    EXPECT_EQ(chip.send(256, 256, 2), 0xA1);
    EXPECT_EQ(chip.get("upgrade-bytes"), "upgrade-bytes=512");
    EXPECT_EQ(chip.send(0, 256, 1), 0x00);
}

TEST(AnUpgrade, StartsOverWithEachStart) {
    upgrading_chip chip;
    ASSERT_EQ(chip.send(0, 256, 1), 0xA1);
    EXPECT_EQ(chip.answer(0x8F, test::from_hex("0200020000")), 0xA1);
    EXPECT_EQ(chip.get("upgrade-bytes"), "upgrade-bytes=0");
    EXPECT_EQ(chip.get("upgrade-kind"), "upgrade-kind=2");
    EXPECT_EQ(chip.get("upgrade-size"), "upgrade-size=512");
    EXPECT_EQ(chip.send(256, 256, 1), 0x00);
    EXPECT_EQ(chip.send(0, 256, 1), 0xA1);
}

TEST(AnUpgrade, OfSizeZeroEndsWhereItsSenderSays) {
    upgrading_chip chip(0);
    ASSERT_EQ(chip.send(0, 256, 1), 0xA1);
    chip.ask(0x91);
    EXPECT_EQ(chip.get("upgrade-state"), "upgrade-state=finished");
}

TEST(AnUpgrade, FinishedTooEarlyIsIncomplete) {
    upgrading_chip chip;
    ASSERT_EQ(chip.send(0, 256, 1), 0xA1);
    chip.ask(0x91);
    EXPECT_EQ(chip.get("upgrade-state"), "upgrade-state=incomplete");
    EXPECT_EQ(chip.send(256, 256, 1), 0x00);
}

TEST(AnUpgrade, NeedsAStart) {
    test_chip chip;
    EXPECT_EQ(chip.answer_to(0x90, test::to_hex(block(0, 10, 1)))[4], 0x00);
    EXPECT_EQ(chip.answer_to(0x8F, "0011")[4], 0x00);
    chip.ask(0x91);
    EXPECT_EQ(chip.get("upgrade-state"), "upgrade-state=idle");
}

}  // namespace
}  // namespace quon::sim
