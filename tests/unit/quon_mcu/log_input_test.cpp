#include "quon_mcu/log_input.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "client_run.h"

namespace quon::client {
namespace {

constexpr int64_t kMs = 1000;

constexpr int64_t moment(int hours, int minutes, int seconds, int64_t us) {
    return ((hours * 60 + minutes) * int64_t{60} + seconds) * 1'000'000 + us;
}

TEST(ATimeOfDay, IsFoundInEachKindOfLine) {
    const std::pair<const char*, int64_t> rows[] = {
        {"2026-02-03T04:05:06.789 host->chip 0x84 get_time len 0 empty", moment(4, 5, 6, 789000)},
        {"Feb  3 04:05:06 camera daemon[12]: words", moment(4, 5, 6, 0)},
        {"\x1b[31;1mE/HI3861L  [02-03 04:05:06.789] (f:12) words", moment(4, 5, 6, 789000)},
        {"04:05:06,7 words", moment(4, 5, 6, 700000)},
        {"23:59:59.123456789 words", moment(23, 59, 59, 123456)},
    };
    for (const auto& [line, expected] : rows) {
        EXPECT_EQ(time_of_day(line), expected) << line;
    }
}

TEST(ATimeOfDay, OfSecondsSinceTheEpochIsLocal) {
    const std::time_t seconds = 1'700'000'000;
    std::tm local{};
    localtime_r(&seconds, &local);
    EXPECT_EQ(time_of_day("1234  1700000000.123456 execve(\"/bin/sh\")"),
              moment(local.tm_hour, local.tm_min, local.tm_sec, 123456));
}

TEST(ATimeOfDay, IsNoHardwareAddressAndNoNumber) {
    for (const char* line : {"ifconfig wlan0 hw ether 02:00:00:00:00:01", "", "words", "4:05:06",
                             "104:05:06", "04:05:067", "x1700000000.1", "1700000000"}) {
        EXPECT_EQ(time_of_day(line), std::nullopt) << line;
    }
}

TEST(TheTimeBetween, IsTakenAcrossMidnight) {
    EXPECT_EQ(elapsed_us(moment(4, 0, 0, 0), moment(4, 0, 1, 5)), 1'000'005);
    EXPECT_EQ(elapsed_us(moment(23, 59, 59, 0), moment(0, 0, 1, 0)), 2'000'000);
    EXPECT_EQ(elapsed_us(moment(4, 0, 1, 0), moment(4, 0, 0, 0)), -1'000'000);
}

TEST(Milliseconds, AreShownAsExactAsTheyAreKnown) {
    EXPECT_EQ(ms_text(12 * kMs), "12 ms");
    EXPECT_EQ(ms_text(12 * kMs + 345), "12.3 ms");
    EXPECT_EQ(ms_text(0), "0 ms");
}

class ALog : public testing::Test {
  protected:
    ALog() { std::ofstream(path_) << "one\ntwo\nthree"; }
    ~ALog() override { std::filesystem::remove(path_); }

    std::vector<std::string> lines_;
    std::string path_ = testing::TempDir() + "log_input." + std::to_string(getpid());
    output out_{"quon-mcu", STDOUT_FILENO, STDERR_FILENO};
};

TEST_F(ALog, IsReadLineByLineWithItsUnfinishedLast) {
    read_log(out_, path_, false, {[this](std::string_view line) { lines_.emplace_back(line); }});
    EXPECT_EQ(lines_, (std::vector<std::string>{"one", "two", "three"}));
}

struct enough {};  // thrown to end a following that would not end by itself

TEST_F(ALog, IsFollowedAsItGrowsAndWhenItStartsOver) {
    int round = 0;
    const auto append = [this](const char* text) { std::ofstream(path_, std::ios::app) << text; };
    const log_reader reader = {[this](std::string_view line) { lines_.emplace_back(line); },
                               [&] {
                                   switch (++round) {
                                       case 1:
                                           append(" more\nfo");
                                           break;
                                       case 2:
                                           append("ur\n");
                                           break;
                                       case 3:
                                           std::filesystem::rename(path_, path_ + ".old");
                                           std::ofstream(path_) << "five\n";
                                           break;
                                       case 4:
                                           std::filesystem::remove(path_ + ".old");
                                           std::ofstream(path_) << "six\n";
                                           break;
                                       default:
                                           if (lines_.size() >= 6) {
                                               throw enough();
                                           }
                                   }
                               }};
    EXPECT_THROW(read_log(out_, path_, true, reader), enough);
    EXPECT_EQ(lines_,
              (std::vector<std::string>{"one", "two", "three more", "four", "five", "six"}));
}

}  // namespace
}  // namespace quon::client
