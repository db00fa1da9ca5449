// report, check and set --verify, beside a real daemon.
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <regex>

#include "client_process.h"
#include "simulated_chip.h"
#include "system_test.h"

namespace quon::test {
namespace {

class InTheField : public SystemTest {
  protected:
    ~InTheField() override {
        unlink(kFile);
        unlink(kLog);
    }

    void start_both(const std::vector<std::string>& options = {}) {
        chip_ = std::make_unique<SimulatedChip>(options);
        start_daemon();
        ASSERT_TRUE(chip_->wait_for(0x80));
        ASSERT_TRUE(wait_until([] { return file_exists("/tmp/ws_socket"); }));
    }

    static Result check(const std::string& checks, const std::vector<std::string>& more = {}) {
        std::ofstream(kFile) << "{\"name\": \"line <4>\", \"checks\": [" << checks << "]}";
        std::vector<std::string> words = {"check", kFile};
        words.insert(words.end(), more.begin(), more.end());
        return run_client(words);
    }

    static bool has_line(const std::string& text, const std::string& pattern) {
        return std::regex_search(text, std::regex("(^|\n)" + pattern + "(\n|$)"));
    }

    static constexpr const char* kFile = "/tmp/field.txt";
    static constexpr const char* kLog = "/tmp/field.log";
    std::unique_ptr<SimulatedChip> chip_;
};

TEST_F(InTheField, AReportHasTheAnswersAndTheProcess) {
    ASSERT_NO_FATAL_FAILURE(start_both({"--firmware-version", "V2.1.7"}));
    ASSERT_EQ(peer().call("method.quon.mcu.get.time").result, 10);
    const Result got = run_client({"report"});
    EXPECT_EQ(got.status, exited_with(0)) << got.err;
    const std::string pid = std::to_string(daemon().pid());
    for (const std::string& each : {
             std::string("get\\.ver +version=V2\\.1\\.7"),
             std::string("get\\.wifi\\.info +mac=.* ip=192\\.168\\.1\\.20 .*"),
             std::string("get\\.log\\.profile +method.* the service failed, result -1: .*"),
             std::string("run flag +set, 20.*"),
             "daemon +/.*, process " + pid,
             std::string("Threads +[4-9]"),
             std::string("[0-9]+ +webpreinit +(S \\(sleeping\\)|R \\(running\\))"),
             std::string("[0-9]+ +Unix, listens +/tmp/dbus-quon\\.mcu\\.daemon +0 peers +- +-"),
             "[0-9]+ +Unix +/tmp/dbus-quon\\.mcu\\.daemon +0 +0 +.* \\(process " +
                 std::to_string(getpid()) + "\\)",
             std::string("== wlan0, as the kernel has it"),
             std::string("state +up"),
         }) {
        EXPECT_TRUE(has_line(got.out, each)) << each << "\n" << got.out;
    }
}

TEST_F(InTheField, AReportMasksWhatMayBeAKey) {
    ASSERT_NO_FATAL_FAILURE(start_both());
    const std::string name = "71756f6e2d63616d657261";  // the network's name, among unknown bytes
    EXPECT_NE(run_client({"--hex", "get", "wifi.status"}).out.find(name), std::string::npos);
    const Result got = run_client({"report"});
    EXPECT_EQ(got.out.find(name), std::string::npos);
    EXPECT_TRUE(has_line(got.out, "get\\.wifi\\.status +bytes=01\\*{22}00.*")) << got.out;
}

TEST_F(InTheField, AReportMasksADefinedFieldWhoseNameSaysThatItIsAKey) {
    ASSERT_NO_FATAL_FAILURE(start_both());
    std::ofstream(kFile) << R"({"wifi_status": {"fields": [
        {"name": "wifi_key", "offset": 1, "kind": "text", "size": 32}]}})";
    const std::vector<std::string> shown = {"--records", kFile, "get", "wifi.status"};
    EXPECT_NE(run_client(shown).out.find("quon-camera"), std::string::npos);
    const Result got = run_client({"--records", kFile, "report"});
    EXPECT_EQ(got.out.find("quon-camera"), std::string::npos);
    EXPECT_TRUE(has_line(got.out, "get\\.wifi\\.status .*wifi_key=\\*\\* .*")) << got.out;
}

