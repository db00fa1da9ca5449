#include "quon_mcu/log_decoder.h"

#include <gtest/gtest.h>

#include <cstdio>

namespace quon::client {
namespace {

using lines = std::vector<std::string>;

// A dump as the daemon's log has it: 16 bytes a line, a further blank after each eight, then two
// blanks and the characters.
lines dump_of(const byte_list& frame) {
    lines text;
    for (size_t start = 0; start < frame.size(); start += 16) {
        char head[64];
        std::snprintf(head, sizeof(head),
                      "D/HEX recv msg: %04X-%04X: ", static_cast<unsigned>(start),
                      static_cast<unsigned>(start + 15));
        std::string line = head;
        std::string characters;
        for (size_t j = 1; j <= 16; ++j) {
            char piece[8] = "   ";
            if (start + j - 1 < frame.size()) {
                const uint8_t byte = frame[start + j - 1];
                std::snprintf(piece, sizeof(piece), "%02X ", byte);
                characters += byte >= 32 && byte <= 126 ? static_cast<char>(byte) : '.';
            }
            line += piece;
            line += j % 8 == 0 ? " " : "";
        }
        text.push_back(line + "  " + characters);
    }
    return text;
}

byte_list frame_of(uint8_t type, const byte_list& payload) {
    byte_list frame = {type, static_cast<uint8_t>(payload.size()),
                       static_cast<uint8_t>(payload.size() >> 8), 0, 0};
    frame.insert(frame.end(), payload.begin(), payload.end());
    return frame;
}

struct decoded {
    lines frames;
    size_t strays;
};

decoded decode_lines(const lines& text) {
    decoded result;
    log_decoder decoder([&result](const logged_frame& frame) {
        result.frames.push_back(frame.bytes.empty() ? frame.time + "|" + frame.text
                                                    : describe_frame(frame.way, frame.bytes));
    });
    for (const std::string& each : text) {
        decoder.line(each);
    }
    decoder.end();
    result.strays = decoder.strays();
    return result;
}

const byte_list kTimePayload = {26, 2, 3, 4, 5, 6, 0, 0, 0, 0};
const std::string kTimeLine =
    "chip->host 0x84 get_time len 10 year=26 month=2 day=3 hour=4 minute=5 second=6 "
    "rest_6=00000000";

TEST(ADump, OfOneLineIsOneFrame) {
    EXPECT_EQ(decode_lines({"D/HEX recv msg: 0000-000F: 84 0A 00 00 00 1A 02 03  04 05 06 00 00 00 "
                            "00      ..............."})
                  .frames,
              lines{kTimeLine});
}

TEST(ADump, OfSeveralLinesIsOneFrame) {
    for (const size_t size : {11u, 12u, 27u, 28u, 71u, 256u, 300u}) {
        const byte_list payload(size, 0x41);
        EXPECT_EQ(decode_lines(dump_of(frame_of(0xA7, payload))).frames,
                  lines{"chip->host 0xa7 get_config_info len " + std::to_string(size) + " " +
                        catalog::to_hex(payload)});
    }
}

TEST(ADump, FollowsAnotherAtOnce) {
    lines text = dump_of(frame_of(0xA7, byte_list(11)));  // fills its line
    const lines second = dump_of(frame_of(0x84, kTimePayload));
    text.insert(text.end(), second.begin(), second.end());
    const decoded result = decode_lines(text);
    ASSERT_EQ(result.frames.size(), 2u);
    EXPECT_EQ(result.frames[1], kTimeLine);
    EXPECT_EQ(result.strays, 0u);
}

TEST(ADump, StandsAmongOtherLinesAndColours) {
    lines text = {"[quon_mcu_daemon] something else", "",
                  "\x1b[32;1mI/HI3861L  [01-01 00:00:00.000] (f:1) upgrade start"};
    const lines dump = dump_of(frame_of(0x84, kTimePayload));
    text.push_back("\x1b[0m  daemon | " + dump[0]);
    text.emplace_back("words behind it");
    EXPECT_EQ(decode_lines(text).frames, lines{kTimeLine});
}

TEST(ADump, KeepsTheTimeThatItsLogPutsBeforeIt) {
    const lines dump = dump_of(frame_of(0xA7, byte_list(20, 1)));
    const std::pair<const char*, const char*> rows[] = {
        {"2026-02-03T04:05:06.789 ", "2026-02-03T04:05:06.789"},
        {"Feb  3 04:05:06 camera quon_mcu_daemon[12]: ", "Feb  3 04:05:06"},
        {"  daemon | ", ""},
        {"", ""},
    };
    for (const auto& [before, time] : rows) {
        std::vector<std::string> times;
        log_decoder decoder([&times](const logged_frame& frame) { times.push_back(frame.time); });
        for (const std::string& each : dump) {
            decoder.line(before + each);
        }
        decoder.end();
        EXPECT_EQ(times, lines{time}) << before;
    }
}

TEST(AJournalsWords, AreFieldsByTheirRecord) {
    using pairs = std::vector<std::pair<std::string, std::string>>;
    EXPECT_EQ(journal_fields(*catalog::find_record("time"), "year=26 month=2 rest_6=00ff"),
              (pairs{{"year", "26"}, {"month", "2"}, {"rest_6", "00ff"}}));
    EXPECT_EQ(journal_fields(*catalog::find_record("version"), "version=V1 x=2  beta"),
              (pairs{{"version", "V1 x=2  beta"}}));
    EXPECT_EQ(journal_fields(*catalog::find_record("pir_info"), "0a0b"), pairs{});
}

TEST(ADump, MayHaveALineOfAnotherThreadInIt) {
    lines text = dump_of(frame_of(0xA7, byte_list(20, 1)));
    ASSERT_EQ(text.size(), 2u);
    text.insert(text.begin() + 1, "new client connection");
    EXPECT_EQ(decode_lines(text).frames,
              lines{"chip->host 0xa7 get_config_info len 20 " + catalog::to_hex(byte_list(20, 1))});
}

TEST(ADump, DoesNotTakeItsCharactersForDigits) {
    EXPECT_EQ(decode_lines(dump_of(frame_of(0x80, {'A', 'B', ' ', '4', '1', 0}))).frames,
              lines{"chip->host 0x80 get_version len 6 version=AB 41"});
}

TEST(ADump, OfAMalformedFrameSaysSo) {
    EXPECT_EQ(decode_lines(dump_of({0x84, 10, 0})).frames,
              lines{"chip->host malformed, 3 bytes 840a00"});
    byte_list longer = frame_of(0x84, kTimePayload);
    longer[1] = 3;
    EXPECT_EQ(decode_lines(dump_of(longer)).frames,
              lines{"chip->host 0x84 get_time len 3 malformed, 10 payload bytes " +
                    catalog::to_hex(kTimePayload)});
    byte_list endless = frame_of(0x84, kTimePayload);
    endless[4] = 0xff;
    EXPECT_EQ(decode_lines(dump_of(endless)).frames,
              lines{"chip->host 0x84 get_time len 4278190090 malformed, 10 payload bytes " +
                    catalog::to_hex(kTimePayload)});
}

TEST(ADumpLine, WithoutItsBeginningIsAStray) {
    lines text = dump_of(frame_of(0xA7, byte_list(20, 1)));
    text.erase(text.begin());
    const decoded result = decode_lines(text);
    EXPECT_EQ(result.frames, lines{});
    EXPECT_EQ(result.strays, 1u);
    EXPECT_EQ(decode_lines({"D/HEX recv msg: 00", "D/HEX recv msg: 00G0-000F: 00 "}).strays, 2u);
}

TEST(ADumpOfSomethingElse, IsNoFrame) {
    EXPECT_EQ(decode_lines({"D/HEX other: 0000-000F: 84 00 00 00 00 "}).frames, lines{});
}

TEST(AJournalLine, IsAFrameWithItsTime) {
    EXPECT_EQ(decode_lines({"2026-02-03T04:05:06.789 host->chip 0x85 set_led len 1 value=2",
                            "2026-02-03T04:05:06.790 chip->host 0x84 get_time len 0 empty"})
                  .frames,
              (lines{"2026-02-03T04:05:06.789|0x85 set_led len 1 value=2",
                     "2026-02-03T04:05:06.790|0x84 get_time len 0 empty"}));
}

TEST(AJournalNote, IsNoFrame) {
    EXPECT_EQ(decode_lines({"2026-02-03T04:05:06.789 note the host is gone",
                            "2026-02-03T04:05:06.789 note silent, not sent: chip->host 0x80 "
                            "get_version len 1 version=x"})
                  .frames,
              lines{});
}

}  // namespace
}  // namespace quon::client
