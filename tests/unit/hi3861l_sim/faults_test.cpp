#include <gtest/gtest.h>

#include "chip_fixture.h"
#include "text_values.h"

namespace quon::sim {
namespace {

using test::to_hex;

// The chip's answer to a query of the watchdog state 5 is this frame.
constexpr const char* kPlain = "95 01 00 00 00 05";

struct watchdog_chip : test_chip {
    watchdog_chip() { ask(0x94, "05"); }
    explicit watchdog_chip(const std::string& fault) : watchdog_chip() {
        EXPECT_EQ(control("fault " + fault)->ending(), "ok") << fault;
    }
    // The frames that answer one query, joined by '|'.
    std::string query() {
        std::string text;
        for (const byte_list& frame : ask(0x95)) {
            text += (text.empty() ? "" : "|") + to_hex(frame);
        }
        return text;
    }
};

struct fault_case {
    const char* rule;
    const char* frames;
};

// Every action, on the next answer.
constexpr fault_case kCases[] = {
    {"0x95 drop", ""},
    {"95 twice", "95 01 00 00 00 05|95 01 00 00 00 05"},
    {"get_wdg_state answer-type 0x84", "84 01 00 00 00 05"},
    {"any length 0", "95 00 00 00 00 05"},
    {"0x95 length 4294967295", "95 ff ff ff ff 05"},
    {"0x95 length 0x180", "95 80 01 00 00 05"},
    {"0x95 cut 5", "95 01 00 00 00"},
    {"0x95 cut 1", "95"},
    {"0x95 cut 0", ""},
    {"0x95 cut 100", "95 01 00 00 00 05"},
    {"0x95 lengthen 2", "95 01 00 00 00 05 ee ee"},
    {"0x95 corrupt 0", "6a 01 00 00 00 05"},
    {"0x95 corrupt 5", "95 01 00 00 00 fa"},
    {"0x95 corrupt 6", "95 01 00 00 00 05"},
    {"0x95 silent", ""},
    {"0x84 drop", "95 01 00 00 00 05"},
};

TEST(AFault, ChangesTheNextAnswerOfItsTypeAndNoOther) {
    for (const fault_case& each : kCases) {
        watchdog_chip chip(each.rule);
        EXPECT_EQ(chip.query(), each.frames) << each.rule;
        if (std::string_view(each.rule).find("silent") == std::string_view::npos) {
            EXPECT_EQ(chip.query(), kPlain) << each.rule;
        }
    }
}

TEST(AFault, OfCutZeroSendsAnEmptyMessage) {
    watchdog_chip chip("0x95 cut 0");
    EXPECT_EQ(chip.ask(0x95).size(), 1U);
}

TEST(AFault, ActsAsOftenAsItsCountSays) {
    watchdog_chip chip("0x95 drop count 3");
    for (int i = 0; i < 3; i++) {
        EXPECT_EQ(chip.query(), "") << i;
    }
    EXPECT_EQ(chip.query(), kPlain);
    EXPECT_TRUE(chip.control("faults")->lines.empty());
}

TEST(AFault, ActsForeverUntilItIsCleared) {
    watchdog_chip chip("0x95 drop forever");
    for (int i = 0; i < 50; i++) {
        EXPECT_EQ(chip.query(), "");
    }
    EXPECT_EQ(chip.control("clear-faults")->ending(), "ok");
    EXPECT_EQ(chip.query(), kPlain);
}

TEST(AFault, JoinsOthersOfTheSameType) {
    watchdog_chip chip("0x95 lengthen 3");
    chip.control("fault 0x95 length 4");
    chip.control("fault any twice");
    EXPECT_EQ(chip.query(), "95 04 00 00 00 05 ee ee ee|95 04 00 00 00 05 ee ee ee");
}

TEST(AFault, ThatDropsACommandKeepsTheChipFromObeyingIt) {
    watchdog_chip chip("0x94 drop");
    chip.ask(0x94, "09");
    EXPECT_EQ(chip.query(), kPlain);
    chip.ask(0x94, "09");
    EXPECT_EQ(chip.query(), "95 01 00 00 00 09");
}

TEST(AFault, ForAnAnswerWaitsThroughCommandsWithoutOne) {
    watchdog_chip chip("any twice");
    chip.ask(0x94, "05");
    EXPECT_EQ(chip.query(), "95 01 00 00 00 05|95 01 00 00 00 05");
}

TEST(AFault, DelaysTheAnswerButNotTheChip) {
    watchdog_chip chip("0x95 delay 40");
    const auto start = event_loop::clock::now();
    EXPECT_EQ(chip.query(), "");
    EXPECT_EQ(chip.query(), kPlain);
    ASSERT_TRUE(chip.run_until([&] { return chip.link.sent.size() == 2; }));
    EXPECT_GE(event_loop::clock::now() - start, std::chrono::milliseconds(40));
    EXPECT_EQ(to_hex(chip.link.sent[1]), kPlain);
}

TEST(AFault, DelaysBothOfTwoAnswers) {
    watchdog_chip chip("0x95 delay 5");
    chip.control("fault 0x95 twice");
    EXPECT_EQ(chip.query(), "");
    EXPECT_TRUE(chip.run_until([&] { return chip.link.sent.size() == 2; }));
}

TEST(AFault, ActsOnEventsToo) {
    watchdog_chip chip("0x01 cut 2");
    chip.control("fault 0x01 drop count 2");
    for (int i = 0; i < 3; i++) {
        EXPECT_EQ(chip.control("event raw 01 aabb")->ending(), "ok");
    }
    ASSERT_EQ(chip.link.sent.size(), 1U);
    EXPECT_EQ(to_hex(chip.link.sent[0]), "01 02");
}

TEST(ASilentChip, HearsAndObeysButSendsNothing) {
    watchdog_chip chip("0x95 silent");
    EXPECT_EQ(chip.query(), "");
    EXPECT_EQ(chip.get("silent"), "silent=1");
    chip.ask(0x94, "07");
    EXPECT_TRUE(chip.ask(0x80).empty());
    EXPECT_EQ(chip.control("event raw 01 aa")->ending(), "ok");
    EXPECT_TRUE(chip.link.sent.empty());
    EXPECT_EQ(chip.control("clear-faults")->ending(), "ok");
    EXPECT_EQ(chip.query(), "");
    EXPECT_EQ(chip.control("back")->ending(), "ok");
    EXPECT_EQ(chip.query(), "95 01 00 00 00 07");
}

TEST(ASilentChip, ComesBackAtAMessage) {
    watchdog_chip chip("0x80 silent");
    chip.control("fault 0x95 back");
    EXPECT_TRUE(chip.ask(0x80).empty());
    EXPECT_TRUE(chip.ask(0x84).empty());
    EXPECT_EQ(chip.query(), kPlain);
    EXPECT_EQ(chip.get("silent"), "silent=0");
}

TEST(ASilentChip, KeepsBackWhatWasDelayed) {
    watchdog_chip chip("0x95 delay 1");
    chip.query();
    chip.control("silent");
    bool later = false;
    chip.loop.after(std::chrono::milliseconds(5), [&] { later = true; });
    ASSERT_TRUE(chip.run_until([&] { return later; }));
    EXPECT_TRUE(chip.link.sent.empty());
}

TEST(ASilentChip, StillSendsRawMessages) {
    watchdog_chip chip;
    chip.control("silent");
    EXPECT_EQ(chip.control("raw 95")->ending(), "ok");
    EXPECT_EQ(chip.link.sent.back(), byte_list{0x95});
}

TEST(AFaultRule, IsShownAsItIsWritten) {
    constexpr fault_case kShown[] = {
        {"84 drop", "0x84 drop count 1"},
        {"get_time delay 500 count 3", "0x84 delay 500ms count 3"},
        {"84 delay 1.5s forever", "0x84 delay 1500ms forever"},
        {"84 delay 0.25s", "0x84 delay 250ms count 1"},
        {"84 delay 300ms", "0x84 delay 300ms count 1"},
        {"any answer-type 85 forever", "any answer-type 0x85 forever"},
        {"0x03 length 4294967295", "0x03 length 4294967295 count 1"},
    };
    for (const fault_case& each : kShown) {
        EXPECT_EQ(show_fault(parse_fault(each.rule)), each.frames);
        EXPECT_EQ(show_fault(parse_fault(each.frames)), each.frames);
    }
}

TEST(AFaultRule, IsRefusedWhenItMakesNoSense) {
    for (const char* text : {"",
                             "0x84",
                             "0x184 drop",
                             "zz drop",
                             "0x84 explode",
                             "0x84 delay",
                             "0x84 delay soon",
                             "0x84 delay -1",
                             "0x84 delay 3600001",
                             "0x84 delay 3601s",
                             "0x84 delay 1m",
                             "0x84 delay ms",
                             "0x84 delay 1e3",
                             "0x84 drop 3",
                             "0x84 drop count",
                             "0x84 drop count 0",
                             "0x84 drop count x",
                             "0x84 drop forever 2",
                             "0x84 drop count 2 more",
                             "0x84 cut 65536",
                             "0x84 length 4294967296",
                             "0x84 answer-type 100",
                             "0x84 corrupt"}) {
        EXPECT_THROW(parse_fault(text), bad_value) << text;
    }
}

}  // namespace
}  // namespace quon::sim
