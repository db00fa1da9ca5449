// What a script prints when it cannot continue, and that it does so before it installs anything.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/file.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "script_tree.h"

namespace quon::test {
namespace {

namespace fs = std::filesystem;

std::string name_of(uid_t user) {
    const passwd* entry = getpwuid(user);
    return entry != nullptr ? entry->pw_name : std::to_string(user);
}

// The user as whom the scripts run when they must not be able to do everything.
std::string user_name() {
    return name_of(geteuid() == 0 ? 65534 : geteuid());
}

// Why the files made by these tests cannot be written, and what helps.
std::string cause_and_remedy(const std::string& folder) {
    return geteuid() == 0
               ? " (it belongs to root, as after a run with sudo): remove the folder "
                 "with: sudo rm -rf '" +
                     folder + "'"
               : " (its permissions forbid it): remove the folder with: rm -rf '" + folder + "'";
}

class TheScripts : public testing::TestWithParam<const char*> {
  protected:
    // It ends with this sentence, and has installed and built nothing.
    void expect_refusal(const ScriptTree::Setting& setting, const std::string& sentence) {
        const Result result = tree.run_script(GetParam(), setting);
        EXPECT_EQ(result.status, (ExitStatus{true, 1})) << result.out;
        EXPECT_NE(result.err.find(sentence), std::string::npos) << result.err;
        EXPECT_FALSE(tree.called("apt-get -q")) << result.err;
        EXPECT_FALSE(tree.called("cmake")) << result.err;
        EXPECT_FALSE(tree.called("ctest")) << result.err;
        EXPECT_FALSE(tree.called("private-world")) << result.err;
    }

