// What one log line looks like.
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <ctime>
#include <ostream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "captured_output.h"
#include "profile_for_test.h"
#include "quon_log.h"

namespace {

using quon::test::captured_output;
using quon::test::OutputCapture;
using quon::test::set_profile;

class ALine : public quon::test::WithDefaultProfile {};

struct Call {
    unsigned level = QN_LOG_ERROR;
    const char* tag = "HI3861L";
    const char* file = "hi3861l_dev";
    const char* func = "main";
    int line = 594;
    const char* text = "message";
};

std::string printed(const Call& call) {
    return captured_output([&] {
        QnLogPrint(call.level, call.tag, call.file, call.func, call.line, "%s", call.text);
    });
}

bool is_stamp(std::string_view text) {
    constexpr std::string_view kShape = "00-00 00:00:00.000";
    return std::equal(
        text.begin(), text.end(), kShape.begin(), kShape.end(),
        [](char c, char wanted) { return wanted == '0' ? c >= '0' && c <= '9' : c == wanted; });
}

// Replaces each well-formed time stamp, which no test can foresee.
std::string with_time_named(std::string line) {
    constexpr size_t kLength = std::string_view("11-16 07:59:01.123").size();
    for (size_t at = 0; at + kLength <= line.size(); at++) {
        if (is_stamp(std::string_view(line).substr(at, kLength))) {
            line.replace(at, kLength, "TIME");
        }
    }
    return line;
}

// The thread field: "tid:" and the first five digits of the thread's handle.
std::string own_thread_field() {
    return "tid:" + std::to_string(static_cast<long>(pthread_self())).substr(0, 5);
}

TEST_F(ALine, UnderTheDefaultProfileHasColourLevelTagTimeFunctionAndLine) {
    const std::string line = captured_output([] {
        QnLogPrint(1, "QUON_MCU_DAEMON", "quon_mcu_daemon", "main", 594, "fopen %s failed\n",
                   "/tmp/x");
    });
    EXPECT_EQ(with_time_named(line),
              "\x1b[31;1mE/QUON_MCU_DAEMON [TIME] (main:594) fopen /tmp/x failed\n\x1b[0m");
}

struct MaskRow {
    std::uint32_t mask;
    std::string line;
};

void PrintTo(const MaskRow& row, std::ostream* out) {
    *out << "mask " << row.mask;
}

TEST_F(ALine, CarriesTheFieldsOfItsMask) {
    const std::string tid = own_thread_field();
    const std::vector<MaskRow> rows = {
        {0x00, "message"},
        // level and tag
        {0x01, "E/ message"},
        {0x02, "HI3861L  message"},
        {0x03, "E/HI3861L  message"},
        // the bracket group
        {0x04, "[TIME] message"},
        {0x08, "[] message"},
        {0x10, "[" + tid + "] message"},
        {0x0C, "[TIME ] message"},
        {0x14, "[TIME " + tid + "] message"},
        {0x18, "[" + tid + "] message"},
        {0x1C, "[TIME " + tid + "] message"},
        // the location group
        {0x20, "(hi3861l_dev) message"},
        {0x40, "(main) message"},
        {0x80, "(594) message"},
        {0x60, "(hi3861l_dev main) message"},
        {0xA0, "(hi3861l_dev:594) message"},
        {0xC0, "(main:594) message"},
        {0xE0, "(hi3861l_dev main:594) message"},
        // groups together
        {0x88, "[] (594) message"},
        {0xC7, "E/HI3861L  [TIME] (main:594) message"},
        {0xFF, "E/HI3861L  [TIME " + tid + "] (hi3861l_dev main:594) message"},
        // bits without a meaning
        {0x100, "message"},
        {0xFFFFFF01, "E/ message"},
    };
    for (const MaskRow& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row));
        set_profile({.fmt_mask = row.mask});
        EXPECT_EQ(with_time_named(printed({})), row.line);
        set_profile({.fmt_mask = row.mask, .color = true});
        EXPECT_EQ(with_time_named(printed({})), "\x1b[31;1m" + row.line + "\x1b[0m");
    }
}