TEST_F(InTheField, ACheckOfTwoLinesOrWithoutAnEndIsRefusedOrOneLine) {
    ASSERT_NO_FATAL_FAILURE(start_both({"--firmware-version", "V2.1.7"}));
    const Result got =
        check(R"({"get": "ver", "field": "version", "equals": "V2.1.7", "name": "one\ntwo"})");
    EXPECT_EQ(got.out, "TAP version 13\n1..1\nok 1 - one two\n");
    const Result endless = run_client({"check", "/dev/zero"});
    EXPECT_EQ(endless.status, exited_with(2));
    EXPECT_EQ(endless.err, "quon-mcu: '/dev/zero' has more than 1048576 bytes\n");
}

TEST_F(InTheField, AReportIsItsOwnersFileAlone) {
    ASSERT_NO_FATAL_FAILURE(start_both());
    const Result got = run_client({"report", kFile});
    EXPECT_EQ(got.status, exited_with(0)) << got.err;
    EXPECT_EQ(got.out, "");
    struct stat file {};
    ASSERT_EQ(stat(kFile, &file), 0);
    EXPECT_EQ(file.st_mode & 0777U, 0600U);
    EXPECT_GT(file.st_size, 1000);
}

TEST_F(InTheField, AReportIsMadeWithoutADaemonToo) {
    const Result got = run_client({"report"});
    EXPECT_EQ(got.status, exited_with(3));
    EXPECT_TRUE(has_line(got.out, "daemon +not found")) << got.out;
    EXPECT_TRUE(has_line(got.out, "run flag +missing")) << got.out;
    EXPECT_TRUE(has_line(got.out, "log level +not known: no daemon was found")) << got.out;
    EXPECT_TRUE(has_line(got.out, "no daemon: nobody answers at /tmp/dbus-quon\\.mcu\\.daemon"))
        << got.out;
    EXPECT_TRUE(has_line(got.out, "== wlan0, as the kernel has it"));
}

TEST_F(InTheField, AReportLeavesTheEventsWhereTheyAre) {
    ASSERT_NO_FATAL_FAILURE(start_both());
    chip_->command("event raw 01 0b0c");
    const Result got = run_client({"report"});
    EXPECT_TRUE(has_line(
        got.out, "event queue +not asked: taking events empties it \\(--take-events does\\)"))
        << got.out;
    EXPECT_EQ(run_client({"events", "--count", "1"}).out.substr(0, 8), "1  0b0c0");
}

TEST_F(InTheField, AReportTakesTheEventsOnRequest) {
    ASSERT_NO_FATAL_FAILURE(start_both());
    EXPECT_TRUE(has_line(run_client({"report", "--take-events"}).out,
                         "== Events, taken from the queue\nnone"));
    chip_->command("event raw 01 0b0c");
    chip_->command("event raw 02 7365637265742d6b6579");
    std::string taken;
    ASSERT_TRUE(wait_until([&] {
        taken += run_client({"report", "--take-events"}).out;
        return has_line(taken, "[12]  bytes=\\*{20}0{46}");
    })) << taken;
    EXPECT_TRUE(has_line(taken, "1  bytes=0b0c0{62}")) << taken;
    EXPECT_EQ(run_client({"events"}).out, "");
}

TEST_F(InTheField, AReportMasksShortAndRawKeys) {
    ASSERT_NO_FATAL_FAILURE(start_both());
    const std::pair<const char*, const char*> rows[] = {
        {"7765707079", "\\*{10}0+"},
        {"01776570707900ff8081", "01\\*{10}00\\*{6}0+"},
        {"0180818283848586878889909192939400ff", "\\*{32}00\\*\\*0+"},
        {"01808182838485ff", "01808182838485ff0+"},
    };
    for (const auto& [payload, shown] : rows) {
        chip_->command(std::string("event raw 01 ") + payload);
        std::string taken;
        EXPECT_TRUE(wait_until([&, line = std::string("1  bytes=") + shown] {
            taken += run_client({"report", "--take-events"}).out;
            return has_line(taken, line);
        })) << payload
            << "\n"
            << taken;
    }
}