    ScriptTree tree;
};

TEST_P(TheScripts, RefuseAReadOnlyCheckout) {
    fs::remove_all(tree.path("build"));
    fs::permissions(tree.path(""), fs::perms(0555));
    expect_refusal({.as_user = true}, tree.path("").substr(0, tree.path("").size() - 1) +
                                          " cannot be written by " + user_name() +
                                          ": use a checkout of your own, for example: "
                                          "git clone '");
}

TEST_P(TheScripts, RefuseABuildFolderOfRoot) {
    tree.keep_results();
    fs::permissions(tree.path(""), fs::perms(0777));
    fs::create_directory(tree.path("build"));
    fs::permissions(tree.path("build"), fs::perms(0555));
    expect_refusal({.as_user = true}, "/build cannot be written by " + user_name() +
                                          cause_and_remedy(tree.path("build")));
}

TEST_P(TheScripts, RefuseAFileOfRootInTheirBuildFolder) {
    tree.keep_results();
    for (const char* preset : {"release", "dev"}) {
        const std::string folder = tree.path("build/") + preset;
        fs::create_directories(folder);
        fs::permissions(folder, fs::perms(0777));
        std::ofstream(folder + "/old.o") << "x";
        fs::permissions(folder + "/old.o", fs::perms(0444));
    }
    fs::permissions(tree.path("build"), fs::perms(0777));
    expect_refusal({.as_user = true}, "/old.o cannot be written by " + user_name() +
                                          cause_and_remedy(tree.path("build")));
}

TEST_P(TheScripts, NameTheRemedyWhereThereAreNoNamespaces) {
    expect_refusal({.failing = "unshare"}, "this machine gives no private namespaces to ");
    expect_refusal(
        {.failing = "unshare"},
        "in a container that nothing else depends on, set QUON_WORLD=here to work in its "
        "own world");
}

TEST_P(TheScripts, RefuseAClosedStandardOutput) {
    expect_refusal({.closing = ">&-"},
                   ": standard output is closed: give it a place, for example >/dev/null\n");
}

TEST_P(TheScripts, DoWithoutTheOtherStreams) {
    const Result result = tree.run_script(GetParam(), {.closing = "<&- 2>&-"});
    EXPECT_EQ(result.status, (ExitStatus{true, 0})) << result.out;
}

TEST_P(TheScripts, KnowOneWorldBesideTheirOwn) {
    expect_refusal({.further = {"QUON_WORLD=there"}},
                   "QUON_WORLD is 'there': only 'here' means something");
}

TEST_P(TheScripts, NameTheRemedyWithoutTheRightsToInstall) {
    tree.keep_results();
    fs::create_directory(tree.path("build"));
    fs::permissions(tree.path("build"), fs::perms(0777));
    expect_refusal({.failing = "sudo", .missing = "cmake", .as_user = true},
                   "packages are missing, and " + user_name() +
                       " has no rights to install them without a "
                       "password; run this as root, then start again: apt-get install "
                       "--no-install-recommends cmake\n");
}

TEST_P(TheScripts, NameTheRemedyWithoutANetwork) {
    const Result result =
        tree.run_script(GetParam(), {.failing = "apt-get -q", .missing = "ninja-build"});
    EXPECT_EQ(result.status, (ExitStatus{true, 1}));
    EXPECT_NE(
        result.err.find("the Debian archive cannot be reached (log: build/packages.log): this "
                        "machine needs a network, or these packages: ninja-build\n"),
        std::string::npos)
        << result.err;
    EXPECT_FALSE(tree.called("cmake"));
}

TEST_P(TheScripts, RebuildInACheckoutThatWasMoved) {
    tree.keep_results();
    const std::string word =
        std::string(GetParam()).find("run") != std::string::npos ? "release" : "dev";
    fs::create_directories(tree.path("build/" + word));
    std::ofstream(tree.path("build/" + word + "/CMakeCache.txt"))
        << "CMAKE_HOME_DIRECTORY:INTERNAL=/no/such/place\n";
    std::ofstream(tree.path("build/" + word + "/old.o")) << "x";
    const Result result = tree.run_script(GetParam(), {});
    EXPECT_EQ(result.status, (ExitStatus{true, 0})) << result.err;
    EXPECT_NE(result.err.find("build/" + word + " was made for /no/such/place: building it anew\n"),
              std::string::npos)
        << result.err;
    EXPECT_FALSE(fs::exists(tree.path("build/" + word + "/old.o")));
}

TEST_P(TheScripts, RunNoOldProgramWhenTheLogCannotBeOpened) {
    ASSERT_EQ(tree.run_script(GetParam(), {}).status, (ExitStatus{true, 0}));
    tree.keep_results();
    for (const char* preset : {"release", "dev"}) {
        fs::remove(tree.path("build/") + preset + ".log");
        fs::create_directory(tree.path("build/") + preset + ".log");
    }
    const Result result = tree.run_script(GetParam(), {});
    EXPECT_EQ(result.status, (ExitStatus{true, 1}));
    EXPECT_NE(result.err.find(" does not build (whole log: build/"), std::string::npos)
        << result.err;
    EXPECT_FALSE(tree.called("private-world"));
    EXPECT_FALSE(tree.called("ctest"));
}

TEST_P(TheScripts, TurnWarningsIntoErrorsOnlyInCi) {
    const std::string preset =
        std::string(GetParam()).find("run") != std::string::npos ? "release" : "dev";
    tree.run_script(GetParam(), {});
    EXPECT_TRUE(tree.called("cmake --preset " + preset + " -DQUON_WERROR=OFF"));
    tree.run_script(GetParam(), {.further = {"CI=true"}});
    EXPECT_TRUE(tree.called("cmake --preset " + preset + " -DQUON_WERROR=ON"));
}

INSTANTIATE_TEST_SUITE_P(OfTheReadme, TheScripts,
                         testing::Values("scripts/run --demo", "scripts/test"),
                         [](const auto& row) {
                             return std::string(row.index == 0 ? "Demo" : "Test");
                         });

struct Ending {
    const char* name;
    const char* line;
    const char* failing;
    int status;
    const char* sentence;
};

void PrintTo(const Ending& row, std::ostream* out) {
    *out << row.line << ": " << row.failing;
}

class AFailedStep : public testing::TestWithParam<Ending> {};

TEST_P(AFailedStep, EndsWithItsStatusAndItsMessage) {
    ScriptTree tree;
    const Result result = tree.run_script(GetParam().line, {.failing = GetParam().failing});
    EXPECT_EQ(result.status, (ExitStatus{true, GetParam().status})) << result.out << result.err;
    EXPECT_NE(result.err.find(GetParam().sentence), std::string::npos) << result.err;
}

constexpr Ending kEndings[] = {
    {"RunConfigure", "scripts/run --demo", "cmake --preset", 1,
     "run: the preset release does not build (whole log: build/release.log)\n"},
    {"RunBuild", "scripts/run --demo", "cmake --build", 1,
     "run: the preset release does not build (whole log: build/release.log)\n"},
    {"TestBuild", "scripts/test tsan", "cmake --build", 1,
     "test: the preset tsan does not build (whole log: build/tsan.log)\n"},
    {"TestWorld", "scripts/test", "private-world", 1, "test: the tests have no private world\n"},
    {"TestTests", "scripts/test", "ctest", 1, "ctest: fails here\n"},
    {"MipselList", "scripts/test mipsel", "ctest -N", 1,
     "test-mipsel: the tests of mipsel-unit cannot be listed\n"},
    {"LintGit", "scripts/lint", "git rev-parse", 1, "lint: git does not take "},
    {"LintFormat", "scripts/lint format", "clang-format", 1, "lint: found something: format\n"},
    {"LintFiles", "scripts/lint format", "git ls-files", 1, "lint: found something: format\n"},
    {"LintShell", "scripts/lint shell", "shellcheck", 1, "lint: found something: shell\n"},
    {"LintTidy", "scripts/lint tidy", "clang-tidy", 1, "lint: found something: tidy\n"},
    {"LintConfigure", "scripts/lint tidy", "cmake", 1,
     "lint: the preset lint cannot be configured (log: build/lint.log)\n"},
    {"Fuzz", "scripts/fuzz one 5", "fuzz_one", 1, "fuzz: one failed with status 1 after "},
    {"BoardModule", "scripts/board", "make -C /", 1, "does not build (whole log: "},
    {"BoardDownload", "scripts/board", "apt-get download", 3,
     "board-packages: the packages for the emulated board cannot be downloaded; is there a "
     "network?\n"},
    {"BoardUnpack", "scripts/board", "dpkg -x", 3,
     "board-packages: the packages for the emulated board cannot be unpacked\n"},
    {"BoardEmulator", "scripts/board", "qemu-system-mipsel", 4,
     "board: the board ended without a verdict (or after 300 s)\n"},
    {"ToolchainSource", "scripts/lib/toolchain-uclibc", "tar", 1,
     "toolchain-uclibc: the uClibc sysroot does not build (whole log: "},
    {"Footprint", "bench/footprint", "qemu-system-mipsel", 1,
     "footprint: the board does not measure (whole log: build/footprint.log)\n"},
};

INSTANTIATE_TEST_SUITE_P(OfAScript, AFailedStep, testing::ValuesIn(kEndings),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(AVerdict, OfAnEarlierBoardIsNotReadAgain) {
    ScriptTree tree;
    ASSERT_EQ(tree.run_script("scripts/board", {}).status, (ExitStatus{true, 0}));
    tree.keep_results();
    EXPECT_EQ(tree.run_script("scripts/board", {.failing = "tee"}).status, (ExitStatus{true, 4}));
}

TEST(ThePackagesOfTheBoard, ComeFromTheMachinesOwnMirrorAlone) {
    ScriptTree tree;
    const Result result =
        tree.run_script("scripts/lib/board-packages", {.further = {"STUB_MIRROR=none"}});
    EXPECT_EQ(result.status, (ExitStatus{true, 3}));
    EXPECT_NE(
        result.err.find("board-packages: apt has no Debian source here: add one for bookworm"),
        std::string::npos)
        << result.err;
    EXPECT_FALSE(tree.called("apt-get download"));
}

constexpr const char* kCommands[] = {"board", "bench",  "coverage", "docs", "fuzz",
                                     "lint",  "mutate", "run",      "soak", "test"};

TEST(ACommand, MayBeCalledThroughALink) {
    ScriptTree tree;
    for (const std::string command : kCommands) {
        fs::create_symlink("scripts/" + command, tree.path("my-" + command));
        const Result result = tree.run_script("my-" + command + " --help", {});
        EXPECT_EQ(result.status, (ExitStatus{true, 0})) << command << ": " << result.err;
        EXPECT_TRUE(result.out.starts_with("usage: scripts/" + command)) << result.out;
    }
    const Result demo = tree.run_script("my-run --demo", {});
    EXPECT_EQ(demo.status, (ExitStatus{true, 0})) << demo.err;
    EXPECT_TRUE(tree.called("demo-tour"));
}

TEST(ACommand, IsGivenToBashByAnotherShell) {
    ScriptTree tree;
    for (const std::string command : kCommands) {
        const Result result = run({"sh", tree.path("scripts/" + command), "--help"});
        EXPECT_EQ(result.status, (ExitStatus{true, 0})) << command << ": " << result.err;
        EXPECT_TRUE(result.out.starts_with("usage: scripts/" + command)) << result.out;
    }
}

// Its build and its log belong to this script until its tests have ended, and no longer.
TEST(TwoAtOnce, TakeTurnsInABuildFolder) {
    ScriptTree tree;
    const Result alone = tree.run_script("scripts/test", {.further = {"STUB_LOCKED=yes"}});
    EXPECT_EQ(alone.status, (ExitStatus{true, 0})) << alone.err;
    EXPECT_EQ(alone.out, "100% tests passed\n");
    tree.keep_results();
    const int other = open(tree.path("build/dev.lock").c_str(), O_RDWR | O_CLOEXEC | O_TRUNC);
    ASSERT_GE(other, 0);
    ASSERT_EQ(flock(other, LOCK_EX | LOCK_NB), 0);
    ASSERT_EQ(write(other, "test (process 7)\n", 17), 17);
    ChildProcess script({.command = tree.command_of("scripts/test", {}),
                         .environment = {},
                         .output = ChildProcess::Output::kPipe,
                         .separate_errors = false,
                         .input = {}});
    EXPECT_TRUE(
        script.wait_for_text("== build/dev is in use by test (process 7): waiting for its end\n"))
        << script.output();
    EXPECT_FALSE(tree.called("cmake"));
    close(other);
    EXPECT_EQ(script.wait_exit(), (ExitStatus{true, 0})) << script.output();
    EXPECT_TRUE(tree.called("ctest"));
}

TEST(TwoAtOnce, HaveBuildFoldersOfTheirOwn) {
    ScriptTree tree;
    ASSERT_EQ(tree.run_script("scripts/test", {}).status, (ExitStatus{true, 0}));
    tree.keep_results();
    const int other = open(tree.path("build/dev.lock").c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(flock(other, LOCK_EX | LOCK_NB), 0);
    EXPECT_EQ(tree.run_script("scripts/run --demo", {}).status, (ExitStatus{true, 0}));
    close(other);
}

// The package manager may go on after its script has ended.
TEST(TwoAtOnce, AreNotHeldUpByAnInstallation) {
    ScriptTree tree;
    const Result result = tree.run_script("scripts/test", {.missing = "cmake"});
    ASSERT_EQ(result.status, (ExitStatus{true, 0})) << result.err;
    std::ifstream file(tree.path("build/packages.log"));
    const std::string log{std::istreambuf_iterator<char>(file), {}};
    EXPECT_NE(log.find("Setting up one\n"), std::string::npos) << log;
    EXPECT_EQ(log.find("the lock is inherited"), std::string::npos) << log;
}

TEST(AWrongMode, IsAnErrorOfItsOwn) {
    ScriptTree tree;
    for (const char* line : {"scripts/test no-such-mode", "scripts/run --no-such-option",
                             "scripts/board --no-such-option", "scripts/lint --no-such-option"}) {
        const Result result = tree.run_script(line, {});
        EXPECT_EQ(result.status, (ExitStatus{true, 2})) << line;
        EXPECT_TRUE(result.err.starts_with("usage: scripts/")) << result.err;
    }
}

}  // namespace
}  // namespace quon::test
