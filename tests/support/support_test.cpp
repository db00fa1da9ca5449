#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <regex>
#include <stdexcept>
#include <string>
#include <system_error>

#include "captured_output.h"
#include "child_process.h"
#include "files.h"
#include "hex.h"
#include "private_world.h"
#include "waiting.h"

namespace quon::test {
namespace {

namespace fs = std::filesystem;

std::string shell(const std::string& command) {
    const Result result = run({"/bin/sh", "-c", command});
    return result.out + result.err + (result.status == ExitStatus{true, 0} ? "" : "[failed]");
}

TEST(APrivateWorld, HasAnEmptyTmpButForTheFoldersOfTheTree) {
    struct stat before {};
    ASSERT_EQ(stat("/tmp", &before), 0);
    enter_private_world();
    struct stat after {};
    ASSERT_EQ(stat("/tmp", &after), 0);
    EXPECT_NE(before.st_dev, after.st_dev);
    EXPECT_EQ(after.st_mode & 07777U, 01777U);
    for (const fs::directory_entry& entry : fs::directory_iterator("/tmp")) {
        EXPECT_TRUE(entry.is_directory()) << entry.path();
        EXPECT_TRUE(std::string(QUON_SOURCE_FOLDER).starts_with(entry.path().string() + "/") ||
                    fs::canonical("/proc/self/exe").string().starts_with(entry.path().string()))
            << entry.path();
    }
}

TEST(APrivateWorld, StillReachesTheTreeAndTheWorkingFolder) {
    enter_private_world();
    EXPECT_TRUE(fs::exists(fs::path(QUON_SOURCE_FOLDER) / "CMakeLists.txt"));
    EXPECT_TRUE(fs::exists(fs::read_symlink("/proc/self/exe")));
    EXPECT_EQ(fs::current_path(), fs::canonical("."));
}

TEST(APrivateWorld, HasAnEmptyWritableResolverFileOfItsOwn) {
    enter_private_world();
    EXPECT_EQ(content_of("/etc/resolv.conf"), "");
    std::ofstream("/etc/resolv.conf") << "nameserver 192.0.2.1\n";
    EXPECT_EQ(content_of("/etc/resolv.conf"), "nameserver 192.0.2.1\n");
}

TEST(APrivateWorld, HasAWlan0ThatTheRealToolsAccept) {
    enter_private_world();
    EXPECT_EQ(shell("ifconfig wlan0 down && ifconfig wlan0 hw ether 02:00:00:00:00:09 && "
                    "ifconfig wlan0 up && ifconfig wlan0 192.0.2.7 netmask 255.255.255.0 && "
                    "route add default gw 192.0.2.1"),
              "");
    const std::string view = shell("ifconfig wlan0; route -n");
    EXPECT_NE(view.find("02:00:00:00:00:09"), std::string::npos) << view;
    EXPECT_NE(view.find("192.0.2.7"), std::string::npos) << view;
    EXPECT_NE(view.find("0.0.0.0         192.0.2.1"), std::string::npos) << view;
    EXPECT_NE(shell("ifconfig lo").find("127.0.0.1"), std::string::npos);
}

TEST(APrivateWorld, IsEnteredOnce) {
    enter_private_world();
    std::ofstream("/tmp/kept") << "x";
    enter_private_world();
    EXPECT_EQ(content_of("/tmp/kept"), "x");
}

TEST(APrivateWorld, IsAsGoodWhereTheResolverFileIsMissing) {
    // The first world is the machine for the second one, which a child enters.
    enter_private_world();
    ASSERT_EQ(umount2("/etc/resolv.conf", MNT_DETACH), 0);
    ASSERT_EQ(mount("tmpfs", "/etc", "tmpfs", 0, nullptr), 0);
    std::ofstream("/etc/passwd") << "root:x:0:0:root:/root:/bin/sh\n";
    fs::create_symlink("passwd", "/etc/other");
    for (const std::string name : {"StillHasTheOtherFilesOfEtc", "HasAWlan0ThatTheRealToolsAccept",
                                   "HasAnEmptyWritableResolverFileOfItsOwn"}) {
        const Result result = run(
            {fs::read_symlink("/proc/self/exe").string(), "--gtest_filter=APrivateWorld." + name});
        EXPECT_EQ(result.status, (ExitStatus{true, 0})) << result.out << result.err;
        EXPECT_NE(result.out.find("[  PASSED  ] 1 test."), std::string::npos) << result.out;
    }
    EXPECT_FALSE(fs::exists("/etc/resolv.conf"));
}

TEST(APrivateWorld, StillHasTheOtherFilesOfEtc) {
    const std::string users = content_of("/etc/passwd");
    const bool other = fs::exists("/etc/other");
    ASSERT_NE(users, "");
    enter_private_world();
    EXPECT_EQ(content_of("/etc/passwd"), users);
    EXPECT_EQ(fs::exists("/etc/other"), other);
}

Result run_here(const std::string& test) {
    return run({"env", "QUON_WORLD=here", "QUON_WORLD_BEFORE=/tmp/list",
                fs::read_symlink("/proc/self/exe").string(),
                "--gtest_filter=AContainersWorld." + test});
}

TEST(AContainersWorld, KeepsWhatTheTestsFoundAndRemovesWhatTheyLeft) {
    enter_private_world();
    ASSERT_EQ(shell("ip link del wlan0"), "");
    std::ofstream("/tmp/found") << "x";
    fs::create_directory("/tmp/left");
    std::ofstream("/tmp/left/file") << "x";
    std::ofstream("/tmp/list").close();
    std::ofstream("/etc/resolv.conf") << "nameserver 192.0.2.1\n";
    for (const fs::directory_entry& kept : fs::directory_iterator("/tmp")) {
        std::ofstream("/tmp/list", std::ios::app) << kept.path().filename().string() << "\n";
    }
    const std::string all = content_of("/tmp/list");
    std::ofstream("/tmp/list") << std::regex_replace(all, std::regex("left\n"), "");
    const Result result = run_here("IsEntered");
    EXPECT_EQ(result.status, (ExitStatus{true, 0})) << result.out << result.err;
    EXPECT_TRUE(fs::exists("/tmp/found"));
    EXPECT_FALSE(fs::exists("/tmp/left"));
    EXPECT_EQ(content_of("/etc/resolv.conf"), "");
}

TEST(AContainersWorld, IsRefusedWhereThereIsAWlan0) {
    enter_private_world();
    std::ofstream("/tmp/list").close();
    const Result result = run_here("IsEntered");
    EXPECT_EQ(result.status, (ExitStatus{true, 77}));
    EXPECT_EQ(result.err, "private world: QUON_WORLD=here and wlan0: File exists\n");
    EXPECT_TRUE(fs::exists("/tmp/list"));
}

// Run as a separate process by the two tests above.
TEST(AContainersWorld, IsEntered) {
    enter_private_world();
    EXPECT_EQ(access("/tmp", W_OK), 0);
}

TEST(Waiting, EndsWithTheConditionOrWithTheBound) {
    int polls = 0;
    EXPECT_TRUE(wait_until([&] { return ++polls == 3; }));
    EXPECT_EQ(polls, 3);
    EXPECT_FALSE(wait_until([] { return false; }, std::chrono::milliseconds(5)));
}

TEST(Hex, GoesBothWays) {
    EXPECT_EQ(from_hex("00 fF10"), (Bytes{0, 255, 16}));
    EXPECT_EQ(to_hex(Bytes{0, 255, 16}), "00 ff 10");
    EXPECT_EQ(to_hex(Bytes{}), "");
    EXPECT_THROW(from_hex("0"), std::invalid_argument);
    EXPECT_THROW(from_hex("0g"), std::invalid_argument);
}

TEST(CapturedOutput, HoldsWhatStdioAndTheDescriptorGot) {
    const std::string text = captured_output([] {
        std::printf("one ");
        std::fflush(stdout);
        EXPECT_EQ(write(1, "two\n", 4), 4);
        std::puts("three");
    });
    EXPECT_EQ(text, "one two\nthree\n");
}

TEST(AChildProcess, IsReadLineByLineOnATerminal) {
    ChildProcess child({.command = {"/bin/sh", "-c", "test -t 1 && echo a line; exec sleep 100"},
                        .environment = {},
                        .output = ChildProcess::Output::kTerminal,
                        .separate_errors = false,
                        .input = {}});
    EXPECT_EQ(child.wait_for_line("line"), "a line");
    EXPECT_TRUE(child.running());
    EXPECT_EQ(child.terminate(), (ExitStatus{false, SIGTERM}));
}

TEST(AChildProcess, GivesItsStatusAndBothStreams) {
    const Result result = run({"/bin/sh", "-c", "cat; echo bad >&2; exit 3"}, "text in");
    EXPECT_EQ(result.status, (ExitStatus{true, 3}));
    EXPECT_EQ(result.out, "text in");
    EXPECT_EQ(result.err, "bad\n");
}

TEST(AChildProcess, IsGoneWithItsObject) {
    pid_t pid = 0;
    {
        const ChildProcess child({.command = {"sleep", "100"},
                                  .environment = {},
                                  .output = ChildProcess::Output::kPipe,
                                  .separate_errors = false,
                                  .input = {}});
        pid = child.pid();
        EXPECT_EQ(kill(pid, 0), 0);
    }
    EXPECT_EQ(kill(pid, 0), -1);
}

TEST(AChildProcess, ThatCannotBeStartedThrows) {
    EXPECT_THROW(run({"/no/such/program"}), std::system_error);
}

TEST(AChildProcess, SeesTheEnvironmentGivenToIt) {
    ChildProcess child({.command = {"/bin/sh", "-c", "echo $QUON_A$HOME"},
                        .environment = {{"QUON_A", "1"}, {"HOME", "2"}},
                        .output = ChildProcess::Output::kPipe,
                        .separate_errors = false,
                        .input = {}});
    EXPECT_EQ(child.wait_exit(), (ExitStatus{true, 0}));
    EXPECT_EQ(child.output(), "12\n");
}

}  // namespace
}  // namespace quon::test
