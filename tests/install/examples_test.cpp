// The examples, built as their page says, against the real daemon with the simulated chip, and
// against servers that answer as no daemon does.
#include <gtest/gtest.h>
#include <poll.h>

#include <atomic>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "bus_peers.h"
#include "installation.h"
#include "simulated_chip.h"
#include "system_test.h"

namespace quon::test {
namespace {

constexpr char kLibrary[] = "dbus_socket_common";
constexpr char kDaemonName[] = "quon.mcu.daemon";
// Above the longest time-out of an example, 10 s.
constexpr std::chrono::milliseconds kLongestRun = 2 * kLongEnough;

ExitStatus exited_with(int code) {
    return {.exited = true, .code = code};
}

std::string source_of(const std::string& file) {
    return std::string(QUON_EXAMPLES) + "/" + file;
}

class Examples : public SystemTest {
  protected:
    void SetUp() override {
        SystemTest::SetUp();  // has a /tmp of its own
        installation_.emplace();
    }
    void TearDown() override {
        SystemTest::TearDown();
        if (simulator_) {
            EXPECT_EQ(simulator_->process().terminate(), exited_with(0));
        }
    }

    void start_world(const Words& chip_options = {}) {
        simulator_ = std::make_unique<SimulatedChip>(chip_options);
        start_daemon();
        ASSERT_TRUE(simulator_->wait_for(0x80)) << daemon().output();
    }
    SimulatedChip& simulator() { return *simulator_; }

    // The words that start an example, which is built when it has to be.
    Words get_version() { return built("get_version", c_compiler() + Words{"-std=c99"}, ".c"); }
    Words watch_events() {
        return built("watch_events", cxx_compiler() + Words{"-std=c++20"}, ".cpp");
    }
    static Words python_client() { return {"python3", "-B", source_of("quon_mcu_client.py")}; }

    // In one step, with what pkg-config says at the end, as their page shows it.
    Words built(const std::string& name, const Words& compiler, const std::string& ending) {
        const std::string program = scratch(name);
        if (!file_exists(program)) {
            must_run(compiler + strict_flags() + sanitizer_flags() +
                     Words{source_of(name + ending), "-o", program} + pkg_config("--cflags") +
                     pkg_config("--libs"));
        }
        return started(program);
    }
    Words started(const std::string& program) const {
        return {"env", "LD_LIBRARY_PATH=" + installation_->libraries().string(), program};
    }
    std::string scratch(const std::string& name) const {
        return installation_->scratch(name).string();
    }
    Words pkg_config(const std::string& what) const {
        return installation_->pkg_config(what, kLibrary);
    }

    static ChildProcess::Options in_background(const Words& command) {
        return {.command = command,
                .environment = {},
                .output = ChildProcess::Output::kPipe,
                .separate_errors = true,
                .input = {}};
    }