struct LevelRow {
    unsigned level;
    const char* letter;
    const char* color;
};

TEST_F(ALine, ShowsItsLevelAsALetterAndAColour) {
    const std::vector<LevelRow> rows = {
        {QN_LOG_FATAL, "F/", "35;1m"},  // bold magenta
        {QN_LOG_ERROR, "E/", "31;1m"},  // bold red
        {QN_LOG_WARN, "W/", "33;1m"},   // bold yellow
        {QN_LOG_INFO, "I/", "32;1m"},   // bold green
        {QN_LOG_DEBUG, "D/", "36;1m"},  // bold cyan
        {5, "D/", "36;1m"},
        {6, "D/", "36;1m"},
        {0xFFFFFFFF, "D/", "36;1m"},
    };
    set_profile({.fmt_mask = 0x01, .color = true, .level_limit = 0xFFFFFFFF});
    for (const LevelRow& row : rows) {
        EXPECT_EQ(printed({.level = row.level}),
                  std::string("\x1b[") + row.color + row.letter + " message\x1b[0m")
            << row.level;
    }
}

struct TextRow {
    const char* argument;
    const char* field;
};

TEST_F(ALine, PadsItsTagToEightCharactersAndCutsItToFifteen) {
    const std::vector<TextRow> rows = {
        {"", "         message"},
        {"a", "a        message"},
        {"HI3861L", "HI3861L  message"},
        {"EIGHTCHR", "EIGHTCHR message"},
        {"NINECHARS", "NINECHARS message"},
        {"QUON_MCU_DAEMON", "QUON_MCU_DAEMON message"},
        {"SIXTEEN_LETTERS_", "SIXTEEN_LETTERS message"},
    };
    set_profile({.fmt_mask = QN_LOG_FMT_TAG});
    for (const TextRow& row : rows) {
        EXPECT_EQ(printed({.tag = row.argument}), row.field);
    }
}

TEST_F(ALine, CutsItsFileToNineteenCharacters) {
    set_profile({.fmt_mask = QN_LOG_FMT_FILE});
    EXPECT_EQ(printed({.file = "nineteen_characters"}), "(nineteen_characters) message");
    EXPECT_EQ(printed({.file = "nineteen_charactersX"}), "(nineteen_characters) message");
}

TEST_F(ALine, KeepsTheFoldersOfItsFile) {
    set_profile({.fmt_mask = QN_LOG_FMT_FILE});
    EXPECT_EQ(printed({.file = "src/websocket.c"}), "(src/websocket.c) message");
}

TEST_F(ALine, CutsItsFunctionToThirtyOneCharacters) {
    set_profile({.fmt_mask = QN_LOG_FMT_FUNC});
    EXPECT_EQ(printed({.func = "a_function_of_thirty_one_letter"}),
              "(a_function_of_thirty_one_letter) message");
    EXPECT_EQ(printed({.func = "a_function_of_thirty_one_letters"}),
              "(a_function_of_thirty_one_letter) message");
}

struct NumberRow {
    int line;
    const char* digits;
};

TEST_F(ALine, CutsItsLineNumberToFourCharacters) {
    const std::vector<NumberRow> rows = {
        {0, "(0) message"},        {7, "(7) message"},         {9999, "(9999) message"},
        {10000, "(1000) message"}, {12345, "(1234) message"},  {100000, "(1000) message"},
        {-1, "(-1) message"},      {-12345, "(-123) message"},
    };
    set_profile({.fmt_mask = QN_LOG_FMT_LINE});
    for (const NumberRow& row : rows) {
        EXPECT_EQ(printed({.line = row.line}), row.digits);
    }
}

