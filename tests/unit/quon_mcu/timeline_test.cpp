#include "quon_mcu/timeline.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "client_run.h"

namespace quon::client {
namespace {

using lines = std::vector<std::string>;

// A start as strace -f -ttt, the chip's journal and the daemon's kept log tell it.
const lines kSystemCalls = {
    "12 10:00:00.000000 execve(\"/usr/local/bin/quon_mcu_daemon\", 0x7ff) = -1 ENOENT (No such "
    "file)",
    "12 10:00:00.000100 execve(\"/usr/bin/quon_mcu_daemon\", [\"quon_mcu_daemon\"], 0x7ff) = 0",
    "12 10:00:00.010100 bind(3, {sa_family=AF_UNIX, sun_path=\"/tmp/dbus-quon.mcu.daemon\"}, 110) "
    "= 0",
    "14 10:00:00.020100 execve(\"/bin/sh\", [\"sh\", \"-c\", \"ifconfig wlan0 up\"], 0x7ff) = 0",
    "12 10:00:00.030100 bind(4, {sa_family=AF_NETLINK, nl_pid=1100, nl_groups=0}, 12) = 0",
    "12 10:00:00.100100 openat(AT_FDCWD, \"/tmp/quon_mcu_daemon_run\", O_WRONLY|O_CREAT) = 5",
};
const lines kJournal = {
    "2026-02-03T10:00:00.031 host->chip 0x81 get_net_info len 0 empty",
    "2026-02-03T10:00:00.051 chip->host 0x81 get_net_info len 26 00",
    "2026-02-03T10:00:00.110 host->chip 0x82 get_wakeup_info len 0 empty",
    "2026-02-03T10:00:00.120 chip->host 0x82 get_wakeup_info len 71 00",
    "2026-02-03T10:00:00.120 host->chip 0x84 get_time len 0 empty",
    "2026-02-03T10:00:01.120 host->chip 0x80 get_version len 0 empty",
    "2026-02-03T10:00:01.130 chip->host 0x80 get_version len 2 version=A",
    "2026-02-03T10:00:01.200 chip->host 0x03 event_net len 28 state=1",
    "2026-02-03T10:00:09.000 host->chip 0x86 get_battery_status len 0 empty",
};
const lines kKeptLog = {
    "10:00:01.201 I/HI3861L  [02-03 10:00:01.201] (hi3861l_update_ip_info:18) ifconfig wlan0 down",
    "10:00:01.210 I/HI3861L  [02-03 10:00:01.210] (hi3861l_update_ip_info:18) ifconfig wlan0 up",
    "10:00:01.300 ws init ip: 101a8c0-9000",
    "10:00:01.310 ws ls connected remote:src/websocket.c-2484:4711",
    "10:00:01.500 ws ls sendfd ret = 1, fd:9",
};

timeline start_of(const lines& log, const std::string& title = "log") {
    timeline_reader reader;
    for (const std::string& each : log) {
        reader.line(each);
    }
    return reader.end(title);
}

lines whole_start() {
    lines all = kJournal;
    all.insert(all.end(), kKeptLog.begin(), kKeptLog.end());
    all.insert(all.end(), kSystemCalls.begin(), kSystemCalls.end());
    return all;
}

struct expected_step {
    const char* name;
    int64_t at_us;
    int64_t for_us;
};

void expect_steps(const timeline& start, const std::vector<expected_step>& expected) {
    ASSERT_EQ(start.steps.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(start.steps[i].name, expected[i].name) << i;
        EXPECT_EQ(start.steps[i].at_us, expected[i].at_us) << expected[i].name;
        EXPECT_EQ(start.steps[i].for_us, expected[i].for_us) << expected[i].name;
    }
}

TEST(ATimeline, HasEachStepOfTheStartInItsOrder) {
    expect_steps(start_of(whole_start()), {
                                              {"exec", 0, 10000},
                                              {"bus open", 10000, 10000},
                                              {"interface up", 20000, 10000},
                                              {"channel open", 30000, 900},
                                              {"get_net_info", 30900, 20000},
                                              {"run flag", 100000, 9900},
                                              {"get_wakeup_info", 109900, 10000},
                                              {"get_time (no answer)", 119900, 1000000},
                                              {"get_version", 1119900, 10000},
                                              {"network event", 1199900, 1000},
                                              {"ifconfig wlan0 down", 1200900, 9000},
                                              {"ifconfig wlan0 up", 1209900, 90000},
                                              {"hand-off ready", 1299900, 10000},
                                              {"early connection up", 1309900, 190000},
                                              {"hand-off", 1499900, 0},
                                          });
}

TEST(ATimeline, GivesEachStepItsShareOfTheWhole) {
    const timeline start = start_of({
        "10:00:00.000 note host connected",
        "10:00:00.250 host->chip 0x80 get_version len 0 empty",
        "10:00:01.000 chip->host 0x80 get_version len 0 empty",
    });
    ASSERT_EQ(start.steps.size(), 2u);
    EXPECT_EQ(start.total_us, 1'000'000);
    EXPECT_DOUBLE_EQ(start.share_of(start.steps[0]), 25.0);
    EXPECT_DOUBLE_EQ(start.share_of(start.steps[1]), 75.0);
}

TEST(ATimeline, WithoutItsNetworkEventStillTellsTheCommandsOfTheEventFromTheStart) {
    const auto names = [](const lines& log) {
        lines found;
        for (const timeline_step& each : start_of(log).steps) {
            found.push_back(each.name);
        }
        return found;
    };
    const lines commands = {
        "10:00:01.201 (hi3861l_update_ip_info:18) ifconfig wlan0 down",
        "10:00:01.203 (hi3861l_update_ip_info:18) route add default gw 192.168.1.1",
        "10:00:01.204 (hi3861l_update_ip_info:18) ifconfig wlan0 up",
    };
    EXPECT_EQ(names(commands), (lines{"ifconfig wlan0 down", "route add default gw 192.168.1.1",
                                      "ifconfig wlan0 up"}));
    lines with_start = {
        "10:00:00.020 execve(\"/bin/sh\", [\"sh\", \"-c\", \"ifconfig wlan0 up\"])"};
    with_start.insert(with_start.end(), commands.begin(), commands.end());
    EXPECT_EQ(names(with_start), (lines{"interface up", "ifconfig wlan0 down",
                                        "route add default gw 192.168.1.1", "ifconfig wlan0 up"}));
}

TEST(ATimeline, EndsWhereASecondStartBegins) {
    lines twice = kSystemCalls;
    twice.push_back(
        "99 10:00:05.000000 execve(\"/usr/bin/quon_mcu_daemon\", [\"quon_mcu_daemon\"], 0) = 0");
    twice.push_back("99 10:00:05.100000 sendmsg(3, SCM_RIGHTS) = 1");
    EXPECT_EQ(start_of(twice).steps.size(), start_of(kSystemCalls).steps.size());
}

TEST(ATimeline, OfAnAnswerWithoutItsQuestionSaysSo) {
    const timeline start =
        start_of({"10:00:00.000 D/HEX recv msg: 0000-000F: 84 01 00 00 00 1A        "});
    ASSERT_EQ(start.steps.size(), 1u);
    EXPECT_EQ(start.steps[0].name, "get_time (answer)");
}

TEST(ATimelineAsText, IsARowAStepWithABar) {
    const timeline start = start_of({
        "10:00:00.000 note host connected",
        "10:00:00.250 host->chip 0x80 get_version len 0 empty",
        "10:00:01.000 chip->host 0x80 get_version len 0 empty",
    });
    EXPECT_EQ(
        timeline_text({start}),
        "   at ms    for ms    share  step\n"
        "     0.0     250.0   25.0 %  channel open  ##########\n"
        "   250.0     750.0   75.0 %  get_version             ##############################\n"
        "total 1000.0 ms\n");
}

TEST(TwoTimelines, StandSideBySideByTheirSteps) {
    const timeline one =
        start_of({"10:00:00.000 note host connected", "10:00:00.250 ws init ip: 0-0"}, "old");
    const timeline two = start_of(
        {"11:00:00.000 note host connected", "11:00:00.100 ws ls connected remote:x-1:2"}, "new");
    EXPECT_EQ(timeline_text({one, two}),
              "                     old                          new\n"
              "step                    at ms    for ms    share     at ms    for ms    share\n"
              "channel open              0.0     250.0  100.0 %       0.0     100.0  100.0 %\n"
              "hand-off ready          250.0       0.0    0.0 %         -         -        -\n"
              "early connection up         -         -        -     100.0       0.0    0.0 %\n"
              "total                             250.0                        100.0\n");
}

TEST(ATimelineAsAPicture, HasABarForEachStepOfEachStartOnOneScale) {
    const timeline one =
        start_of({"10:00:00.000 note host connected", "10:00:00.500 ws init ip: 0-0"}, "old & new");
    const timeline two =
        start_of({"11:00:00.000 note host connected", "11:00:01.000 ws init ip: 0-0"}, "two");
    const std::string picture = timeline_svg({one, two});
    EXPECT_TRUE(picture.starts_with("<svg xmlns=\"http://www.w3.org/2000/svg\" "));
    EXPECT_TRUE(picture.ends_with("</svg>\n"));
    EXPECT_NE(picture.find(">old &amp; new, 500.0 ms</text>"), std::string::npos);
    EXPECT_NE(picture.find("<rect x=\"20\" y=\"34\" width=\"320\" height=\"14\""),
              std::string::npos)
        << picture;
    EXPECT_NE(picture.find("<rect x=\"20\" y=\"104\" width=\"640\" height=\"14\""),
              std::string::npos)
        << picture;
    EXPECT_NE(picture.find(">channel open 500.0 ms, 100.0 %</text>"), std::string::npos);
}

TEST(ATimelineAsAPicture, IsXmlWhateverTheLogHolds) {
    const std::string picture = timeline_svg({start_of(
        {"10:00:00.000 route add default gw \xff\xfe\x01<\xc3\xa9\xef\xbf\xbf"}, "a\x02\x80")});
    const std::string replaced = "\xef\xbf\xbd";
    EXPECT_NE(picture.find(">route add default gw " + replaced + replaced + replaced +
                           "&lt;\xc3\xa9" + replaced + " 0.0 ms, 0.0 %</text>"),
              std::string::npos)
        << picture;
    EXPECT_NE(picture.find(">a" + replaced + replaced + ", 0.0 ms</text>"), std::string::npos)
        << picture;
}

class ALogOfAStart : public testing::Test {
  protected:
    ALogOfAStart() {
        std::ofstream out(path_);
        for (const std::string& each : whole_start()) {
            out << each << "\n";
        }
    }
    ~ALogOfAStart() override {
        std::filesystem::remove(path_);
        std::filesystem::remove(path_ + ".svg");
    }
    std::string path_ = testing::TempDir() + "timeline." + std::to_string(getpid());
};

TEST_F(ALogOfAStart, IsDrawnByTheClient) {
    const test::outcome got =
        test::run_client({"decode", "--timeline", path_, "--svg", path_ + ".svg"});
    EXPECT_EQ(got.status, 0) << got.err;
    EXPECT_EQ(got.out, timeline_text({start_of(whole_start(), path_)}));
    std::ifstream svg(path_ + ".svg");
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(svg), {}),
              timeline_svg({start_of(whole_start(), path_)}));
}

