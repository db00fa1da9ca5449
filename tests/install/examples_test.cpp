// The examples, built from an installation and run as their page says, against the real daemon with
// a chip; and the Python package installed by pip.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <csignal>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>

#include "hand_off_peers.h"
#include "installation.h"
#include "simulated_chip.h"
#include "system_test.h"

namespace quon::test {
namespace {

// Longer than the longest time-out of an example.
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
        SystemTest::SetUp();  // has a private /tmp
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

    // The command that starts an example, built first if necessary.
    Words read_battery() { return c_program("read_battery"); }
    Words wake_up() { return c_program("wake_up"); }
    Words follow_events() {
        return built("follow_events", cxx_compiler() + Words{"-std=c++20"}, ".cpp");
    }
    Words production_line() const { return python() + Words{source_of("production_line.py")}; }
    Words python() const {
        const auto packages = installation_->prefix() / QUON_DATADIR / "quon_mcu_daemon/python";
        return {"env", "PYTHONPATH=" + packages.string(), "/usr/bin/python3", "-B"};
    }
    Words c_program(const std::string& name) {
        return built(name, c_compiler() + Words{"-std=c99"}, ".c");
    }

    // In one step, with pkg-config's output last, as their page shows it.
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
    std::string prefix() const { return installation_->prefix().string(); }
    Words pkg_config(const std::string& what) const {
        return installation_->pkg_config(what, "quon_mcu_client");
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

TEST_F(Examples, AreUnderSixtyLinesEach) {
    for (const char* file :
         {"read_battery.c", "follow_events.cpp", "wake_up.c", "production_line.py"}) {
        std::ifstream in(source_of(file));
        const auto lines = std::count(std::istreambuf_iterator<char>(in), {}, '\n');
        EXPECT_GT(lines, 20) << file;
        EXPECT_LT(lines, 60) << file;
    }
}

TEST_F(Examples, ReadBatteryPrintsTheChipsBytes) {
    start();
    chip().answer(0x86, {0x0f, 0x10, 0xa1, 0x00, 0xff});
    expect_run(read_battery(), 0, "battery 0f 10 a1 00 ff\n", "");
    chip().answer(0x86, {});
    expect_run(read_battery(), 1, "", "read_battery: the chip sent nothing\n");
    chip().ignore(0x86);
    expect_run(read_battery(), 1, "", "read_battery: the service failed\n");
}

TEST_F(Examples, FollowEventsPrintsEventsInTheirOrderAndEndsAfterItsCount) {
    start_world();
    simulator().command("event raw 01 0102030405");
    ChildProcess follower(in_background(follow_events() + Words{"3"}));
    ASSERT_TRUE(follower.wait_for_text("\n")) << follower.errors();
    simulator().command("event raw 02 aa");
    simulator().command("event raw 04 bb");
    EXPECT_EQ(follower.wait_exit(), exited_with(0)) << follower.errors();
    EXPECT_EQ(follower.output(), "0102030405" + std::string(56, '0') + "\naa" +
                                     std::string(64, '0') + "\nbb" + std::string(64, '0') + "\n");
    EXPECT_EQ(follower.errors(), "");
}

TEST_F(Examples, FollowEventsWithoutACountGoesOnUntilItIsTerminatedOrInterrupted) {
    start_world();
    for (const int signal : {SIGTERM, SIGINT}) {
        ChildProcess follower(in_background(follow_events()));
        simulator().command("event raw 01 11");
        ASSERT_TRUE(follower.wait_for_text("\n")) << follower.errors();
        follower.send_signal(signal);
        EXPECT_EQ(follower.wait_exit(), exited_with(0)) << signal << follower.errors();
        EXPECT_EQ(follower.output(), "11" + std::string(64, '0') + "\n") << signal;
    }
}

TEST_F(Examples, FollowEventsNeedsNothingOfTheCxxLibraryAtRunTime) {
    must_run(cxx_compiler() + Words{"-std=c++20", "-fno-exceptions", "-fno-rtti"} + strict_flags() +
             sanitizer_flags() + pkg_config("--cflags") +
             Words{"-c", source_of("follow_events.cpp"), "-o", scratch("follow_events.o")});
    must_run(c_compiler() + sanitizer_flags() +
             Words{scratch("follow_events.o"), "-o", scratch("small")} + pkg_config("--libs"));
    expect_run(started(scratch("small")), 1, "", "follow_events: no daemon\n");
}

TEST_F(Examples, WakeUpTakesTheConnectionAndAnswersTheServer) {
    const RemoteServer server;
    start_world({"--wakeup-reason", "13", "--battery", "42", "--server",
                 "127.0.0.1:" + std::to_string(server.port())});
    ChildProcess program(in_background(wake_up()));
    const Descriptor connection = server.accept_one();
    ASSERT_EQ(send(connection.get(), "who is there?", 13, MSG_NOSIGNAL), 13);
    EXPECT_EQ(program.wait_exit(), exited_with(0)) << program.errors();
    const std::string answer = read_text(connection.get());
    EXPECT_EQ(answer.substr(0, 28), "awake, reason 13, battery 2a") << answer;
    EXPECT_EQ(answer.size(), std::string("awake, reason 13, battery 2a00000000\n").size());
    EXPECT_TRUE(at_end(connection.get()));
}

TEST_F(Examples, WakeUpEndsWith2WhenItWasNoRemoteWakeUp) {
    start_world({"--wakeup-reason", "5", "--server", "127.0.0.1:9"});
    expect_run(wake_up(), 2, "", "wake_up: no remote wake-up, reason 5\n");
}

TEST_F(Examples, WakeUpTellsThatTheServerHasGone) {
    const RemoteServer server;
    start_world({"--wakeup-reason", "3", "--server", "127.0.0.1:" + std::to_string(server.port())});
    ChildProcess program(in_background(wake_up()));
    Descriptor connection = server.accept_one();
    connection = Descriptor();
    EXPECT_EQ(program.wait_exit(), exited_with(1));
    EXPECT_EQ(program.errors(), "wake_up: the server has no question\n");
}

TEST_F(Examples, ProductionLineChecksTheCamera) {
    start_world({"--firmware-version", "V2.1.7", "--battery", "42"});
    const Result good = run(production_line() + Words{"V2.1.7"}, {}, kLongestRun);
    EXPECT_EQ(good.status, exited_with(0)) << good.out << good.err;
    EXPECT_EQ(good.out.substr(0, 40), "version: V2.1.7\nclock: set\nbattery: 2a5e") << good.out;
    EXPECT_TRUE(good.out.ends_with("\nshell: works\n")) << good.out;

    const Result wrong = run(production_line() + Words{"V3"}, {}, kLongestRun);
    EXPECT_EQ(wrong.status, exited_with(1));
    EXPECT_EQ(wrong.out.substr(0, 32), "version: FAILED: V2.1.7, not V3\n") << wrong.out;

    simulator().command("fault 0x86 length 0");
    const Result empty = run(production_line() + Words{"V2.1.7"}, {}, kLongestRun);
    EXPECT_EQ(empty.status, exited_with(1));
    EXPECT_NE(empty.out.find("\nbattery: FAILED: not measured\n"), std::string::npos) << empty.out;
}

TEST_F(Examples, ProductionLineRefusesWrongArguments) {
    const Result got = run(production_line());
    EXPECT_EQ(got.status, exited_with(2));
    EXPECT_EQ(got.out, "");
    EXPECT_TRUE(got.err.starts_with("Checks a camera")) << got.err;
}

TEST_F(Examples, SayAtOnceThatThereIsNoDaemon) {
    expect_run(read_battery(), 1, "", "read_battery: no daemon\n");
    expect_run(follow_events(), 1, "", "follow_events: no daemon\n");
    expect_run(wake_up(), 1, "", "wake_up: no daemon\n");
    expect_run(production_line() + Words{"V1"}, 1, "",
               "production_line.py: no daemon: nobody answers at /tmp/dbus-quon.mcu.daemon\n");
}

TEST_F(Examples, SayThatStandardOutputCannotBeWritten) {
    start_world();
    simulator().command("event raw 01 11");
    const Words to_full = {"/bin/sh", "-c", "exec \"$@\" >/dev/full", "sh"};
    expect_run(to_full + read_battery(), 1, "",
               "read_battery: standard output cannot be written\n");
    expect_run(to_full + follow_events(), 1, "",
               "follow_events: standard output cannot be written\n");
}

// ---- The Python package, for a daemon that is there

TEST_F(Examples, ThePythonPackageServesPlainCallsAndALoopAtOnce) {
    start_world({"--firmware-version", "V2.1.7"});
    simulator().command("event raw 01 0b");
    constexpr char kProgram[] = R"(
import asyncio, quon_mcu
with quon_mcu.Client() as client:
    client.set_led(quon_mcu.Value(5))
    print(client.next_event(20).bytes[:2].hex(), client.popen("echo hi"))
async def all_at_once():
    async with quon_mcu.AsyncClient() as client:
        version, time = await asyncio.gather(client.get_ver(), client.get_time())
        print(version.version, time.year >= 0)
asyncio.run(all_at_once())
)";
    expect_run(python() + Words{"-c", kProgram}, 0, "0b00 b'hi\\n'\nV2.1.7 True\n", "");
    EXPECT_TRUE(simulator().wait_for(0x85));
    EXPECT_EQ(to_hex(simulator().last_frame(0x85)), "85 01 00 00 00 05");
}

TEST_F(Examples, ThePythonPackageTakesTheWakeUpsConnection) {
    const RemoteServer server;
    start_world();
    const std::string port = std::to_string(server.port());
    constexpr char kProgram[] = R"(
import sys, quon_mcu
with quon_mcu.take_socket("127.0.0.1", int(sys.argv[1])) as remote:
    remote.sendall(b"from Python")
)";
    ChildProcess program(in_background(python() + Words{"-c", kProgram, port}));
    const Descriptor connection = server.accept_one();
    EXPECT_EQ(read_text(connection.get()), "from Python");
    EXPECT_EQ(program.wait_exit(), exited_with(0)) << program.errors();
}

// As a user who may not write into the installation, where this one can become another.
Words another_user() {
    const Words become = {"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};
    return run(become + Words{"true"}).status == exited_with(0) ? become : Words();
}

TEST_F(Examples, ThePythonPackageCanBeInstalledByPip) {
    // Reads and writes hundreds of files, which is slow on a busy machine.
    constexpr auto kSlow = 10 * kLongEnough;
    const std::string home = scratch("home");
    const std::string venv = home + "/venv";
    const std::string data = prefix() + "/" + QUON_DATADIR + "/quon_mcu_daemon";
    const Words user = another_user();
    must_run({"mkdir", home});
    must_run({"chmod", "-R", "go+rX,go-w", scratch("")});
    if (!user.empty()) {
        must_run({"chown", "65534:65534", home});
    }
    const Words list = {"find", prefix(), "-printf", "%p %m %s %T@\n"};
    const std::string before = must_run(list).out;

    const Words in_home = user + Words{"env", "HOME=" + home, "PYTHONDONTWRITEBYTECODE=1"};
    const Result made = run(in_home + Words{"/usr/bin/python3", "-m", "venv", venv}, {}, kSlow);
    ASSERT_EQ(made.status, exited_with(0)) << made.out << made.err;
    const Result pip =
        run(in_home + Words{venv + "/bin/pip", "install", "--quiet", "--no-index", "--no-cache-dir",
                            "--no-compile", "--disable-pip-version-check",
                            data + "/quon_mcu-" + QUON_VERSION + "-py3-none-any.whl"},
            {}, kSlow);
    ASSERT_EQ(pip.status, exited_with(0)) << pip.out << pip.err;
    EXPECT_EQ(pip.err, "");
    EXPECT_TRUE(must_run(list).out == before);

    constexpr char kProgram[] = R"(
import importlib.metadata as m, os, quon_mcu
print(quon_mcu.__version__, m.version("quon-mcu"), quon_mcu.SERVICES[0].name)
print([each.value for each in m.entry_points(group="pytest11")])
print(os.path.exists(os.path.dirname(quon_mcu.__file__) + "/py.typed"))
)";
    expect_run(in_home + Words{venv + "/bin/python", "-c", kProgram}, 0,
               std::string(QUON_VERSION) + " " + QUON_VERSION +
                   " method.quon.mcu.get.ver\n['quon_mcu.pytest_plugin']\nTrue\n",
               "");
}

// What a wheel says of its files is what is in it.
TEST_F(Examples, ThePythonPackagesWheelListsEachOfItsFiles) {
    constexpr char kProgram[] = R"(
import base64, csv, hashlib, sys, zipfile
wheel = zipfile.ZipFile(sys.argv[1])
names = wheel.namelist()
(record,) = [each for each in names if each.endswith(".dist-info/RECORD")]
rows = list(csv.reader(wheel.read(record).decode().splitlines()))
assert sorted(name for name, _, _ in rows) == sorted(names), names
for name, digest, size in rows:
    if name != record:
        sha = base64.urlsafe_b64encode(hashlib.sha256(wheel.read(name)).digest())
        assert digest == "sha256=" + sha.rstrip(b"=").decode(), name
        assert int(size) == len(wheel.read(name)), name
print(len(rows) > 10)
)";
    expect_run({"/usr/bin/python3", "-c", kProgram,
                prefix() + "/" + QUON_DATADIR + "/quon_mcu_daemon/quon_mcu-" + QUON_VERSION +
                    "-py3-none-any.whl"},
               0, "True\n", "");
}

}  // namespace
}  // namespace quon::test