TEST_F(ALine, CutsItsMessageTo255Characters) {
    set_profile({});
    const std::string text(300, 'm');
    for (const size_t length : {size_t{254}, size_t{255}}) {
        EXPECT_EQ(printed({.text = text.substr(0, length).c_str()}), std::string(length, 'm'));
    }
    for (const size_t length : {size_t{256}, size_t{300}}) {
        EXPECT_EQ(printed({.text = text.substr(0, length).c_str()}), std::string(255, 'm'));
    }
}

TEST_F(ALine, OfTheLongestPiecesIsPrintedWhole) {
    set_profile({.fmt_mask = 0xFF, .color = true});
    const std::string longest(600, 'x');
    const std::string line = printed({.tag = longest.c_str(),
                                      .file = longest.c_str(),
                                      .func = longest.c_str(),
                                      .line = 123456,
                                      .text = longest.c_str()});
    EXPECT_EQ(with_time_named(line), "\x1b[31;1mE/" + std::string(15, 'x') + " [TIME " +
                                         own_thread_field() + "] (" + std::string(19, 'x') + " " +
                                         std::string(31, 'x') + ":1234) " + std::string(255, 'x') +
                                         "\x1b[0m");
}

TEST_F(ALine, AddsNoNewlineAndNothingToAnEmptyMessage) {
    set_profile({});
    EXPECT_EQ(printed({.text = ""}), "");
    EXPECT_EQ(printed({.text = "two\nlines"}), "two\nlines");
}

TEST_F(ALine, IsLeftInTheBufferOfStandardOutput) {
    set_profile({});
    const OutputCapture capture;
    QnLogPrint(QN_LOG_ERROR, "t", "f", "g", 1, "not flushed");
    struct stat file {};
    EXPECT_EQ(fstat(STDOUT_FILENO, &file), 0);
    EXPECT_EQ(file.st_size, 0);
    EXPECT_EQ(capture.text(), "not flushed");
}

TEST_F(ALine, FormatsNullTagFileAndFunctionInsteadOfAborting) {
    set_profile({.fmt_mask = 0x62});
    EXPECT_EQ(printed({.tag = nullptr, .file = nullptr, .func = nullptr}),
              "(null)   ((null) (null)) message");
}

TEST_F(ALine, ShowsTheDigitsOfTheThreadThatLogs) {
    set_profile({.fmt_mask = QN_LOG_FMT_THREAD});
    std::string expected;
    const std::string line = captured_output([&] {
        std::thread([&] {
            expected = "[" + own_thread_field() + "] message";
            QnLogPrint(0, "t", "f", "g", 1, "message");
        }).join();
    });
    EXPECT_EQ(line, expected);
    EXPECT_EQ(expected.size(), std::string("[tid:20041] message").size());
}

std::string stamp_now() {
    timeval now = {};
    gettimeofday(&now, nullptr);
    tm parts = {};
    localtime_r(&now.tv_sec, &parts);
    std::array<char, 32> text = {};
    const size_t length = std::strftime(text.data(), text.size(), "%m-%d %H:%M:%S.", &parts);
    std::string millis = std::to_string(now.tv_usec / 1000);
    return std::string(text.data(), length) + std::string(3 - millis.size(), '0') + millis;
}

void expect_stamp_in_zone(const char* zone) {
    setenv("TZ", zone, 1);
    tzset();
    std::string before;
    std::string line;
    std::string after;
    do {
        before = stamp_now();
        line = printed({.text = ""});
        after = stamp_now();
    } while (after < before);  // the year ended in between
    ASSERT_EQ(line.size(), std::string("[11-16 07:59:01.123] ").size());
    const std::string stamp = line.substr(1, line.size() - 3);
    EXPECT_EQ(line, "[" + stamp + "] ");
    EXPECT_LE(before, stamp) << zone;
    EXPECT_LE(stamp, after) << zone;
}

TEST_F(ALine, IsStampedWithMonthDayAndMillisecondsOfTheLocalTimeZone) {
    set_profile({.fmt_mask = QN_LOG_FMT_TIME});
    for (const char* zone : {"UTC0", "EAST-5:30", "WEST+9"}) {
        expect_stamp_in_zone(zone);
    }
}

}  // namespace