  private:
    std::optional<Installation> installation_;
    std::unique_ptr<SimulatedChip> simulator_;
};

void expect_run(const Words& command, int status, const std::string& out, const std::string& err) {
    const Result got = run(command, {}, kLongestRun);
    EXPECT_EQ(got.status, exited_with(status)) << got.err;
    EXPECT_EQ(got.out, out);
    EXPECT_EQ(got.err, err);
}

// ---- The real daemon

TEST_F(Examples, GetVersionPrintsTheVersionThatTheChipTells) {
    start_world({"--firmware-version", "V2.1.7"});
    expect_run(get_version(), 0, "V2.1.7\n", "");
}

TEST_F(Examples, WatchEventsPrintsEventsInTheirOrderAndEndsAfterItsCount) {
    start_world();
    simulator().command("event raw 01 0102030405");
    ChildProcess watcher(in_background(watch_events() + Words{"3"}));
    ASSERT_TRUE(watcher.wait_for_text("\n")) << watcher.errors();
    simulator().command("event raw 02 aa");
    simulator().command("event raw 04 bb");
    EXPECT_EQ(watcher.wait_exit(), exited_with(0)) << watcher.errors();
    EXPECT_EQ(watcher.output(), "0102030405" + std::string(56, '0') + "\naa" +
                                    std::string(64, '0') + "\nbb" + std::string(64, '0') + "\n");
    EXPECT_EQ(watcher.errors(), "");
}

TEST_F(Examples, WatchEventsWithoutACountGoesOnUntilItIsTerminatedOrInterrupted) {
    start_world();
    for (const int signal : {SIGTERM, SIGINT}) {
        ChildProcess watcher(in_background(watch_events()));
        simulator().command("event raw 01 11");
        ASSERT_TRUE(watcher.wait_for_text("\n")) << watcher.errors();
        watcher.send_signal(signal);
        EXPECT_EQ(watcher.wait_exit(), exited_with(0)) << signal << watcher.errors();
        EXPECT_EQ(watcher.output(), "11" + std::string(64, '0') + "\n") << signal;
        EXPECT_EQ(watcher.errors(), "") << signal;
    }
}

TEST_F(Examples, ThePythonClientCallsMethodsAndSendsSignals) {
    start_world({"--firmware-version", "V2.1.7"});
    expect_run(python_client() + Words{"call", "get.ver"}, 0, "56322e312e37\n", "");
    expect_run(python_client() + Words{"call", "method.quon.mcu.get.ver"}, 0, "56322e312e37\n", "");
    expect_run(python_client() + Words{"call", "get.popen", "6563686f20686900"}, 0, "68690a\n", "");
    expect_run(python_client() + Words{"send", "set.led", "05"}, 0, "", "");
    EXPECT_TRUE(simulator().wait_for(0x85));
    EXPECT_EQ(to_hex(simulator().last_frame(0x85)), "85 01 00 00 00 05");
}

TEST_F(Examples, ThePythonClientServesOtherProgramsAsAModule) {
    start_world({"--firmware-version", "V2.1.7"});
    constexpr char kProgram[] = R"(
import sys
sys.path.insert(0, sys.argv[1])
import quon_mcu_client as bus
with bus.Client() as client:
    print(client.call("method.quon.mcu.get.ver").decode())
    client.send("signal.quon.mcu.set.led", b"\x02")
    try:
        client.call("method.quon.mcu.get.log.profile")
    except bus.ServiceFailed as failure:
        print(failure.result)
    try:
        client.call("method.quon.mcu.unknown", timeout=0.1)
    except bus.TimedOut as failure:
        print(failure)
    print(len(client.call("method.quon.mcu.get.time")))
)";
    expect_run({"python3", "-B", "-c", kProgram, QUON_EXAMPLES}, 0,
               "V2.1.7\n-1\nmethod.quon.mcu.unknown: no answer in time\n10\n", "");
    EXPECT_TRUE(simulator().wait_for(0x85));
}

TEST_F(Examples, ThePythonClientWaitsForADaemonThatIsStarting) {
    ChildProcess client(
        in_background(python_client() +
                      // the bus is open before the channel to the chip is: not a chip's service
                      Words{"--wait", "20000", "call", "get.popen", "6563686f20686900"}));
    start_world();
    EXPECT_EQ(client.wait_exit(), exited_with(0));
    EXPECT_EQ(client.output(), "68690a\n");
    EXPECT_EQ(client.errors(), "");
}

TEST_F(Examples, SayThatAServiceHasFailedWhenTheChipIsSilent) {
    start_world();
    simulator().command("silent");
    expect_run(get_version(), 1, "", "get_version: the service failed, result -1\n");
    expect_run(python_client() + Words{"call", "get.ver"}, 1, "",
               "quon_mcu_client.py: method.quon.mcu.get.ver: the service failed, result -1\n");
}

TEST_F(Examples, EndByTheirTimeOutsWhenTheDaemonStandsStill) {
    start_world();
    ASSERT_EQ(kill(daemon().pid(), SIGSTOP), 0);
    expect_run(get_version() + Words{"300"}, 4, "", "get_version: no answer within 300 ms\n");
    expect_run(watch_events(), 4, "", "watch_events: no answer in time\n");
    expect_run(python_client() + Words{"--timeout", "300", "call", "get.ver"}, 4, "",
               "quon_mcu_client.py: method.quon.mcu.get.ver: no answer in time\n");
    EXPECT_EQ(kill(daemon().pid(), SIGCONT), 0);
}

TEST_F(Examples, SayThatStandardOutputCannotBeWritten) {
    start_world();
    simulator().command("event raw 01 11");
    const Words to_full = {"/bin/sh", "-c", "exec \"$@\" >/dev/full", "sh"};
    expect_run(to_full + get_version(), 1, "",
               "get_version: standard output: No space left on device\n");
    expect_run(to_full + watch_events(), 1, "",
               "watch_events: standard output cannot be written\n");
    expect_run(to_full + python_client() + Words{"call", "get.ver"}, 1, "",
               "quon_mcu_client.py: standard output: No space left on device\n");
}

// ---- No daemon

TEST_F(Examples, SayAtOnceThatThereIsNoDaemon) {
    constexpr char kNobody[] = ": no daemon: nobody answers at /tmp/dbus-quon.mcu.daemon\n";
    expect_run(get_version(), 3, "", std::string("get_version") + kNobody);
    expect_run(watch_events(), 3, "", std::string("watch_events") + kNobody);
    expect_run(python_client() + Words{"call", "get.ver"}, 3, "",
               std::string("quon_mcu_client.py") + kNobody);
    expect_run(python_client() + Words{"send", "set.led", "05"}, 3, "",
               std::string("quon_mcu_client.py") + kNobody);
}

TEST_F(Examples, WatchEventsNeedsNothingOfTheCxxLibraryAtRunTime) {
    must_run(cxx_compiler() + Words{"-std=c++20", "-fno-exceptions", "-fno-rtti"} + strict_flags() +
             sanitizer_flags() + pkg_config("--cflags") +
             Words{"-c", source_of("watch_events.cpp"), "-o", scratch("watch_events.o")});
    must_run(c_compiler() + sanitizer_flags() +
             Words{scratch("watch_events.o"), "-o", scratch("small")} + pkg_config("--libs"));
    expect_run(started(scratch("small")), 3, "",
               "watch_events: no daemon: nobody answers at /tmp/dbus-quon.mcu.daemon\n");
}

// ---- Wrong arguments

TEST_F(Examples, RefuseWrongArguments) {
    for (const Words& wrong :
         {Words{"x"}, Words{""}, Words{"5x"}, Words{"-1"}, Words{"2147483648"}, Words{"1", "2"}}) {
        expect_run(get_version() + wrong, 2, "", "usage: get_version [TIMEOUT_MS]\n");
    }
    for (const Words& wrong :
         {Words{"x"}, Words{""}, Words{"5x"}, Words{"0"}, Words{"-1"}, Words{"1", "2"}}) {
        expect_run(watch_events() + wrong, 2, "", "usage: watch_events [COUNT]\n");
    }
}

struct WrongPythonRow {
    Words words;
    const char* last_line;
};

TEST_F(Examples, ThePythonClientRefusesWrongArguments) {
    for (const WrongPythonRow& row : {
             WrongPythonRow{{"call"}, "error: the following arguments are required: NAME\n"},
             WrongPythonRow{{"call", "get.ver", "0"},
                            "error: argument HEX: invalid fromhex value: '0'\n"},
             WrongPythonRow{{"--timeout", "-1", "call", "get.ver"},
                            "error: argument --timeout: invalid _milliseconds value: '-1'\n"},
         }) {
        const Result got = run(python_client() + row.words);
        EXPECT_EQ(got.status, exited_with(2)) << row.last_line;
        EXPECT_EQ(got.out, "") << row.last_line;
        EXPECT_TRUE(got.err.starts_with("usage: quon_mcu_client.py ")) << got.err;
        EXPECT_TRUE(got.err.ends_with(row.last_line)) << got.err;
    }
}

// ---- Servers that answer as no daemon does

// Listens in the daemon's place, and serves one connection after the other.
class Impostor {
  public:
    explicit Impostor(const std::function<void(RawPeer&)>& serve)
        : server_(kDaemonName), thread_([this, serve] { serve_all(serve); }) {}
    ~Impostor() {
        stopped_ = true;
        thread_.join();
    }
    Impostor(const Impostor&) = delete;
    Impostor& operator=(const Impostor&) = delete;

