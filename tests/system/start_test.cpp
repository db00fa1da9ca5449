// How the daemon starts: what it asks, prints and leaves, also when something is missing.
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>

#include "launch.h"
#include "system_test.h"

namespace quon::test {
namespace {

constexpr char kContext[] = "method.quon.mcu.get.allwakeup.info";
constexpr char kChannelSource[] =
    "[quon_mcu_daemon/hal/hi3861l/src/channel/hichannel_host][hi_channel_init][l:";
constexpr char kDriverSource[] =
    "[quon_mcu_daemon/hal/hi3861l/src/hi3861l_dev][hi3861l_api_init][l:";

// The end of a line that the driver or the channel prints.
std::string printed(const std::string& text) {
    return "]," + text + "\n\r\n";
}

std::uint32_t milliseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint32_t>(now.tv_sec * 1000 + now.tv_nsec / 1000000);
}

class AStart : public SystemTest {
  protected:
    Bytes complete_context() {
        Bytes context;
        EXPECT_TRUE(wait_until([&] {  // the version is the last to be stored
            context = peer().call(kContext).payload();
            return context.size() == 400 && context[364] != 0;
        }));
        return context;
    }
    // A folder with an "ifconfig" of its own to be put in front of PATH.
    static DaemonProcess::Environment with_ifconfig(const std::string& script) {
        mkdir("/tmp/shim", 0755);
        std::ofstream("/tmp/shim/ifconfig") << "#!/bin/sh\n" << script << "\n";
        chmod("/tmp/shim/ifconfig", 0755);
        return {{"PATH", std::string("/tmp/shim:") + std::getenv("PATH")}};
    }
};

TEST_F(AStart, AsksTheChipForItsStateInOneOrderAndForNothingElse) {
    start();
    EXPECT_EQ(peer().call(kContext).result, 400);
    const std::vector<Bytes> expected = {
        chip_frame(0x81), chip_frame(0x82), chip_frame(0x84), chip_frame(0x86),
        chip_frame(0x8C), chip_frame(0x93), chip_frame(0x80),
    };
    EXPECT_EQ(chip().received(), expected);
}

TEST_F(AStart, SendsEveryFrameInANetlinkMessageFromItsPort) {
    start();
    for (const Bytes& message : chip().messages()) {
        ASSERT_EQ(message.size(), 21U);
        EXPECT_EQ(word_at(message, 0), 21U);     // length, header included
        EXPECT_EQ(word_at(message, 12), 1100U);  // port
    }
}

TEST_F(AStart, PrintsNoBannerAtTheDefaultLevel) {
    start();
    EXPECT_EQ(peer().call(kContext).result, 400);
    EXPECT_EQ(daemon().output().find("Ver:"), std::string::npos);
    EXPECT_TRUE(daemon().log().empty()) << daemon().log().front();
    EXPECT_TRUE(daemon().process().wait_for_text("ws init ip: 0-0\n"));
    EXPECT_EQ(daemon().output(), "ws init ip: 0-0\n");
}

TEST_F(AStart, CarriesItsVersionAndTheTimeOfItsBuildInTheProgram) {
    // The banner is below the default level; its texts are in the program all the same.
    const std::string program = content_of(daemon_program());
    EXPECT_NE(program.find("Ver:%s Build time: %s %s\n"), std::string::npos);
    EXPECT_NE(program.find("V1.0"), std::string::npos);
}

TEST_F(AStart, LeavesAnEmptyRunFlag) {
    start();
    ASSERT_TRUE(file_exists(kRunFlag));
    EXPECT_EQ(std::filesystem::file_size(kRunFlag), 0U);
}

TEST_F(AStart, EmptiesARunFlagThatIsThereAlready) {
    std::ofstream(kRunFlag) << "left over";
    start();
    EXPECT_EQ(content_of(kRunFlag), "");
}

TEST_F(AStart, TakesTheSnapshotOfWhatTheChipAnswers) {
    start_chip();
    Bytes wakeup = pattern(71, 10);
    wakeup[0] = 2;
    Bytes store = pattern(48, 90);
    Bytes net =
        from_hex("c0 a8 01 14 ff ff ff 00 c0 a8 01 01 02 00 00 00 00 05 08 08 08 08 00 00 00 00");
    chip().answer(0x81, net);
    chip().answer(0x82, wakeup);
    chip().answer(0x84, pattern(10, 20));
    chip().answer(0x86, pattern(5, 40));
    chip().answer(0x8C, pattern(70, 50));
    chip().answer(0x93, store);
    chip().answer(0x80, bytes_of("V3.2.1"));
    start_daemon();
    wait_until_started();
    const Bytes context = complete_context();
    EXPECT_EQ(to_hex(slice(context, 0, 71)), to_hex(wakeup));
    EXPECT_EQ(to_hex(slice(context, 71, 10)), to_hex(pattern(10, 20)));
    EXPECT_EQ(to_hex(slice(context, 81, 5)), to_hex(pattern(5, 40)));
    EXPECT_EQ(to_hex(slice(context, 86, 70)), to_hex(pattern(70, 50)));
    // Five texts of 32 bytes: MAC of the wake-up info, IP, gateway, both DNS servers.
    const auto text = [](const std::string& words) { return padded(bytes_of(words), 32); };
    EXPECT_EQ(text_of(slice(context, 156, 160)),
              text_of(joined(joined(text("40:41:42:43:44:45"), text("192.168.1.20")),
                             joined(joined(text("192.168.1.1"), text("8.8.8.8")), text("")))));
    EXPECT_EQ(to_hex(slice(context, 316, 48)), to_hex(store));
    EXPECT_EQ(text_of(slice(context, 364, 32)), text_of(padded(bytes_of("V3.2.1"), 32)));
    EXPECT_NE(word_at(context, 396), 0U);
}

TEST_F(AStart, NotesTheTimeOnTheMonotonicClock) {
    const std::uint32_t before = milliseconds();
    start();
    const std::uint32_t start_time = word_at(peer().call(kContext).payload(), 396);
    EXPECT_LE(start_time - before, milliseconds() - before);
    // "get.socup.time" counts from there.
    const std::uint32_t asking = milliseconds();
    const BusRecord first = peer().call("method.quon.mcu.get.socup.time");
    const std::uint32_t asked = milliseconds();
    const std::uint32_t counted = word_at(first.payload(), 8);
    EXPECT_EQ(first.result, 12);
    EXPECT_LE(counted, asked - start_time);
    ASSERT_TRUE(wait_until([&] {
        return word_at(peer().call("method.quon.mcu.get.socup.time").payload(), 8) >= counted + 50;
    }));
    EXPECT_GE(milliseconds() - asking, 49U);
}

TEST_F(AStart, NotesItsTimeBetweenTheWakeUpInfoAndTheTime) {
    start_chip().ignore(0x82);
    chip().ignore(0x84);
    start_daemon();
    ASSERT_TRUE(chip().wait_for(0x82));
    const std::uint32_t earliest = milliseconds();
    chip().send(0x82, Bytes(71, 0));
    ASSERT_TRUE(chip().wait_for(0x84));
    const std::uint32_t latest = milliseconds();
    const std::uint32_t noted = word_at(peer().call(kContext).payload(), 396);
    EXPECT_GE(noted, earliest);
    EXPECT_LE(noted, latest);
    chip().send(0x84, Bytes(10, 0));
    wait_until_started();
}

TEST_F(AStart, ServesTheTwoWordsOfTheWakeUpInfo) {
    start_chip();
    Bytes wakeup(71, 0);
    std::copy_n(from_hex("11 22 33 44 55 66 77 88").begin(), 8, wakeup.begin() + 60);
    chip().answer(0x82, wakeup);
    start_daemon();
    wait_until_started();
    const std::size_t frames = chip().received().size();
    const BusRecord result = peer().call("method.quon.mcu.get.socup.time");
    EXPECT_EQ(result.result, 12);
    EXPECT_EQ(to_hex(slice(result.payload(), 0, 8)), "11 22 33 44 55 66 77 88");
    EXPECT_EQ(chip().received().size(), frames);
}

TEST_F(AStart, NeverRefreshesTheSnapshot) {
    start();
    const Bytes before = complete_context();
    call_answered("method.quon.mcu.get.time", {}, 0x84, pattern(10));
    call_answered("method.quon.mcu.get.wakeup.info", {}, 0x82, pattern(71));
    EXPECT_EQ(to_hex(peer().call(kContext).payload()), to_hex(before));
}

TEST_F(AStart, WithASilentChipGoesOnAndReportsEachQuery) {
    start_chip().ignore_everything();
    const auto begin = std::chrono::steady_clock::now();
    start_daemon();
    ASSERT_TRUE(chip().wait_for(0x80, 1, 60s)) << daemon().output();
    const auto taken = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(taken, 1000ms + 2000ms + 1000ms + 2000ms + 1000ms + 1000ms - 50ms);
    ASSERT_TRUE(wait_for_log(handler_failed(expected::service("get.ver"))));
    std::vector<Expected> lines = {
        exchange_failed(expected::kNetQuery),
        driver_failed("hi3861l_wlan_init_mac", expected::kNetQueryFailed),
        driver_failed("hi3861l_api_init", expected::kInitMacFailed),
    };
    for (const char* const name : {"get.wakeup.info", "get.time", "get.battery.status",
                                   "get.wifi.status", "get.store.params", "get.ver"}) {
        lines.push_back(exchange_failed(expected::operation_of(expected::service(name))));
        lines.push_back(handler_failed(expected::service(name)));
    }
    const std::vector<LogLine> log = daemon().log();
    ASSERT_EQ(log.size(), lines.size()) << daemon().output();
    for (std::size_t index = 0; index < lines.size(); ++index) {
        EXPECT_EQ(log[index], lines[index]);
    }
    const BusRecord context = peer().call(kContext);
    EXPECT_EQ(context.result, 400);
    Bytes without_times = context.payload();
    EXPECT_NE(word_at(without_times, 396), 0U);
    without_times.resize(396);
    Bytes zeros(396, 0);
    const auto put = [&zeros](std::size_t offset, const std::string& text) {
        std::copy(text.begin(), text.end(), zeros.begin() + static_cast<std::ptrdiff_t>(offset));
    };
    put(156, "00:00:00:00:00:00");  // these three are formatted whatever is known
    put(188, "0.0.0.0");
    put(220, "0.0.0.0");
    EXPECT_EQ(to_hex(without_times), to_hex(zeros));
    EXPECT_TRUE(file_exists(kRunFlag));
    chip().answer_as_usual(0x84);  // the chip comes back
    expect_still_serving();
}

TEST_F(AStart, WithoutAChipServesWhatNeedsNoChip) {
    start_daemon();  // no chip at all
    ASSERT_TRUE(wait_for_log(handler_failed(expected::service("get.ver"))));
    const std::string output = daemon().output();
    const std::size_t socket_line = output.find(kChannelSource);
    ASSERT_NE(socket_line, std::string::npos) << output;
    const std::string failure =
        printed(expected::kSocketFailed + std::string(std::strerror(EPROTONOSUPPORT)));
    EXPECT_NE(output.find(failure, socket_line), std::string::npos) << output;
    const std::size_t init_line = output.find(kDriverSource, socket_line);
    ASSERT_NE(init_line, std::string::npos) << output;
    EXPECT_NE(output.find(printed(expected::kChannelInitFailed), init_line), std::string::npos);
    EXPECT_NE(output.find(printed(expected::kRegistrationFailed), init_line), std::string::npos);
    EXPECT_NE(output.find(printed(expected::kSendFailed + std::string(std::strerror(EBADF)))),
              std::string::npos);
    for (const Expected& line :
         {error_line(kDriverTag, "hi3861l_send_data", expected::kChannelFailedLine),
          error_line(kDriverTag, "hi3861l_send_msg_sync", expected::kSendDataFailedLine),
          driver_failed("hi3861l_api_init", expected::kInitMacFailed),
          handler_failed(expected::service("get.time"))}) {
        EXPECT_TRUE(daemon().has_logged(line)) << line.function << ' ' << line.text << output;
    }
    EXPECT_EQ(peer().call(kContext).result, 400);
    EXPECT_EQ(peer().call("method.quon.mcu.get.time").result, -1);
    const std::size_t mark = daemon().mark();
    peer().notify("signal.quon.mcu.set.led", {1});
    const ExpectedService& led = expected::service("set.led");
    EXPECT_TRUE(wait_for_log(
        error_line(kDriverTag, "hi3861l_send_msg_async", expected::kSendDataFailedLine), mark));
    EXPECT_TRUE(wait_for_log(send_failed(expected::operation_of(led)), mark));
    EXPECT_TRUE(wait_for_log(handler_failed(led), mark));
    EXPECT_TRUE(file_exists(kRunFlag));
}

TEST_F(AStart, OfASecondDaemonFindsTheChannelHeldAndTakesTheBusPathOver) {
    start();
    BusPeer of_the_first;
    EXPECT_EQ(of_the_first.call("method.quon.mcu.get.time").result, 10);
    const std::size_t frames = chip().received().size();
    DaemonProcess& second = start_daemon();
    ASSERT_TRUE(second.wait_for_log(handler_failed(expected::service("get.ver"))));
    // The bind says nothing; the driver does.
    EXPECT_EQ(second.output().find(kChannelSource), std::string::npos) << second.output();
    EXPECT_NE(second.output().find(printed(expected::kChannelInitFailed)), std::string::npos);
    EXPECT_TRUE(second.process().running());
    // A newcomer reaches the second, which has no chip; the first keeps its connections and chip.
    BusPeer newcomer;
    EXPECT_EQ(newcomer.call("method.quon.mcu.get.time").result, -1);
    const std::string pid_of_second =
        text_of(newcomer.call("method.quon.mcu.get.popen", bytes_of("echo $PPID")).payload());
    EXPECT_EQ(pid_of_second, std::to_string(second.pid()) + "\n");
    EXPECT_EQ(chip().received().size(), frames);
    EXPECT_EQ(of_the_first.call("method.quon.mcu.get.time").result, 10);
    // The run flag is one file for both: whoever ends first removes it.
    EXPECT_EQ(second.process().terminate(), (ExitStatus{.exited = true, .code = 1}));
    EXPECT_FALSE(file_exists(kRunFlag));
    const std::size_t mark = daemon().mark();
    EXPECT_EQ(daemon().process().terminate(), (ExitStatus{.exited = true, .code = 1}));
    EXPECT_TRUE(daemon().has_logged(
        {'E', kDaemonTag, "quon_mcu_clear_run_flag", expected::kFlagStays}, mark));
}

TEST_F(AStart, WithARunFlagThatCannotBeMadeServesAllTheSame) {
    ASSERT_EQ(mkdir(kRunFlag, 0755), 0);
    std::ofstream(std::string(kRunFlag) + "/inside") << "so that it cannot be removed either";
    start();
    EXPECT_TRUE(wait_for_log({'E', kDaemonTag, "quon_mcu_set_run_flag", expected::kNoFlag}));
    expect_still_serving();
    EXPECT_EQ(daemon().process().terminate(), (ExitStatus{.exited = true, .code = 1}));
    EXPECT_TRUE(
        daemon().has_logged({'E', kDaemonTag, "quon_mcu_clear_run_flag", expected::kFlagStays}));
}

TEST_F(AStart, WithoutAHandOffSocketEndsThatThreadAlone) {
    ASSERT_EQ(mkdir(kHandOffPath, 0755), 0);
    start_chip();
    start_daemon();
    wait_until_started();
    EXPECT_TRUE(daemon().process().wait_for_text(expected::kBindFailed));
    EXPECT_TRUE(wait_until([this] { return !daemon().thread_names().contains("webpreinit"); }));
    EXPECT_EQ(daemon().output().find("ws init ip"), std::string::npos);
    expect_still_serving();
    ASSERT_EQ(rmdir(kHandOffPath), 0);
}

TEST_F(AStart, WithoutABusSocketEndsAtOnce) {
    start_chip();
    ASSERT_EQ(mount(nullptr, "/tmp", nullptr,
                    MS_REMOUNT | MS_BIND | MS_RDONLY | MS_NOSUID | MS_NODEV, nullptr),
              0);
    start_daemon();
    EXPECT_EQ(daemon().process().wait_exit(), (ExitStatus{.exited = true, .code = 255}));
    ASSERT_EQ(mount(nullptr, "/tmp", nullptr, MS_REMOUNT | MS_BIND | MS_NOSUID | MS_NODEV, nullptr),
              0);
    EXPECT_NE(daemon().output().find("Cannot bind server socket (/tmp/dbus-quon.mcu.daemon)\n"),
              std::string::npos)
        << daemon().output();
    const std::vector<LogLine> log = daemon().log();
    ASSERT_EQ(log.size(), 2U) << daemon().output();
    EXPECT_EQ(log[0],
              (Expected{'E', kDaemonTag, "quon_mcu_dbus_server_init", expected::kRegisterFailed}));
    EXPECT_EQ(log[1], (Expected{'E', kDaemonTag, "main", expected::kServerFailed}));
    EXPECT_TRUE(chip().received().empty());
    EXPECT_FALSE(file_exists(kRunFlag));
}

TEST_F(AStart, TakesOverABusSocketLeftByAnEarlierRun) {
    start();
    daemon().process().send_signal(SIGKILL);
    ASSERT_TRUE(daemon().process().wait_exit());
    ASSERT_TRUE(file_exists(kBusPath));
    DaemonProcess& next = start_daemon();
    ASSERT_TRUE(chip().wait_for(0x80, 2)) << next.output();
    expect_still_serving();
}

TEST_F(AStart, ServesTheBusBeforeTheChipIsUp) {
    start_chip();
    ASSERT_EQ(mkfifo("/tmp/gate", 0600), 0);
    // The driver's first step runs this, and stays in it.
    start_daemon(with_ifconfig("read line < /tmp/gate; exit 1"));
    EXPECT_EQ(peer().call(kContext).payload(), Bytes(400, 0));
    EXPECT_EQ(text_of(peer().call("method.quon.mcu.get.popen", bytes_of("echo early")).payload()),
              "early\n");
    EXPECT_EQ(peer().call("method.quon.mcu.get.time").result, -1);
    EXPECT_EQ(peer().call("method.quon.mcu.get.event.info").result, -1);
    EXPECT_TRUE(chip().received().empty());
    EXPECT_FALSE(file_exists(kRunFlag));
    ASSERT_TRUE(wait_until([] { return feed_fifo("/tmp/gate", "go\n"); }));
    wait_until_started();
    expect_still_serving();
}

TEST_F(AStart, BringsTheInterfaceUpAndDoesNotMindAFailure) {
    start_chip();
    start_daemon(
        with_ifconfig("echo \"$@\" >> /tmp/calls; ls /proc/self/fd | xargs >> /tmp/fds;"
                      "exit 3"));
    wait_until_started();
    EXPECT_EQ(content_of("/tmp/calls"), "wlan0 up\n");
    EXPECT_EQ(content_of("/tmp/fds"), "0 1 2 3\n");  // the last is the listing's own
    EXPECT_EQ(daemon().output().find("fail"), std::string::npos) << daemon().output();
}

struct DescriptorLimit {
    const char* name;
    const char* before;
    const char* soft;
    const char* hard;
};

void PrintTo(const DescriptorLimit& row, std::ostream* stream) {
    *stream << row.name;
}

class ALimitOfDescriptors : public SystemTest,
                            public ::testing::WithParamInterface<DescriptorLimit> {};

TEST_P(ALimitOfDescriptors, IsRaisedTo1024AndNoFurtherThanItMay) {
    start_chip();
    start_daemon_after(GetParam().before);
    wait_until_started();
    const std::string limits = content_of("/proc/" + std::to_string(daemon().pid()) + "/limits");
    const std::size_t line = limits.find("Max open files");
    ASSERT_NE(line, std::string::npos);
    const std::vector<std::string> words = words_of(limits.substr(line, limits.find('\n', line)));
    EXPECT_EQ(words.at(3), GetParam().soft);
    EXPECT_EQ(words.at(4), GetParam().hard);
}

const DescriptorLimit kDescriptorLimits[] = {
    {"Low", "ulimit -n 2000; ulimit -S -n 256; ", "1024", "2000"},
    {"High", "ulimit -n 2000; ulimit -S -n 1500; ", "1500", "2000"},
    {"NotToBeRaisedSoFar", "ulimit -n 512; ulimit -S -n 256; ", "512", "512"},
};
INSTANTIATE_TEST_SUITE_P(Each, ALimitOfDescriptors, ::testing::ValuesIn(kDescriptorLimits),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(AStart, BringsUpTheRealInterface) {
    EXPECT_EQ(run({"ifconfig", "wlan0"}).out.find("UP"), std::string::npos);
    start();
    EXPECT_NE(run({"ifconfig", "wlan0"}).out.find("UP"), std::string::npos);
}

TEST_F(AStart, LogsTheMacThatTheChipTellsFirst) {
    // A request during the start turns the levels on.
    start_chip();
    ASSERT_EQ(mkfifo("/tmp/gate", 0600), 0);
    start_daemon(with_ifconfig("read line < /tmp/gate"));
    set_level(4);
    chip().answer(0x81, from_hex("c0 a8 01 14 ff ff ff 00 c0 a8 01 01 02 0a 00 b0 00 05 08 08 08 "
                                 "08 00 00 00 00"));
    ASSERT_TRUE(wait_until([] { return feed_fifo("/tmp/gate", "go\n"); }));
    wait_until_started();
    // The chip's MAC, without padding, as soon as the chip has told it.
    EXPECT_TRUE(wait_for_log({'D', kDriverTag, "hi3861l_get_ip_info", "2:a:0:b0:0:5\n"}));
}

}  // namespace
}  // namespace quon::test
