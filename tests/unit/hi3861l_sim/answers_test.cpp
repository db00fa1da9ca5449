// What the chip answers, and what it keeps.
#include <gtest/gtest.h>

#include <algorithm>

#include "answers.h"
#include "chip_fixture.h"
#include "expected_table.h"

namespace quon::sim {
namespace {

using test::from_hex;

namespace expected = test::expected;
using test::Answer;
using test::ExpectedOperation;

int answer_size(const ExpectedOperation& row) {
    if (row.slot == test::kNoSlot) {
        return expected::kNetRecordSize;
    }
    return row.answer == Answer::kText ? expected::kVersionSize
                                       : expected::service_of(row).reply_size;
}

TEST(AnAnswer, HasTheSizeOfItsRecord) {
    test_chip chip;
    for (const ExpectedOperation& row : expected::messages()) {
        if (row.fills_area()) {
            const char* const request = row.request_size == 1 ? "03" : "";
            EXPECT_EQ(chip.answer_to(row.message(), request).size(),
                      static_cast<size_t>(answer_size(row)))
                << row.name;
        }
    }
}

TEST(AnAnswer, GoesOutForNoCommandThatIsOnlySet) {
    test_chip chip;
    for (const ExpectedOperation& row : expected::sending_operations()) {
        const int size = row.request_size == test::kAnySize ? 9 : row.request_size;
        EXPECT_TRUE(chip.ask(row.message(), pattern(static_cast<size_t>(size))).empty())
            << row.name;
        EXPECT_EQ(chip.log.lines().back().find("ignored"), std::string::npos)
            << chip.log.lines().back();
    }
}

// What a service sends, and where it comes back.
struct set_and_get {
    const char* set;
    const char* get;
    size_t offset;  // of what was set, in the answer
    const char* get_request = "";