  private:
    void serve_all(const std::function<void(RawPeer&)>& serve) {
        while (!stopped_) {
            if (std::optional<RawPeer> peer = server_.accept_one(20ms)) {
                serve(*peer);
            }
        }
    }

    RawServer server_;
    std::atomic<bool> stopped_{false};
    std::thread thread_;
};

// Answers one request with this result and length.
std::function<void(RawPeer&)> answering(std::int32_t result, std::uint32_t length) {
    return [=](RawPeer& peer) {
        if (const std::optional<DbusMsg> request = peer.receive()) {
            DbusMsg answer = make_result(*request, result);
            answer.data_len = length;
            peer.send(answer);
            peer.sees_end();
        }
    };
}

TEST_F(Examples, TellAMalformedAnswer) {
    const Impostor impostor(answering(3, 4357));
    expect_run(get_version(), 5, "", "get_version: malformed answer, length 4357\n");
    expect_run(watch_events(), 5, "", "watch_events: malformed answer\n");
    expect_run(python_client() + Words{"call", "get.ver"}, 5, "",
               "quon_mcu_client.py: method.quon.mcu.get.ver: malformed answer: result 3, length "
               "4357\n");
}

TEST_F(Examples, WatchEventsTellsAFailureFromTheLackOfAnEvent) {
    const Impostor impostor(answering(-7, 0));
    expect_run(watch_events(), 1, "", "watch_events: the service failed\n");
}

TEST_F(Examples, SayThatTheConnectionWasLost) {
    // Closed with the request unread, which is a reset.
    const Impostor impostor([](RawPeer& peer) {
        pollfd ready{peer.descriptor(), POLLIN, 0};
        poll(&ready, 1, static_cast<int>(kLongEnough.count()));
    });
    constexpr char kOfTheLibrary[] =
        "Dbus_Method_Thread LINE read socket data failed exit this thread, ret:-1 errno:104 "
        "(Connection reset by peer)\n";
    const Result version = run(get_version() + Words{"60000"});
    EXPECT_EQ(version.status, exited_with(3));
    EXPECT_EQ(without_line_numbers(version.out), kOfTheLibrary);
    EXPECT_EQ(version.err, "get_version: the connection was lost\n");

    const Result events = run(watch_events());
    EXPECT_EQ(events.status, exited_with(3));
    EXPECT_EQ(without_line_numbers(events.out), kOfTheLibrary);
    EXPECT_EQ(events.err, "watch_events: the connection was lost\n");

    expect_run(python_client() + Words{"call", "get.ver"}, 3, "",
               "quon_mcu_client.py: the connection was lost: Connection reset by peer\n");
}

TEST_F(Examples, ThePythonClientSeesTheEndOfTheStream) {
    const Impostor impostor([](RawPeer& peer) { peer.receive(); });
    expect_run(python_client() + Words{"call", "get.ver"}, 3, "",
               "quon_mcu_client.py: the connection was lost\n");
}

TEST_F(Examples, ThePythonClientWritesTheWholeRecord) {
    std::optional<DbusMsg> request;
    {
        const Impostor impostor([&](RawPeer& peer) {
            request = peer.receive();
            peer.send(make_result(request.value(), 0));
            peer.sees_end();
        });
        expect_run(python_client() + Words{"call", "get.ver", "0a0b0c"}, 0, "\n", "");
    }
    ASSERT_TRUE(request);
    DbusMsg expected{};
    expected.head = 0x5AA55AA5;
    expected.id = request->id;
    std::strcpy(expected.src_name, "example.python");
    std::strcpy(expected.dst_name, "quon.mcu.daemon");
    expected.type = 1;
    std::strcpy(expected.name, "method.quon.mcu.get.ver");
    expected.data_len = 3;
    std::memcpy(expected.data, "\x0a\x0b\x0c", 3);
    EXPECT_EQ(std::memcmp(&*request, &expected, sizeof(expected)), 0);
}

TEST_F(Examples, ThePythonClientDropsWhatDoesNotAnswerItsCall) {
    const Impostor impostor([](RawPeer& peer) {
        const DbusMsg request = peer.receive().value();
        DbusMsg other_id = make_result(request, 1, "x");
        other_id.id++;
        DbusMsg other_name = make_result(request, 1, "y");
        other_name.name[0] = 'M';
        DbusMsg wrong_head = make_result(request, 1, "z");
        wrong_head.head = 0x12345678;
        for (const DbusMsg& record : {other_id, other_name, wrong_head}) {
            peer.send(record);
        }
        // A short record counts as it stands: the rest is zeros.
        const DbusMsg right = make_result(request, 2, std::string("\x41", 1));
        peer.send_bytes(bytes_of_record(right).first(offsetof(DbusMsg, data) + 1));
        peer.sees_end();
    });
    expect_run(python_client() + Words{"call", "get.ver"}, 0, "4100\n", "");
}

}  // namespace
}  // namespace quon::test
