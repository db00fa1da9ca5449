// The control commands, each with its answer and its errors.
#include <gtest/gtest.h>

#include <algorithm>

#include "chip_fixture.h"
#include "properties.h"

namespace quon::sim {
namespace {

using test::to_hex;

TEST(Help, NamesEveryCommandEveryFaultAndEveryValue) {
    test_chip chip;
    const auto answer = chip.control("help");
    EXPECT_EQ(answer->ending(), "ok");
    std::string text;
    for (const std::string& line : answer->lines) {
        text += line + "\n";
    }
    for (const char* word :
         {"help",          "state",    "get NAME", "set NAME VALUE",   "event net",
          "event raw",     "raw",      "frames",   "wait-frame",       "wait-host",
          "forget",        "fault ",   "faults",   "clear-faults",     "silent",
          "back",          "quit",     "drop",     "delay TIME",       "twice",
          "answer-type T", "length N", "cut N",    "lengthen N",       "corrupt OFFSET",
          "wakeup-reason", "server",   "battery",  "firmware-version", "soc-min-version",
          "net ",          "wdg-state"}) {
        EXPECT_NE(text.find(word), std::string::npos) << word;
    }
}

TEST(State, ListsEveryValueOnceAsNameAndValue) {
    test_chip chip;
    const auto answer = chip.control("state");
    EXPECT_EQ(answer->ending(), "ok");
    ASSERT_EQ(answer->lines.size(), properties().size());
    for (size_t i = 0; i < answer->lines.size(); i++) {
        EXPECT_TRUE(answer->lines[i].starts_with(std::string(properties()[i].name) + "="));
        EXPECT_EQ(chip.get(std::string(properties()[i].name)), answer->lines[i]);
    }
}

struct set_case {
    const char* name;
    const char* value;
    const char* shown;
    uint8_t get;        // the answer that shows it,
    size_t offset;      // from here on
    const char* bytes;  // as these
};

constexpr set_case kSetCases[] = {
    {"wakeup-reason", "13", "13", 0x82, 0, "0d"},
    {"wakeup-mac", "00:00:00:00:00:00", "00:00:00:00:00:00", 0x82, 54, "00 00 00 00 00 00"},
    {"wakeup-time1", "305419896", "305419896", 0x82, 60, "78 56 34 12"},
    {"wakeup-time2", "0x10", "16", 0x82, 64, "10 00 00 00"},
    {"server", "10.1.2.3:9000", "10.1.2.3:9000", 0x93, 38, "0a 01 02 03 28 23"},
    {"server", "none", "0.0.0.0:0", 0x93, 38, "00 00 00 00 00 00"},
    {"battery", "42", "42", 0x86, 0, "2a"},
    {"firmware-version", "V2.1 beta", "V2.1 beta", 0x80, 0, "56 32 2e 31 20 62 65 74 61 00 00"},
    {"firmware-version", "", "", 0x80, 0, "00 00"},
    {"soc-min-version", "7", "7", 0x9F, 0, "37 00 00"},
    {"wdg-state", "12", "12", 0x95, 0, "0c"},
    {"wdg-period", "70000", "70000", 0xA3, 8, "70 11 01 00"},
    {"led", "3", "3", 0xA3, 1, "03"},
    {"pir-switch", "0", "0", 0x89, 0, "00"},
    {"pir-sensitivity", "255", "255", 0x89, 1, "ff"},
    {"wifi-state", "0", "0", 0x8C, 0, "00"},
    {"mac", "02:aa:bb:cc:dd:ee", "02:aa:bb:cc:dd:ee", 0x81, 12, "02 aa bb cc dd ee"},
    {"net", "10.0.0.5/8 gw 10.0.0.1 dns 1.1.1.1,9.9.9.9 mac 02:00:00:00:00:07",
     "10.0.0.5/8 gw 10.0.0.1 dns 1.1.1.1,9.9.9.9 mac 02:00:00:00:00:07", 0x81, 0,
     "0a 00 00 05 ff 00 00 00 0a 00 00 01 02 00 00 00 00 07 01 01 01 01 09 09 09 09"},
    {"alarm", "01 02030405 06 07", "01020304050607", 0x99, 0, "01 02 03 04 05 06 07"},
};

TEST(Set, ChangesWhatTheChipAnswers) {
    for (const set_case& each : kSetCases) {
        test_chip chip;
        const std::string name = each.name;
        EXPECT_EQ(chip.control("set " + name + " " + each.value)->ending(), "ok") << name;
        EXPECT_EQ(chip.get(name), name + "=" + each.shown);
        const byte_list answer = chip.answer_to(each.get);
        const size_t size = test::from_hex(each.bytes).size();
        ASSERT_GE(answer.size(), each.offset + size);
        EXPECT_EQ(to_hex(byte_view(answer).subspan(each.offset, size)), each.bytes) << name;
    }
}

TEST(Set, OfAllMacsReachesTheWakeUpInfoToo) {
    test_chip chip;
    chip.control("set mac 02:aa:bb:cc:dd:ee");
    EXPECT_EQ(chip.get("wakeup-mac"), "wakeup-mac=02:aa:bb:cc:dd:ee");
}

TEST(Set, GivesTheTimeThatThenRuns) {
    test_chip chip;
    EXPECT_EQ(chip.control("set time 2030-02-28 23:59:59")->ending(), "ok");
    EXPECT_TRUE(chip.get("time") == "time=2030-02-28 23:59:59" ||
                chip.get("time") == "time=2030-03-01 00:00:00");
    EXPECT_TRUE(chip.run_until([&] { return chip.get("time") >= "time=2030-03-01 00:00:00"; }));
}

TEST(Set, TakesEveryBinaryRecordOfItsSizeOnly) {
    test_chip chip;
    for (const property& each : properties()) {
        if (each.value_help != "HEX") {
            continue;
        }
        const std::string name(each.name);
        const size_t size = (chip.get(name).size() - name.size() - 1) / 2;
        const std::string data = pattern(size);
        EXPECT_EQ(chip.control("set " + name + " " + data)->ending(), "ok");
        EXPECT_EQ(chip.get(name), name + "=" + data);
        EXPECT_NE(chip.control("set " + name + " " + data + "00")->ending(), "ok") << name;
        EXPECT_EQ(chip.get(name), name + "=" + data);
    }
}

TEST(AnEvent, OfTheNetworkCarriesItsRecordAndChangesTheChips) {
    test_chip chip;
    EXPECT_EQ(chip.control("event net 192.168.7.20/24 gw 192.168.7.1 dns 8.8.8.8,1.1.1.1 "
                           "mac 02:00:00:00:00:01")
                  ->ending(),
              "ok");
    ASSERT_EQ(chip.link.sent.size(), 1U);
    const byte_list& frame = chip.link.sent[0];
    EXPECT_EQ(to_hex(byte_view(frame).first(5)), "03 1c 00 00 00");
    EXPECT_EQ(frame[6], 1);
    const std::string record =
        "c0 a8 07 14 ff ff ff 00 c0 a8 07 01 02 00 00 00 00 01 08 08 08 08 01 01 01 01";
    EXPECT_EQ(to_hex(byte_view(frame).subspan(7)), record);
    EXPECT_EQ(to_hex(chip.answer_to(0x81)), record);
}

TEST(AnEvent, OfTheNetworkKeepsWhatItDoesNotName) {
    test_chip chip;
    chip.control("set net 10.0.0.5/8 gw 10.0.0.1 dns 1.1.1.1,9.9.9.9 mac 02:00:00:00:00:07");
    EXPECT_EQ(chip.control("event net 10.0.0.6/16 state 2 dns 4.4.4.4")->ending(), "ok");
    EXPECT_EQ(chip.link.sent.back()[6], 2);
    EXPECT_EQ(chip.get("net"),
              "net=10.0.0.6/16 gw 10.0.0.1 dns 4.4.4.4,0.0.0.0 mac 02:00:00:00:00:07");
}

TEST(AnEvent, RawHasTheTypeAndPayloadGiven) {
    test_chip chip;
    EXPECT_EQ(chip.control("event raw 01 0102 03")->ending(), "ok");
    EXPECT_EQ(to_hex(chip.link.sent.back()), "01 03 00 00 00 01 02 03");
    EXPECT_EQ(chip.control("event raw 5")->ending(), "ok");
    EXPECT_EQ(to_hex(chip.link.sent.back()), "05 00 00 00 00");
    EXPECT_EQ(chip.control("event raw 0x84 ff")->ending(), "ok");
    EXPECT_EQ(to_hex(chip.link.sent.back()), "84 01 00 00 00 ff");
}

TEST(ARawMessage, MayHaveAnyLength) {
    test_chip chip;
    for (const char* message : {"", "84", "84 00", "84 00 00", "84 00 00 00", "01 ff ff ff ff"}) {
        EXPECT_EQ(chip.control(std::string("raw ") + message)->ending(), "ok");
        EXPECT_EQ(to_hex(chip.link.sent.back()), message);
    }
}

TEST(AnEvent, ThatDoesNotReachAHostIsAnError) {
    test_chip chip;
    chip.link.next = delivery::no_host;
    EXPECT_EQ(chip.control("event raw 01")->ending(), "error: not sent: no host is connected");
    EXPECT_EQ(chip.control("raw 01")->ending(), "error: not sent: no host is connected");
    chip.link.next = delivery::overrun;
    EXPECT_EQ(chip.control("event raw 01")->ending(), "error: not sent: the host does not read");
    EXPECT_NE(chip.log.lines().back().find("note not sent: the host does not read"),
              std::string::npos);
}

TEST(Frames, GivesTheJournalsLastLines) {
    test_chip chip;
    chip.ask(0x94, "05");
    chip.ask(0x95);
    EXPECT_EQ(chip.control("frames")->lines.size(), 3U);
    const auto answer = chip.control("frames 1");
    ASSERT_EQ(answer->lines.size(), 1U);
    EXPECT_NE(answer->lines[0].find("chip->host 0x95 get_wdg_state len 1 state=5"),
              std::string::npos);
    EXPECT_EQ(chip.control("frames 100")->lines.size(), 3U);
    EXPECT_EQ(chip.control("forget")->ending(), "ok");
    EXPECT_TRUE(chip.control("frames")->lines.empty());
}

TEST(WaitFrame, AnswersAtOnceWhatHasCome) {
    test_chip chip;
    chip.ask(0x85, "02");
    chip.ask(0x85, "03");
    const auto answer = chip.control("wait-frame set_led count 2 timeout 1");
    EXPECT_EQ(answer->ending(), "ok");
    EXPECT_EQ(answer->lines, (std::vector<std::string>{"received=2", "last=850100000003"}));
}

TEST(WaitFrame, AnswersWhenTheLastOneComes) {
    test_chip chip;
    const auto answer = chip.control("wait-frame 85 count 2");
    chip.ask(0x85, "02");
    chip.ask(0x84);
    EXPECT_TRUE(answer->endings.empty());
    chip.ask(0x85, "03");
    EXPECT_EQ(answer->ending(), "ok");
    chip.ask(0x85, "04");
    EXPECT_EQ(answer->endings.size(), 1U);
}

TEST(WaitFrame, CountsFromTheLastForget) {
    test_chip chip;
    chip.ask(0x85, "02");
    chip.control("forget");
    const auto answer = chip.control("wait-frame 85");
    EXPECT_TRUE(answer->endings.empty());
    chip.ask(0x85, "04");
    EXPECT_EQ(answer->lines[0], "received=1");
}

TEST(WaitFrame, GivesUpAfterItsTimeout) {
    test_chip chip;
    const auto answer = chip.control("wait-frame 0x84 count 3 timeout 5");
    chip.ask(0x84);
    ASSERT_TRUE(chip.run_until([&] { return !answer->endings.empty(); }));
    EXPECT_EQ(answer->ending(), "error: timeout: 1 of 3 frames 0x84 get_time");
    chip.ask(0x84);
    chip.ask(0x84);
    EXPECT_EQ(answer->endings.size(), 1U);
}

TEST(WaitFrame, EndsWhenItsClientHasGone) {
    test_chip chip;
    const auto answer = chip.control("wait-frame 0x84");
    answer->left = true;
    chip.ask(0x84);
    EXPECT_TRUE(answer->endings.empty());
}

TEST(WaitFrame, CountsNoMalformedFrame) {
    test_chip chip;
    const auto answer = chip.control("wait-frame 0x84");
    for (const char* frame : {"", "84", "84 00 00 00", "84 01 00 00 00", "84 00 00 00 00 01"}) {
        EXPECT_TRUE(chip.ask(test::from_hex(frame)).empty()) << frame;
    }
    EXPECT_TRUE(answer->endings.empty());
    EXPECT_EQ(chip.get("frames-in"), "frames-in=5");
}

TEST(WaitHost, AnswersWhenTheHostIsThere) {
    test_chip chip;
    EXPECT_EQ(chip.control("wait-host")->ending(), "ok");
    chip.link.host_changes(false);
    EXPECT_EQ(chip.get("host"), "host=0");
    const auto waiting = chip.control("wait-host timeout 10000");
    const auto late = chip.control("wait-host timeout 1");
    EXPECT_TRUE(waiting->endings.empty());
    ASSERT_TRUE(chip.run_until([&] { return !late->endings.empty(); }));
    EXPECT_EQ(late->ending(), "error: timeout: no host");
    chip.link.host_changes(true);
    EXPECT_EQ(waiting->ending(), "ok");
}

TEST(Quit, EndsTheLoop) {
    test_chip chip;
    EXPECT_EQ(chip.control("quit")->ending(), "ok");
    chip.loop.run();
}

// Every command that cannot be understood: exactly one answer, an error, and the chip as it was.
TEST(AMalformedCommand, IsAnErrorAndChangesNothing) {
    test_chip chip;
    const auto before = chip.control("state")->lines;
    const std::string long_version(32, 'v');
    for (const std::string& line : std::vector<std::string>{"",
                                                            " ",
                                                            "foo",
                                                            "HELP",
                                                            "state now",
                                                            "get",
                                                            "get nothing",
                                                            "get led nothing",
                                                            "help nothing",
                                                            "help get set",
                                                            "set",
                                                            "set nothing 1",
                                                            "set led",
                                                            "set led x",
                                                            "set led 256",
                                                            "set led -1",
                                                            "set led 1 2",
                                                            "set battery 101",
                                                            "set wakeup-reason 256",
                                                            "set wdg-period 4294967296",
                                                            "set server 10.0.0.1",
                                                            "set server 10.0.0.1:65536",
                                                            "set server 10.0.0:1",
                                                            "set server :1",
                                                            "set firmware-version " + long_version,
                                                            "set net",
                                                            "set net 10.0.0.1",
                                                            "set net 10.0.0.1/33",
                                                            "set net 10.0.0.1/x",
                                                            "set net 10.0.0.1/8 gw",
                                                            "set net 10.0.0.1/8 via 1.1.1.1",
                                                            "set net 10.0.0.1/8 dns 1.1.1.1,",
                                                            "set mac 02:00:00:00:00",
                                                            "set mac 02:00:00:00:00:00:00",
                                                            "set mac 02:00:00:00:00:100",
                                                            "set mac 2",
                                                            "set time now",
                                                            "set time 2030-01-01",
                                                            "set time 2030-01-01 10:00:00 pm",
                                                            "set time 9999-01-01 00:00:00",
                                                            "set time 2128-01-01 00:00:00",
                                                            "set time 1871-01-01 00:00:00",
                                                            "set time 2030-02-30 10:00:00",
                                                            "set time 2030--1-01 10:00:00",
                                                            "set time 2030-01-01 24:00:00",
                                                            "set time 2030-01-01 10:60:00",
                                                            "set time 2030-01-01 10:00:60",
                                                            "set alarm 01",
                                                            "set alarm 0102030405060",
                                                            "set alarm zz",
                                                            "set upgrade-bytes 1",
                                                            "set host 1",
                                                            "set silent 2",
                                                            "event",
                                                            "event net",
                                                            "event foo",
                                                            "event raw",
                                                            "event raw 100",
                                                            "event raw zz",
                                                            "event raw 01 0",
                                                            "event raw 01 0x01",
                                                            "event net 1.2.3.4/24 state 256",
                                                            "raw 0",
                                                            "raw xy",
                                                            "frames x",
                                                            "frames 1 2",
                                                            "wait-frame",
                                                            "wait-frame 84 count",
                                                            "wait-frame 84 count x",
                                                            "wait-frame 84 for 3",
                                                            "wait-frame 84 timeout 3600001",
                                                            "wait-host count 1",
                                                            "fault",
                                                            "fault 84 nothing",
                                                            "faults all",
                                                            "clear-faults 84",
                                                            "silent now",
                                                            "back again",
                                                            "quit now",
                                                            "forget it"}) {
        const auto answer = chip.control(line);
        EXPECT_EQ(answer->endings.size(), 1U) << line;
        EXPECT_TRUE(answer->ending().starts_with("error: ")) << line << ": " << answer->ending();
        EXPECT_TRUE(answer->lines.empty()) << line;
    }
    const auto same_time = [](std::vector<std::string> lines) {
        std::erase_if(lines, [](const std::string& line) { return line.starts_with("time="); });
        return lines;
    };
    EXPECT_EQ(same_time(chip.control("state")->lines), same_time(before));
    EXPECT_TRUE(chip.link.sent.empty());
    EXPECT_TRUE(chip.control("faults")->lines.empty());
}

}  // namespace
}  // namespace quon::sim