TEST_F(InTheField, AReportTellsTheLogLevelThatTheLogShows) {
    chip_ = std::make_unique<SimulatedChip>(std::vector<std::string>{});
    start_daemon_after("", std::string("> ") + kLog);
    ASSERT_TRUE(chip_->wait_for(0x80));
    const std::pair<const char*, const char*> levels[] = {
        {"fatal", "0 \\(fatal errors alone\\)"},
        {"error", "1 or 2 \\(errors, perhaps warnings\\)"},
        {"warn", "1 or 2 \\(errors, perhaps warnings\\)"},
        {"info", "3 \\(information\\)"},
        {"debug", "4 \\(debug\\)"},
    };
    for (const auto& [name, told] : levels) {
        ASSERT_EQ(run_client({"log-level", name}).status, exited_with(0)) << name;
        std::string last;
        EXPECT_TRUE(wait_until([&, line = std::string("log level +") + told] {
            last = run_client({"report"}).out;
            return has_line(last, line);
        })) << name
            << "\n"
            << last;
    }
}

TEST_F(InTheField, AReportSaysWhyTheLogLevelIsNotKnown) {
    ASSERT_NO_FATAL_FAILURE(start_both());
    EXPECT_TRUE(
        has_line(run_client({"report"}).out,
                 "log level +not known: no service reads it, and the log goes to /dev/pts/[0-9]+"));
}

TEST_F(InTheField, ACheckPrintsTapAndWritesJunit) {
    ASSERT_NO_FATAL_FAILURE(start_both({"--firmware-version", "V2.1.7"}));
    const Result got = check(
        R"({"get": "ver", "field": "version", "equals": "V2.1.7"},
           {"name": "no <old> one", "get": "ver", "field": "version", "not": "V2.1.7"},
           {"get": "wifi.info", "field": "ip", "matches": "192\\.168\\..*"},
           {"get": "wdg.state", "field": "state", "at_most": 0},
           {"get": "wdg.state", "field": "state", "at_least": 1},
           {"get": "log.profile", "fails": true},
           {"get": "ver", "fails": true})",
        {"--junit", "/tmp/field.xml"});
    EXPECT_EQ(got.status, exited_with(1)) << got.err;
    EXPECT_EQ(got.out,
              "TAP version 13\n1..7\n"
              "ok 1 - get.ver version equals V2.1.7\n"
              "not ok 2 - no <old> one\n"
              "  ---\n  expected: \"version not V2.1.7\"\n  got: \"V2.1.7\"\n  ...\n"
              "ok 3 - get.wifi.info ip matches 192\\.168\\..*\n"
              "ok 4 - get.wdg.state state at_most 0\n"
              "not ok 5 - get.wdg.state state at_least 1\n"
              "  ---\n  expected: \"state at_least 1\"\n  got: \"0\"\n  ...\n"
              "ok 6 - get.log.profile a failure\n"
              "not ok 7 - get.ver a failure\n"
              "  ---\n  expected: \"a failure\"\n  got: \"an answer of 6 bytes\"\n  ...\n");
    std::ifstream results("/tmp/field.xml");
    const std::string text(std::istreambuf_iterator<char>(results), {});
    unlink("/tmp/field.xml");
    EXPECT_NE(text.find("<testsuite name=\"line &lt;4&gt;\" tests=\"7\" failures=\"3\">"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("<testcase name=\"no &lt;old&gt; one\" time=\""), std::string::npos)
        << text;
    EXPECT_NE(text.find("<failure message=\"expected state at_least 1, got 0\"/>"),
              std::string::npos)
        << text;
}

TEST_F(InTheField, ACheckThatHoldsEndsWithZero) {
    ASSERT_NO_FATAL_FAILURE(start_both());
    const Result got = check(R"({"get": "time", "field": "month", "at_most": 12})");
    EXPECT_EQ(got.status, exited_with(0)) << got.err;
    EXPECT_EQ(got.out, "TAP version 13\n1..1\nok 1 - get.time month at_most 12\n");
}

