#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <sstream>

#include "chip_fixture.h"

namespace quon::sim {
namespace {

struct line_case {
    bool from_host;
    const char* frame;
    const char* line;
};

constexpr line_case kLines[] = {
    {true, "84 00 00 00 00", "host->chip 0x84 get_time len 0 empty"},
    {true, "85 01 00 00 00 02", "host->chip 0x85 set_led len 1 value=2"},
    {false, "84 0a 00 00 00 1a 0c 1f 0a 0b 0c 00 00 00 00",
     "chip->host 0x84 get_time len 10 year=26 month=12 day=31 hour=10 minute=11 second=12 "
     "rest_6=00000000"},
    {false, "01 02 00 00 00 ab cd", "chip->host 0x01 event_1 len 2 abcd"},
    {false, "80 03 00 00 00 56 31 00", "chip->host 0x80 get_version len 3 version=V1"},
    {true, "f7 01 00 00 00 ff", "host->chip 0xf7 unknown len 1 ff"},
    {true, "", "host->chip malformed, 0 bytes "},
    {false, "84 00 00", "chip->host malformed, 3 bytes 840000"},
    {false, "84 02 00 00 00 01", "chip->host 0x84 get_time len 2 malformed, 1 payload bytes 01"},
    {false, "84 ff ff ff ff 01",
     "chip->host 0x84 get_time len 4294967295 malformed, 1 payload bytes 01"},
    {false, "84 00 00 00 00 01", "chip->host 0x84 get_time len 0 malformed, 1 payload bytes 01"},
};

TEST(AJournalLine, TellsDirectionTypeNameLengthAndContent) {
    for (const line_case& each : kLines) {
        EXPECT_EQ(describe_frame(each.from_host, test::from_hex(each.frame)), each.line);
    }
}

TEST(TheJournal, PutsTheTimeInFrontAndPrintsEachLineAtOnce) {
    std::FILE* out = std::tmpfile();
    journal log(out);
    log.frame(true, test::from_hex("84 00 00 00 00"));
    log.frame(false, test::from_hex("84"), "fault cut");
    log.note("host gone");
    std::string text(static_cast<size_t>(lseek(fileno(out), 0, SEEK_END)), '\0');
    ASSERT_EQ(pread(fileno(out), text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
    std::fclose(out);
    constexpr std::string_view kTime = "dddd-dd-ddTdd:dd:dd.ddd";
    std::vector<std::string> printed;
    std::istringstream all(text);
    for (std::string line; std::getline(all, line);) {
        std::replace_if(
            line.begin(), line.begin() + static_cast<ptrdiff_t>(kTime.size()),
            [](unsigned char c) { return std::isdigit(c) != 0; }, 'd');
        printed.push_back(line);
    }
    const std::string stamp(kTime);
    EXPECT_EQ(printed,
              (std::vector<std::string>{stamp + " host->chip 0x84 get_time len 0 empty",
                                        stamp + " chip->host malformed, 1 bytes 84 (fault cut)",
                                        stamp + " note host gone"}));
}

TEST(TheJournal, KeepsItsNewestLines) {
    test_chip chip;
    for (int i = 0; i < 2100; i++) {
        chip.log.note(std::to_string(i));
    }
    ASSERT_EQ(chip.log.lines().size(), 2000U);
    EXPECT_TRUE(chip.log.lines().front().ends_with(" note 100"));
    EXPECT_TRUE(chip.log.lines().back().ends_with(" note 2099"));
}

TEST(TheJournal, TellsWhatAFaultDid) {
    test_chip chip;
    chip.control("fault 0x95 twice");
    chip.control("fault 0x95 length 9");
    chip.ask(0x95);
    EXPECT_TRUE(chip.log.lines().back().ends_with("(fault length, twice)"))
        << chip.log.lines().back();
    chip.control("fault 0x95 drop");
    chip.ask(0x95);
    EXPECT_TRUE(chip.log.lines().back().ends_with("note 0x95 get_wdg_state lost (fault drop)"));
}

TEST(TheJournal, TellsOfDatagramsThatAreNoMessages) {
    test_chip chip;
    chip.link.deliver_datagram(byte_list(15));
    EXPECT_NE(chip.log.lines().back().find("note datagram of 15 bytes"), std::string::npos);
    byte_list wrong_port(21);
    put_le(wrong_port, 0, 4, 21);
    put_le(wrong_port, 12, 4, 1101);
    wrong_port[16] = 0x95;
    chip.link.deliver_datagram(wrong_port);
    EXPECT_NE(chip.log.lines()[1].find("port 1101"), std::string::npos);
    EXPECT_EQ(chip.link.sent.size(), 1U);
}

}  // namespace
}  // namespace quon::sim