TEST_F(ALogOfAStart, IsJsonOnRequest) {
    const test::outcome got = test::run_client({"--json", "decode", "--timeline", path_});
    EXPECT_EQ(got.status, 0) << got.err;
    const auto document = nlohmann::json::parse(got.out);
    EXPECT_EQ(document["total_ms"], 1499.9);
    EXPECT_EQ(document["steps"].size(), 15u);
    EXPECT_EQ(document["steps"][1]["step"], "bus open");
    EXPECT_EQ(document["steps"][1]["at_ms"], 10.0);
}

TEST_F(ALogOfAStart, IsShownByItsExchangesAsJson) {
    const test::outcome got = test::run_client({"--json", "decode", "--exchanges", path_});
    EXPECT_EQ(got.status, 0) << got.err;
    EXPECT_TRUE(got.out.starts_with(
        R"({"time":"2026-02-03T10:00:00.031","kind":"query","name":"get_net_info","question":"empty","answer":"00","ms":20.0})"
        "\n"))
        << got.out;
}

TEST(DecodesOptions, ThatMakeNoSenseTogetherAreRefused) {
    const std::pair<lines, const char*> rows[] = {
        {{"decode", "--timeline", "--follow", "x"}, "--timeline excludes --follow and --exchanges"},
        {{"decode", "--timeline", "--exchanges", "x"},
         "--timeline excludes --follow and --exchanges"},
        {{"decode", "--svg", "x", "y"}, "--svg needs --timeline"},
        {{"decode", "--follow", "x", "y"}, "--follow takes one file"},
        {{"decode", "--timeline", "/nonexistent"},
         "cannot read '/nonexistent': No such file or directory"},
    };
    for (const auto& [words, expected] : rows) {
        const test::outcome got = test::run_client(words);
        EXPECT_EQ(got.status, 2);
        EXPECT_EQ(got.err, std::string("quon-mcu: ") + expected + "\n");
    }
}

TEST(ALogWithoutTimes, HasNoTimelineAndSaysSo) {
    const test::outcome got = test::run_client({"decode", "--timeline", "/dev/null"});
    EXPECT_EQ(got.status, 0);
    EXPECT_EQ(got.err, "quon-mcu: /dev/null: no step of a start found; its lines need times\n");
}

TEST(APictureThatCannotBeWritten, IsAFailure) {
    const test::outcome got =
        test::run_client({"decode", "--timeline", "/dev/null", "--svg", "/nonexistent/x.svg"});
    EXPECT_EQ(got.status, 1);
    EXPECT_NE(got.err.find("cannot write '/nonexistent/x.svg'"), std::string::npos) << got.err;
}

}  // namespace
}  // namespace quon::client
