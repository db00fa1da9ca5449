// "hi3861l-sim run": chip, daemon and a command in a world of their own.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

#include "child_process.h"
#include "files.h"
#include "launch.h"
#include "waiting.h"

namespace quon::test {
namespace {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

constexpr ExitStatus exited(int code) {
    return {.exited = true, .code = code};
}

// A folder that the worlds share with this one.
class SharedFolder {
  public:
    SharedFolder() {
        std::string path = (fs::temp_directory_path() / "quon-run-XXXXXX").string();
        path_ = mkdtemp(path.data());
    }
    ~SharedFolder() {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    SharedFolder(const SharedFolder&) = delete;
    SharedFolder& operator=(const SharedFolder&) = delete;
    [[nodiscard]] std::string file(const std::string& name) const { return path_ + "/" + name; }
    [[nodiscard]] const std::string& path() const { return path_; }

  private:
    std::string path_;
};

// The command line, and the sanitizers' settings for a daemon that is preloaded.
ChildProcess::Options run_options(const Words& words) {
    LaunchCommand launch = simulator_launch();
    launch.command.emplace_back("run");
    launch.command.insert(launch.command.end(), words.begin(), words.end());
    launch.environment = daemon_launch().environment;
    std::erase_if(launch.environment, [](const auto& each) { return each.first == "LD_PRELOAD"; });
    return {.command = launch.command,
            .environment = launch.environment,
            .output = ChildProcess::Output::kPipe,
            .separate_errors = true,
            .input = {}};
}

Result run_world(const Words& words) {
    ChildProcess process(run_options(words));
    const std::optional<ExitStatus> status = process.wait_exit();
    return {status.value_or(ExitStatus{}), process.output(), process.errors()};
}

Words shell(const std::string& text) {
    return {"sh", "-c", text};
}

Words joined(Words front, const Words& back) {
    front.insert(front.end(), back.begin(), back.end());
    return front;
}

constexpr char kOwnWorld[] =
    "hi3861l-sim: in a world of its own: network with wlan0, /tmp, /etc/resolv.conf\n";

TEST(Run, GivesTheCommandAChipAndADaemonThatHasStarted) {
    const Result result =
        run_world(joined({"--battery", "42", "--firmware-version", "V9"},
                         shell("quon-mcu call get.battery.status --hex; quon-mcu get ver;"
                               "quon-mcu call get.allwakeup.info --raw | grep -c V9;"
                               "hi3861l-sim control get battery; ls /tmp")));
    EXPECT_EQ(result.status, exited(0)) << result.err;
    EXPECT_EQ(result.out.substr(0, 2), "2a");
    EXPECT_NE(result.out.find("V9"), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("\n1\n42\n"), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("\nquon_mcu_daemon_run\n"), std::string::npos) << result.out;
    EXPECT_EQ(result.err, kOwnWorld);
}

TEST(Run, HasTheNetworkThatTheDaemonConfigures) {
    const Result result =
        run_world(shell("hi3861l-sim control event net 10.1.2.3/16 gw 10.1.0.1 dns 9.9.9.9;"
                        "tries=200; until grep -q 9.9.9.9 /etc/resolv.conf || [ $tries = 0 ]; do"
                        " tries=$((tries - 1)); sleep 0.05; done;"
                        "ifconfig wlan0 | grep -c 'inet 10.1.2.3 '; cat /etc/resolv.conf"));
    EXPECT_EQ(result.status, exited(0)) << result.err;
    EXPECT_TRUE(result.out.starts_with("1\noptions timeout:1\nnameserver 9.9.9.9 # wlan0\n"))
        << result.out;
    EXPECT_EQ(content_of("/etc/resolv.conf").find("9.9.9.9"), std::string::npos);
}

struct StatusRow {
    Words command;
    int status;
};

TEST(Run, EndsAsTheCommandDoes) {
    const SharedFolder folder;
    std::ofstream(folder.file("text")) << "no program";
    const StatusRow rows[] = {{shell("exit 0"), 0},
                              {shell("exit 7"), 7},
                              {shell("kill -TERM $$"), 128 + SIGTERM},
                              {{"--", "sh", "-c", "exit 3"}, 3},
                              {{folder.file("none")}, 127},
                              {{folder.file("text")}, 126}};
    for (const StatusRow& row : rows) {
        const Result result = run_world(row.command);
        EXPECT_EQ(result.status, exited(row.status)) << row.command.back() << result.err;
    }
}

// A call that the daemon logs before it answers, and its line.
constexpr char kLoggedCall[] = "quon-mcu call get.log.profile 2>/dev/null";
constexpr char kLogged[] = "(quon_mcu_get_log_profile:";

TEST(Run, ShowsBothLogsWhenTheCommandFails) {
    const Result failed = run_world(shell(std::string(kLoggedCall) + "; echo words >&2; exit 1"));
    EXPECT_NE(failed.err.find("words\n---- the log of the chip\n"), std::string::npos)
        << failed.err;
    EXPECT_NE(failed.err.find("host->chip 0x82 get_wakeup_info len 0"), std::string::npos);
    EXPECT_NE(failed.err.find("---- the log of the daemon\n"), std::string::npos);
    EXPECT_NE(failed.err.find(kLogged), std::string::npos);
    EXPECT_EQ(run_world(shell("exit 0")).err, kOwnWorld);
}

TEST(Run, ShowsTheEndOfALongLog) {
    const Result failed =
        run_world(shell("for i in $(seq 80); do hi3861l-sim control event raw 01 $(printf %02x $i);"
                        "done; exit 1"));
    EXPECT_NE(failed.err.find("---- the log of the chip, its last lines (--logs keeps all)\n20"),
              std::string::npos)
        << failed.err;
    EXPECT_NE(failed.err.find(" len 1 50\n"), std::string::npos);
    EXPECT_EQ(failed.err.find(" len 1 05\n"), std::string::npos);
}

TEST(Run, KeepsBothLogsInAFolder) {
    const SharedFolder folder;
    const Result good =
        run_world(joined({"--logs", folder.path()}, shell(std::string(kLoggedCall) + "; exit 0")));
    EXPECT_EQ(good.err, kOwnWorld);
    EXPECT_NE(content_of(folder.file("chip.log")).find("get_wakeup_info"), std::string::npos);
    EXPECT_NE(content_of(folder.file("daemon.log")).find(kLogged), std::string::npos);
    const Result bad = run_world(joined({"--logs", folder.path()}, shell("exit 1")));
    EXPECT_EQ(bad.err,
              kOwnWorld + ("hi3861l-sim: the log of the chip: " + folder.file("chip.log")) +
                  "\nhi3861l-sim: the log of the daemon: " + folder.file("daemon.log") + "\n");
}

TEST(Run, LeavesTheCaptureWhereItsOptionSays) {
    const SharedFolder folder;
    const Result result = run_world({"--pcap", folder.file("frames.pcap"), "true"});
    EXPECT_EQ(result.status, exited(0)) << result.err;
    const std::string frames = content_of(folder.file("frames.pcap"));
    EXPECT_EQ(frames.substr(0, 4), "\xd4\xc3\xb2\xa1");
    EXPECT_GT(frames.size(), 100U);
}

TEST(Run, ShowsTheCommandTheDefinitionsThatItHasReadItself) {
    const SharedFolder folder;
    const std::string file = folder.file("records.json");
    std::ofstream(file)
        << R"({"battery_status": {"fields": [{"name": "level", "offset": 0, "kind": "u8"}]}})";
    fs::create_directory(folder.file("quon-mcu"));
    fs::copy_file(file, folder.file("quon-mcu/records.json"));
    const std::string ask = "quon-mcu get battery.status level";
    for (const auto& [setting, words] :
         {std::pair{"QUON_MCU_RECORDS=" + file, shell(ask)},
          std::pair{"XDG_CONFIG_HOME=" + folder.path(), shell(ask)},
          std::pair{
              std::string("QUON_MCU_RECORDS="),
              joined({"--records", file}, shell("QUON_MCU_RECORDS='" + file + "' " + ask))}}) {
        ChildProcess::Options options = run_options(joined({"--battery", "42"}, words));
        options.command = joined({"env", setting}, options.command);
        ChildProcess process(options);
        EXPECT_EQ(process.wait_exit(), exited(0)) << setting << process.errors();
        EXPECT_EQ(process.output(), "42\n") << setting;
    }
}

// A line of a shell that makes a world and begins a command in it.
std::string nested_run() {
    std::string line;
    for (const std::string& word : run_options({"--world", "own"}).command) {
        line += word + " ";
    }
    return line;
}

TEST(Run, WorksInTheWorldOfAnother) {
    const std::string run = nested_run();
    const Result result = run_world(
        shell(run + "sh -c \"" + run + "sh -c 'quon-mcu get ver >/dev/null && echo inside'\""));
    EXPECT_EQ(result.status, exited(0));
    EXPECT_EQ(result.out, "inside\n");
    EXPECT_EQ(result.err, std::string(kOwnWorld) + kOwnWorld + kOwnWorld);
}

TEST(Run, WorksOverAResolverFileThatIsMountedAndRemoved) {
    const Result result = run_world(
        shell("touch /tmp/f; mount --bind /tmp/f /etc/resolv.conf; rm /tmp/f; " + nested_run() +
              "sh -c 'stat -c %F /etc/resolv.conf; quon-mcu get time >/dev/null'"));
    EXPECT_EQ(result.status, exited(0)) << result.err;
    EXPECT_EQ(result.out, "regular empty file\n");
}

TEST(Run, WorksSeveralTimesSideBySide) {
    const SharedFolder folder;
    std::vector<std::unique_ptr<ChildProcess>> runs;
    constexpr size_t kWorlds = 6;
    const std::string meet = "touch " + folder.file("here.$1") + "; until [ $(ls " + folder.path() +
                             " | wc -l) = " + std::to_string(kWorlds) + " ]; do sleep 0.05; done;";
    for (size_t i = 0; i < kWorlds; i++) {
        const std::string level = std::to_string(10 + i);
        runs.push_back(std::make_unique<ChildProcess>(run_options(
            joined({"--keep", folder.path(), "--battery", level},
                   {"sh", "-c", meet + "quon-mcu call get.battery.status --hex", "sh", level}))));
    }
    for (size_t i = 0; i < kWorlds; i++) {
        EXPECT_EQ(runs[i]->wait_exit(3 * kLongEnough), exited(0)) << runs[i]->errors();
        char level[4];
        std::snprintf(level, sizeof level, "%02zx", 10 + i);
        EXPECT_EQ(runs[i]->output().substr(0, 2), level);
    }
}

TEST(Run, LeavesNothingBehind) {
    const Result result = run_world(
        shell("echo 1 >/tmp/of-the-world; sleep 1000 & echo $!; setsid sleep 1000 & echo $!"));
    EXPECT_EQ(result.status, exited(0)) << result.err;
    EXPECT_FALSE(fs::exists("/tmp/of-the-world"));
    std::istringstream left(result.out);
    int count = 0;
    for (pid_t pid = 0; left >> pid; count++) {
        EXPECT_NE(kill(pid, 0), 0) << pid;
    }
    EXPECT_EQ(count, 2) << result.out;
}

TEST(Run, HandsSignalsToTheCommandAndEndsEverything) {
    const SharedFolder folder;
    ChildProcess process(run_options(joined(
        {"--keep", folder.path()},
        shell("trap 'echo told; exit 9' TERM; echo started; while :; do sleep 0.05; done"))));
    ASSERT_TRUE(process.wait_for_text("started\n")) << process.errors();
    process.send_signal(SIGTERM);
    EXPECT_EQ(process.wait_exit(), exited(9));
    EXPECT_EQ(process.output(), "started\ntold\n");
}

TEST(Run, TellsOfADaemonThatEndedBeforeTheCommand) {
    const Result result =
        run_world(shell("pid=$(quon-mcu popen 'echo $PPID'); kill -KILL $pid;"
                        "while kill -0 $pid; do sleep 0.02; done 2>/dev/null; exit 0"));
    EXPECT_EQ(result.status, exited(0));
    EXPECT_NE(result.err.find("hi3861l-sim: the daemon ended by signal 9 before the command did\n"),
              std::string::npos)
        << result.err;
}

struct FailureRow {
    Words words;
    int status;
    std::string error;
};

TEST(Run, SaysWhatItCannotDo) {
    const FailureRow rows[] = {
        {{}, 2, "COMMAND is missing; see 'hi3861l-sim run --help'"},
        {{"--battery", "101", "true"}, 2, "battery \"101\" is not a number from 0 to 100"},
        {{"--daemon", "/bin/false", "true"}, 125, "the daemon ended with status 1 at its start"},
        {{"--daemon", "/nowhere", "true"}, 125, "the daemon ended with status 127 at its start"},
        {{"--link", "/nowhere", "true"}, 125, "the daemon ended with status 125 at its start"},
        {{"--logs", "/nowhere", "true"}, 1, "the log /nowhere/chip.log: No such file or directory"},
        {{"--pcap", "/nowhere/frames", "true"}, 1, "/nowhere/frames: No such file or directory"},
    };
    for (const FailureRow& row : rows) {
        const Result result = run_world(row.words);
        EXPECT_EQ(result.status, exited(row.status)) << row.error;
        EXPECT_NE(result.err.find("hi3861l-sim: " + row.error + "\n"), std::string::npos)
            << result.err;
        EXPECT_EQ(result.out, "");
    }
}

// --- where no private world can be had: in a container's own, which a private one plays here

class RunWithoutNamespaces : public testing::Test {
  protected:
    // `inside` runs where the kernel refuses further namespaces.
    static Result run_inside(const std::string& before, const std::string& inside) {
        const std::string refuse =
            "echo 0 >/proc/sys/user/max_net_namespaces; echo 0 "
            ">/proc/sys/user/max_user_namespaces;";
        Words words = joined({QUON_PRIVATE_WORLD, "unshare", "--user", "--map-root-user", "--net",
                              "sh", "-c", refuse + "ip link set lo up;" + before + inside, "sh"},
                             run_options({}).command);
        ChildProcess::Options options = run_options({});
        options.command = words;
        ChildProcess process(options);
        const std::optional<ExitStatus> status = process.wait_exit();
        return {status.value_or(ExitStatus{}), process.output(), process.errors()};
    }
};

TEST_F(RunWithoutNamespaces, UsesTheWorldThatThereIsAndSaysSo) {
    const Result result = run_inside(
        "echo before >/etc/resolv.conf;",
        "\"$@\" sh -c 'hi3861l-sim control event net 10.1.2.3/16 gw 10.1.0.1 dns 9.9.9.9;"
        "tries=200; until grep -q 9.9.9.9 /etc/resolv.conf || [ $tries = 0 ]; do"
        " tries=$((tries - 1)); sleep 0.05; done;"
        "head -n 1 /etc/resolv.conf'; echo $?; cat /etc/resolv.conf; ls /tmp/dbus* "
        "/tmp/quon* /tmp/ws*");
    EXPECT_EQ(result.out, "options timeout:1\n0\nbefore\n") << result.err;
    EXPECT_TRUE(result.err.starts_with(
        "hi3861l-sim: in this machine's world, with its /tmp and /etc/resolv.conf and without a "
        "wlan0: unshare: "))
        << result.err;
}

TEST_F(RunWithoutNamespaces, RefusesWhereOneIsDemanded) {
    const Result result = run_inside("", "\"$@\" --world own true; echo $?");
    EXPECT_EQ(result.out, "125\n");
    EXPECT_TRUE(result.err.starts_with("hi3861l-sim: no world of its own: unshare: "))
        << result.err;
}

TEST_F(RunWithoutNamespaces, TakesItsTurnAfterAnother) {
    const Result result = run_inside("",
                                     "\"$@\" sh -c 'echo first; sleep 0.3; echo end' & "
                                     "until [ -e /tmp/hi3861l-sim.ctl ]; do sleep 0.02; done;"
                                     "\"$@\" sh -c 'echo second'; wait");
    EXPECT_EQ(result.out, "first\nend\nsecond\n") << result.err;
    EXPECT_NE(
        result.err.find("hi3861l-sim: another run is under way in this world; waiting for its "
                        "end\n"),
        std::string::npos)
        << result.err;
}

TEST(RunHere, RefusesAWorldWhoseWlan0TheDaemonWouldChange) {
    ChildProcess::Options options = run_options({"--world", "here", "true"});
    options.command.insert(options.command.begin(), QUON_PRIVATE_WORLD);
    ChildProcess process(options);
    EXPECT_EQ(process.wait_exit(), exited(125));
    EXPECT_TRUE(process.errors().starts_with(
        "hi3861l-sim: in this machine's world, with its /tmp and /etc/resolv.conf: --world here\n"
        "hi3861l-sim: there is a wlan0 here, which the daemon would change\n"))
        << process.errors();
}

}  // namespace
}  // namespace quon::test