TEST_F(InTheField, ACheckWithoutADaemonBailsOut) {
    const Result got = check(R"({"get": "time", "field": "month", "at_most": 12})");
    EXPECT_EQ(got.status, exited_with(3));
    EXPECT_EQ(got.out,
              "TAP version 13\n1..1\n"
              "Bail out! no daemon: nobody answers at /tmp/dbus-quon.mcu.daemon\n");
}

TEST_F(InTheField, WhatWasSetIsReadBack) {
    ASSERT_NO_FATAL_FAILURE(start_both());
    EXPECT_EQ(run_client({"set", "time", "now", "--verify"}).status, exited_with(0));
    EXPECT_EQ(run_client({"set", "wakeup.info", "reason=3", "--verify"}).status, exited_with(0));
    chip_->command("fault 0xa1 drop");
    const Result got =
        run_client({"set", "wakeup.info", "reason=5", "--verify", "--timeout", "500ms"});
    EXPECT_EQ(got.status, exited_with(1));
    EXPECT_EQ(got.err, "quon-mcu: set.wakeup.info was not taken over: reason is 3, not 5\n");
}

TEST_F(InTheField, AClockThatGoesWrongIsNoticed) {
    ASSERT_NO_FATAL_FAILURE(start_both());
    chip_->command("fault 0x83 drop");
    const Result got =
        run_client({"set", "time", "2031-02-03 04:05:06", "--verify", "--timeout", "500ms"});
    EXPECT_EQ(got.status, exited_with(1));
    EXPECT_NE(got.err.find("set.time was not taken over: year is "), std::string::npos) << got.err;
}

TEST_F(InTheField, TopCountsCallsAndFailuresOfEachService) {
    ASSERT_NO_FATAL_FAILURE(start_both({"--firmware-version", "V2.1.7"}));
    chip_->command("fault 0x84 drop");
    const Result got = run_client({"top", "--rounds", "2", "--interval", "10ms"});
    EXPECT_EQ(got.status, exited_with(0)) << got.err;
    const std::string second = got.out.substr(got.out.rfind("quon-mcu top, "));
    const std::string ms = " +[0-9]+\\.[0-9] ";
    for (const std::string& each : {
             "get\\.ver +2 +0" + ms + ms + ms + ms + " *version=V2\\.1\\.7",
             "get\\.time +2 +1" + ms + ms + ms + " +1[0-9]{3}\\.[0-9] +year=.*",
             "daemon +process " + std::to_string(daemon().pid()) +
                 ", [0-9]+ threads, [0-9]+ of [0-9]+ descriptors, [0-9]+ kB resident",
             std::string("wlan0 +up, .*"),
             std::string("[0-9]+ +Unix, listens +/tmp/dbus-quon\\.mcu\\.daemon .*"),
         }) {
        EXPECT_TRUE(has_line(second, each)) << each << "\n" << second;
    }
}

TEST_F(InTheField, TopIsJsonOnRequest) {
    ASSERT_NO_FATAL_FAILURE(start_both());
    const Result got = run_client({"--json", "top", "--rounds", "1"});
    EXPECT_EQ(got.status, exited_with(0)) << got.err;
    EXPECT_TRUE(got.out.starts_with("{\"time\":\"")) << got.out;
    EXPECT_NE(got.out.find("\"daemon\":{\"process\":" + std::to_string(daemon().pid()) + ","),
              std::string::npos)
        << got.out;
    EXPECT_NE(got.out.find("\"get.wifi.info\":{\"calls\":1,\"failures\":0,"), std::string::npos)
        << got.out;
    EXPECT_NE(got.out.find("\"trouble\":null"), std::string::npos) << got.out;
}

TEST_F(InTheField, TopGoesOnWithoutADaemonAndSaysWhy) {
    const Result got = run_client({"top", "--rounds", "2", "--interval", "10ms"});
    EXPECT_EQ(got.status, exited_with(3));
    EXPECT_TRUE(has_line(got.out, "daemon +not found")) << got.out;
    EXPECT_TRUE(has_line(got.out, "no daemon: nobody answers at /tmp/dbus-quon\\.mcu\\.daemon"))
        << got.out;
    EXPECT_NE(got.out.find("quon-mcu top, "), got.out.rfind("quon-mcu top, "));
}

}  // namespace
}  // namespace quon::test
