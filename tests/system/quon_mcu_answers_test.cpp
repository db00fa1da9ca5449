// What the client says of an answer that is short or missing, of a failure's cause, and of an
// interface that is not as the daemon remembers it.
#include <algorithm>
#include <atomic>
#include <span>

#include "client_process.h"
#include "stand_in_daemon.h"
#include "system_test.h"

namespace quon::test {
namespace {

class AnAnswer : public SystemTest {};

struct ShortAnswer {
    std::uint8_t type;
    Bytes payload;
    std::vector<std::string> command;
    const char* out;
};

const ShortAnswer kShortAnswers[] = {
    {0x84,
     {26, 2, 3},
     {"get", "time"},
     "year    26\n"
     "month   2\n"
     "day     3\n"
     "hour    -  (zero, or not in the chip's answer)\n"
     "minute  -  (zero, or not in the chip's answer)\n"
     "second  -  (zero, or not in the chip's answer)\n"
     "rest_6  -  (zero, or not in the chip's answer)\n"},
    {0x99,
     {},
     {"get", "alarm"},
     "word   -  (zero, or not in the chip's answer)\n"
     "byte4  -  (zero, or not in the chip's answer)\n"
     "byte5  -  (zero, or not in the chip's answer)\n"
     "byte6  -  (zero, or not in the chip's answer)\n"},
    {0x99,
     {0x20},
     {"--json", "get", "alarm"},
     R"({"service":"method.quon.mcu.get.alarm","length":7,"hex":"20000000000000",)"
     R"("fields":{"word":32,"byte4":null,"byte5":null,"byte6":null},)"
     R"("reasons":{"word":"last 3 bytes: zero, or not in the chip's answer",)"
     R"("byte4":"zero, or not in the chip's answer","byte5":"zero, or not in the chip's answer",)"
     R"("byte6":"zero, or not in the chip's answer"}})"
     "\n"},
    {0x86,
     {80},
     {"get", "battery.status"},
     "bytes  50  (4 bytes more: zero, or not in the chip's answer)\n"},
    {0x95, {}, {"get", "wdg.state"}, "state  -  (zero, or not in the chip's answer)\n"},
    {0x80, {}, {"get", "ver"}, "version  -  (the chip's answer has no text)\n"},
    {0x9e,
     {},
     {"get", "err.report"},
     "count   -  (zero, or not in the chip's answer)\n"
     "rest_1  -  (zero, or not in the chip's answer)\n"},
};

TEST_F(AnAnswer, ShowsNoZeroThatTheChipMayNotHaveSent) {
    start();
    for (const ShortAnswer& each : kShortAnswers) {
        chip().answer(each.type, each.payload);
        const Result got = run_client(each.command);
        EXPECT_EQ(got.status, exited_with(0)) << got.err;
        EXPECT_EQ(got.out, each.out);
        EXPECT_EQ(got.err, "");
        chip().answer_as_usual(each.type);
    }
}

TEST_F(AnAnswer, PrintsAFieldAlone) {
    start();
    chip().answer(0x99, {0x10, 0x0e, 0, 0, 1, 2});
    const std::pair<std::vector<std::string>, const char*> rows[] = {
        {{"get", "alarm", "word"}, "3600\n"},
        {{"get", "alarm", "byte5", "byte4"}, "2\n1\n"},
        {{"--json", "get", "alarm", "byte4"},
         "{\"service\":\"method.quon.mcu.get.alarm\",\"fields\":{\"byte4\":1}}\n"},
    };
    for (const auto& [command, out] : rows) {
        const Result got = run_client(command);
        EXPECT_EQ(got.status, exited_with(0)) << got.err;
        EXPECT_EQ(got.out, out);
        EXPECT_EQ(got.err, "");
    }
    const Result unknown = run_client({"get", "alarm", "byte6"});
    EXPECT_EQ(unknown.status, exited_with(0));
    EXPECT_EQ(unknown.out, "-\n");
    EXPECT_EQ(unknown.err, "quon-mcu: byte6: zero, or not in the chip's answer\n");
}

TEST_F(AnAnswer, AsksAClockAgainThatMayHaveSentNoSeconds) {
    std::atomic<int> asked = 0;
    const StandInDaemon daemon([&asked](const BusRecord& request) {
        const std::uint8_t second = asked++ == 0 ? 0 : 1;
        return answer_to(request, {26, 2, 3, 4, 5, second, 0, 0, 0, 0});
    });
    const Result got = run_client({"get", "time", "minute", "second"});
    EXPECT_EQ(got.out, "5\n1\n");
    EXPECT_EQ(got.err, "");
    EXPECT_EQ(asked, 2);
    // What is shown as it stands needs no second answer.
    EXPECT_EQ(run_client({"--hex", "get", "time"}).out, "1a020304050100000000\n");
    EXPECT_EQ(asked, 3);
}

// --- the start-up snapshot

constexpr char kContext[] = "method.quon.mcu.get.allwakeup.info";

Bytes times_of(std::uint32_t since_start) {
    return joined(Bytes{5, 0, 0, 1, 6, 0, 0, 2}, little_endian(since_start));
}

TEST_F(AnAnswer, SaysThatTheSnapshotDoesNotExistYet) {
    const StandInDaemon daemon([](const BusRecord& request) {
        return answer_to(request, request.name == kContext ? Bytes(400) : times_of(2876555));
    });
    const std::string none = "-  (the start-up snapshot does not exist yet)\n";
    const Result wakeup = run_client({"wakeup"});
    EXPECT_EQ(wakeup.status, exited_with(0)) << wakeup.err;
    EXPECT_EQ(wakeup.out, "reason        " + none + "socup times   -, " + none + "chip time     " +
                              none + "battery       " + none + "Wi-Fi status  " + none +
                              "MAC           " + none + "address       " + none + "gateway       " +
                              none + "name servers  -, " + none + "server        -:" + none +
                              "version       " + none + "started       " + none + "since start   " +
                              none);
    EXPECT_EQ(run_client({"get", "socup.time", "since_start"}).out, "-\n");
    const std::string json = run_client({"--json", "wakeup"}).out;
    EXPECT_NE(json.find(R"("fields":{"wakeup_reason":null,)"), std::string::npos) << json;
    EXPECT_NE(
        json.find(R"("reasons":{"wakeup_reason":"the start-up snapshot does not exist yet",)"),
        std::string::npos)
        << json;
    EXPECT_NE(json.find(R"("since_start_ms":null})"), std::string::npos) << json;
}

TEST_F(AnAnswer, SaysWhichQueriesOfTheSnapshotHadNoAnswer) {
    Bytes context(400);
    context[70] = 1;  // the wake-up info came, with the reason 0
    const Bytes time = {26, 2, 3, 4, 5, 6};
    std::copy(time.begin(), time.end(), context.begin() + 71);
    context[396] = 1;
    const StandInDaemon daemon([&context](const BusRecord& request) {
        return answer_to(request, request.name == kContext ? context : times_of(1500));
    });
    const std::string none = "-  (no answer at the start, or zero in it)\n";
    const Result wakeup = run_client({"wakeup"});
    EXPECT_EQ(wakeup.status, exited_with(0)) << wakeup.err;
    EXPECT_EQ(wakeup.out,
              "reason        0\n"
              "socup times   0, 0\n"
              "chip time     2026-02-03 04:05:06\n"
              "battery       " +
                  none + "Wi-Fi status  " + none + "MAC           " + none + "address       " +
                  none + "gateway       " + none + "name servers  -, " + none +
                  "server        -:" + none + "version       " + none +
                  "started       1 ms on the monotonic clock\n"
                  "since start   1500 ms\n");
}

// --- causes of failures

struct Cause {
    const char* what;
    std::vector<std::string> command;
    const char* err;
};

void expect_causes(std::span<const Cause> causes) {
    for (const Cause& each : causes) {
        const Result got = run_client(each.command);
        EXPECT_EQ(got.status, exited_with(1)) << each.what;
        EXPECT_EQ(got.err, "quon-mcu: " + std::string(each.err) + "\n") << each.what;
    }
}

TEST_F(AnAnswer, SaysWhatAFailureIsLikelyDueTo) {
    start();
    chip().ignore_everything();
    const Cause causes[] = {
        {"a silent chip",
         {"get", "time"},
         "method.quon.mcu.get.time: the service failed, result -1: no answer of the chip within "
         "1000 ms; the daemon's log tells more, most after 'quon-mcu log-level debug'"},
        {"a silent chip, at another time-out",
         {"call", "--hex", "get.battery.status"},
         "method.quon.mcu.get.battery.status: the service failed, result -1: no answer of the chip "
         "within 2000 ms; the daemon's log tells more, most after 'quon-mcu log-level debug'"},
        {"no event",
         {"get", "event.info"},
         "method.quon.mcu.get.event.info: the service failed, result -1: the event queue is "
         "empty"},
        {"no such operation",
         {"get", "log.profile"},
         "method.quon.mcu.get.log.profile: the service failed, result -1: this chip has none"},
        {"no such operation",
         {"get", "bit.err.rate"},
         "method.quon.mcu.get.bit.err.rate: the service failed, result -1: this chip has none"},
    };
    expect_causes(causes);
}

TEST_F(AnAnswer, SaysThatTheChannelIsClosed) {
    start_daemon();  // without a chip
    ASSERT_TRUE(wait_until([] { return file_exists(kRunFlag); })) << daemon().output();
    const Cause causes[] = {
        {"a query",
         {"get", "battery.status"},
         "method.quon.mcu.get.battery.status: the service failed, result -1: the chip could not be "
         "asked: "
         "the channel to it is closed, or it failed; the daemon's log tells more, most after "
         "'quon-mcu log-level debug'"},
    };
    expect_causes(causes);
}

TEST_F(AnAnswer, SaysThatTheChipRefusedABlock) {
    start();
    chip().answer(0x8f, {0, 0, 0, 0, 0xa1});
    chip().answer(0x90, {0, 0, 0, 0, 0});
    const Result got = run_client({"upgrade", "/proc/self/exe"});
    EXPECT_EQ(got.status, exited_with(1));
    const std::string end =
        "quon-mcu: upgrade stopped at block 0, offset 0 (--resume-from 0 goes on there): "
        "method.quon.mcu.upg.transmit: the service failed, result -1: the chip refused the block, "
        "or the channel to it is closed; the daemon's log tells more, most after 'quon-mcu "
        "log-level debug'\n";
    EXPECT_NE(got.err.find(end), std::string::npos) << got.err;
}

TEST_F(AnAnswer, HintsAtEventsThatMayBeLost) {
    start();
    const Bytes event = pattern(33);
    for (int i = 0; i < 9; ++i) {
        chip().send(0x01, event);
    }
    ASSERT_TRUE(wait_until([] {
        return run_client({"call", "get.event.info"}).out.starts_with("result  33\n");
    }));
    // Eight are left, and two more make ten.
    chip().send(0x01, event);
    chip().send(0x01, event);
    ASSERT_EQ(peer().call("method.quon.mcu.get.time").result, 10);  // after the events
    const Result got = run_client({"--hex", "events"});
    EXPECT_EQ(std::count(got.out.begin(), got.out.end(), '\n'), 10);
    EXPECT_EQ(got.err,
              "quon-mcu: the daemon's queue of 10 events may have been full: further ones may be "
              "lost\n");
    chip().send(0x01, event);
    ASSERT_EQ(peer().call("method.quon.mcu.get.time").result, 10);
    EXPECT_EQ(run_client({"--hex", "events"}).err, "");
}

// --- wlan0

Bytes network_event(std::uint8_t host) {
    return {0, 1, 192, 168, 1, host, 255, 255, 255, 0, 192, 168, 1, 1, 2, 0, 0,
            0, 0, 7,   8,   8, 8,    8,   0,   0,   0, 0,   0,   0, 0, 0, 0};
}

std::string status_row(const char* name) {
    const std::string out = run_client({"status"}).out;
    const std::size_t at = out.find("\n" + std::string(name));
    return at == std::string::npos ? out : out.substr(at + 1, out.find('\n', at + 1) - at - 1);
}

TEST_F(AnAnswer, ComparesTheDaemonsMemoryWithTheRealInterface) {
    start();
    chip().answer(0x84, {26, 2, 3, 4, 5, 6, 0, 0, 0, 1});
    EXPECT_EQ(status_row("wlan0"), "wlan0    up; the daemon remembers no network to compare with");
    chip().send(0x03, network_event(20));
    const std::string same = "wlan0    up, as the daemon remembers it";
    ASSERT_TRUE(wait_until([&] { return status_row("wlan0") == same; })) << status_row("wlan0");

    ASSERT_EQ(run({"ifconfig", "wlan0", "192.168.1.99"}).status, exited_with(0));
    EXPECT_EQ(status_row("wlan0").find("wlan0    up, differs: address 192.168.1.99"), 0U);
    ASSERT_EQ(run({"ifconfig", "wlan0", "down"}).status, exited_with(0));
    EXPECT_EQ(status_row("wlan0").find("wlan0    down, differs: "), 0U);
    EXPECT_NE(status_row("wlan0").find("gateway none"), std::string::npos);
    const std::string json = run_client({"--json", "status"}).out;
    EXPECT_NE(json.find(R"("wlan0":{"exists":true,"up":false,)"), std::string::npos) << json;
    EXPECT_NE(json.find(R"("mac":"02:00:00:00:00:07","differs":["ip","gateway"]})"),
              std::string::npos)
        << json;
}

}  // namespace
}  // namespace quon::test