    uint8_t set_type() const { return expected::message_of(set); }
    uint8_t get_type() const { return expected::message_of(get); }
    size_t size() const { return static_cast<size_t>(expected::service(set).request_size); }
};

constexpr set_and_get kPairs[] = {
    {"set.pir.info", "get.pir.info", 0},
    {"set.store.params", "get.store.params", 0},
    {"set.wdg.state", "get.wdg.state", 0},
    {"set.alarm", "get.alarm", 0},
    {"set.wakeup.info", "get.wakeup.info", 0},
    {"set.pir.switch", "get.pir.info", 0},
    {"set.pir.sensitivity", "get.pir.info", 1},
    {"set.system.state", "get.status.info", 0},
    {"set.led", "get.status.info", 1},
    {"set.tamper.info", "get.status.info", 2},
    {"set.uart.switch", "get.status.info", 3},
    {"set.wdg.period", "get.status.info", 8},
    {"set.ap.start", "get.config.info", 0},
    {"set.charge.auto.poweron", "get.config.info", 166},
    {"set.wifi.extended.info", "get.wifi.extended.status", 0},
    {"set.wifi.keepalive", "get.wifi.extended.status", 66},
    {"get.wifi.scanf.info", "get.wifi.scanf.info", 0, "1d"},  // its selector
    {"set.soc.time.info", "get.soc.time.list", 1},
    {"set.soc.time.info", "get.soc.time.cur.info", 0},
};

TEST(WhatASetCommandStores, ComesBackInTheMatchingAnswer) {
    for (const set_and_get& each : kPairs) {
        test_chip chip;
        const std::string stored = pattern(each.size(), 0x1D);
        chip.ask(each.set_type(), stored);
        const byte_list answer = chip.answer_to(each.get_type(), each.get_request);
        ASSERT_GE(answer.size(), each.offset + each.size()) << each.set;
        EXPECT_EQ(hex(byte_view(answer).subspan(each.offset, each.size())), stored) << each.set;
    }
}

TEST(WhatASetCommandStores, IsKeptOnlyWhenItsSizeIsRight) {
    for (const set_and_get& each : kPairs) {
        for (const size_t size : {each.size() - 1, each.size() + 1}) {
            if (each.set_type() == each.get_type()) {
                continue;
            }
            test_chip chip;
            const byte_list before = chip.answer_to(each.get_type(), each.get_request);
            chip.ask(each.set_type(), pattern(size, 0x91));
            EXPECT_NE(chip.log.lines().back().find("ignored"), std::string::npos) << each.set;
            EXPECT_EQ(chip.answer_to(each.get_type(), each.get_request), before) << each.set;
        }
    }
}

TEST(AScanWithoutSelector, IsNotAnswered) {
    test_chip chip;
    EXPECT_TRUE(chip.ask(0xA9).empty());
    EXPECT_TRUE(chip.ask(0xA9, "0102").empty());
}

TEST(AnUnknownMessage, IsJournaledAndNotAnswered) {
    for (const int type : {0x00, 0x03, 0x06, 0x7F, 0xA8, 0xAE, 0xFF}) {
        test_chip chip;
        EXPECT_TRUE(chip.ask(static_cast<uint8_t>(type), "0102").empty());
        EXPECT_NE(chip.log.lines().back().find("no such message"), std::string::npos) << type;
    }
}

// --- a message that the catalog alone knows

constexpr catalog::record kWeather = {"weather", 6, 0, {}};
constexpr catalog::record kMood = {"mood", 2, 0, {}};
constexpr catalog::record kLetter = {"letter", 0, 0, {}};
constexpr catalog::message kNewMessages[] = {
    {0xE0, "get_weather", nullptr, &kWeather, 1000}, {0xE1, "set_weather", &kWeather, nullptr, 0},
    {0xE2, "set_mood", &kMood, nullptr, 0},          {0xE3, "set_letter", &kLetter, nullptr, 0},
    {0xE4, "set_nothing", nullptr, nullptr, 0},
};

class AMessageOfTheCatalogAlone : public testing::Test {
  protected:
    AMessageOfTheCatalogAlone() { chip_.records = record_store(kNewMessages); }
    outcome send(size_t index, const std::string& payload) {
        return answer_by_catalog(chip_, kNewMessages[index], from_hex(payload));
    }
    chip_state chip_;
};

TEST_F(AMessageOfTheCatalogAlone, IsAnsweredWithItsRecord) {
    EXPECT_EQ(hex(send(0, "").answer.value()), "000000000000");
    EXPECT_FALSE(send(1, "01 02 03 04 05 06").answer);
    EXPECT_EQ(hex(send(0, "").answer.value()), "010203040506");
}

TEST_F(AMessageOfTheCatalogAlone, KeepsWhatNoQueryAnswersWithUnderItsOwnName) {
    EXPECT_EQ(send(2, "07 08").remark, "");
    EXPECT_EQ(hex(chip_.records.at("mood")), "0708");
    EXPECT_EQ(send(3, "01 02 03").remark, "");
    EXPECT_EQ(hex(chip_.records.at("letter")), "010203");
    EXPECT_EQ(send(4, "").remark, "");
}

TEST_F(AMessageOfTheCatalogAlone, IsIgnoredInAnotherSize) {
    EXPECT_EQ(send(1, "01").remark, "ignored: 1 bytes, expected 6");
    EXPECT_EQ(send(2, "").remark, "ignored: 0 bytes, expected 2");
    EXPECT_EQ(send(4, "00").remark, "ignored: 1 bytes, expected 0");
    EXPECT_EQ(hex(send(0, "").answer.value()), "000000000000");
}

TEST(AProperty, StandsForEachRecordOfTheChip) {
    test_chip chip;
    for (const auto& [name, record] : chip.sim.chip().records.all()) {
        std::string property(name);
        std::ranges::replace(property, '_', '-');
        if (!record.empty()) {
            EXPECT_TRUE(chip.get(property).starts_with(property + "=")) << property;
        }
    }
    EXPECT_EQ(chip.control("set alarm 01020304050607")->ending(), "ok");
    EXPECT_EQ(hex(chip.answer_to(0x99)), "01020304050607");
}

TEST(TheWatchdog, CountsItsFeeds) {
    test_chip chip;
    EXPECT_EQ(chip.get("wdg-feeds"), "wdg-feeds=0");
    chip.ask(0x97);
    chip.ask(0x97);
    EXPECT_EQ(chip.get("wdg-feeds"), "wdg-feeds=2");
}

TEST(TheAccessPoint, RunsBetweenStartAndStop) {
    test_chip chip;
    EXPECT_EQ(chip.get("ap-running"), "ap-running=0");
    chip.ask(0x9A, pattern(166));
    EXPECT_EQ(chip.get("ap-running"), "ap-running=1");
    chip.ask(0x9B);
    EXPECT_EQ(chip.get("ap-running"), "ap-running=0");
}

TEST(Wifi, FollowsConnectAndDisconnect) {
    test_chip chip;
    chip.ask(0x8B);
    EXPECT_EQ(chip.answer_to(0x8C)[0], 0);
    std::string record = hex(test::bytes_of("attic"));
    record.resize(134 * 2, '0');
    chip.ask(0x8A, record);
    EXPECT_EQ(chip.answer_to(0x8C)[0], 1);
    EXPECT_EQ(chip.get("wifi-ssid"), "wifi-ssid=attic");
    EXPECT_EQ(chip.get("wifi-connect"), "wifi-connect=" + record);
}

TEST(Wifi, TakesAConnectRecordWithoutAnyZeroByte) {
    test_chip chip;
    chip.ask(0x8A, std::string(134 * 2, 'f'));
    EXPECT_EQ(chip.get("wifi-ssid").size(), std::string("wifi-ssid=").size() + 32);
}

TEST(ARawCommand, IsKeptWhateverItsLength) {
    test_chip chip;
    for (const size_t size : {size_t{0}, size_t{1}, size_t{384}}) {
        chip.ask(0xA5, pattern(size));
        EXPECT_EQ(chip.get("command"), "command=" + pattern(size));
    }
}

TEST(AList, KeepsItsNewestFiveEntriesOldestFirst) {
    test_chip chip;
    EXPECT_EQ(chip.answer_to(0xAC)[0], 0);
    for (uint8_t i = 1; i <= 6; i++) {
        chip.ask(0xAB, pattern(44, i));
        EXPECT_EQ(int{chip.answer_to(0xAC)[0]}, std::min(int{i}, 5));
    }
    const byte_list list = chip.answer_to(0xAC);
    for (uint8_t i = 0; i < 5; i++) {
        EXPECT_EQ(hex(byte_view(list).subspan(1 + i * 44U, 44)),
                  pattern(44, static_cast<uint8_t>(i + 2)));
    }
}

TEST(ACrashTest, LeavesAnEntryInTheErrorReport) {
    test_chip chip;
    EXPECT_EQ(chip.answer_to(0x9E)[0], 0);
    chip.ask(0x83, "1a0c1f0a0b0c01020304");
    chip.ask(0x9C);
    const byte_list report = chip.answer_to(0x9E);
    EXPECT_EQ(report[0], 1);
    EXPECT_EQ(hex(byte_view(report).subspan(2, 5)), "1a0c1f0a0b");
    for (int i = 0; i < 6; i++) {
        chip.ask(0x9C);
    }
    EXPECT_EQ(chip.answer_to(0x9E)[0], 5);
    EXPECT_EQ(chip.get("crash-tests"), "crash-tests=7");
}

TEST(AFreshChip, AnswersPlausibly) {
    test_chip chip;
    const byte_list version = chip.answer_to(0x80);
    EXPECT_NE(version[0], 0);
    EXPECT_EQ(version[31], 0);
    const byte_list net = chip.answer_to(0x81);
    EXPECT_EQ(hex(byte_view(net).first(12)), "c0a80114ffffff00c0a80101");
    const byte_list wakeup = chip.answer_to(0x82);
    EXPECT_EQ(hex(byte_view(wakeup).subspan(54, 6)), hex(byte_view(net).subspan(12, 6)));
    EXPECT_LE(chip.answer_to(0x86)[0], 100);
    const byte_list time = chip.answer_to(0x84);
    EXPECT_TRUE(time[1] >= 1 && time[1] <= 12 && time[2] >= 1 && time[2] <= 31 && time[3] < 24 &&
                time[4] < 60 && time[5] < 60);
}

}  // namespace
}  // namespace quon::sim
