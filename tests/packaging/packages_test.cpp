// The packages of this build: what is in them, and that it works from a root where nothing else is.
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "launch.h"
#include "system_test.h"

namespace quon::test {
namespace {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

const fs::path kPackages = QUON_PACKAGES;
const std::string kVersion = QUON_VERSION;

constexpr ExitStatus kDone{.exited = true, .code = 0};

std::string architecture() {
    const std::string printed = run({"dpkg", "--print-architecture"}).out;
    return printed.substr(0, printed.find('\n'));
}

fs::path package_file(const std::string& name) {
    const std::string suffix = name.starts_with("python3-") ? "all" : architecture();
    return kPackages / (name + "_" + kVersion + "_" + suffix + ".deb");
}

fs::path archive_file() {
    return kPackages / ("quon_mcu_daemon-" + kVersion + "-here.tar.gz");
}

std::string path_in(const std::string& row) {
    return row.substr(row.rfind(' ') + 1);
}

// "-rwxr-xr-x root/root ... ./usr/bin/x" as "rwxr-xr-x root/root usr/bin/x"; folders left out.
Words files_listed(const std::string& listing) {
    Words files;
    std::istringstream lines(listing);
    for (std::string line; std::getline(lines, line);) {
        const Words words = words_of(line);
        if (words.size() >= 6 && words[0].front() != 'd') {
            files.push_back(words[0].substr(1) + " " + words[1] + " " + words[5].substr(2));
        }
    }
    std::ranges::sort(files, {}, path_in);
    return files;
}

struct Held {
    const char* package;
    Words files;
};

void PrintTo(const Held& row, std::ostream* out) {
    *out << row.package;
}

Words programs(const Words& names) {
    Words rows;
    for (const std::string& name : names) {
        rows.push_back("rwxr-xr-x root/root usr/" + name);
    }
    return rows;
}

Words data(const Words& names) {
    Words rows;
    for (const std::string& name : names) {
        rows.push_back("rw-r--r-- root/root usr/" + name);
    }
    return rows;
}

Words sorted(Words front, const Words& back) {
    front.insert(front.end(), back.begin(), back.end());
    std::ranges::sort(front, {}, path_in);
    return front;
}

// What the tree has of it: the package's own files come and go with its owners' needs.
Words python_modules() {
    Words names = {"lib/python3/dist-packages/quon_mcu/py.typed"};
    for (const auto& entry : fs::directory_iterator(QUON_PYTHON_FOLDER)) {
        if (entry.path().extension() == ".py") {
            names.push_back("lib/python3/dist-packages/quon_mcu/" +
                            entry.path().filename().string());
        }
    }
    std::ranges::sort(names);
    return names;
}

const Held kHeld[] = {
    {"quon-mcu-daemon",
     sorted(programs({"bin/quon_mcu_daemon"}), data({"lib/systemd/system/quon_mcu_daemon.service",
                                                     "share/man/man8/quon_mcu_daemon.8"}))},
    {"quon-mcu-tools",
     sorted(programs({"bin/quon-mcu", "bin/hi3861l-sim"}),
            data({"lib/libhi3861l_chip_link.so", "share/bash-completion/completions/quon-mcu",
                  "share/bash-completion/completions/hi3861l-sim", "share/man/man1/quon-mcu.1",
                  "share/man/man1/hi3861l-sim.1", "share/quon_mcu_daemon/records/hi3861l-sim.json",
                  "share/zsh/vendor-completions/_quon-mcu",
                  "share/zsh/vendor-completions/_hi3861l-sim"}))},
    {"libquon-mcu-dev", sorted({}, data({"include/quon/dbus_socket_common.h",
                                         "include/quon/hichannel_host.h",
                                         "include/quon/quon_log.h",
                                         "include/quon/quon_mcu_client.h",
                                         "include/quon/quon_mcu_client_services.h",
                                         "include/quon/quon_mcu_services.h",
                                         "include/quon/quon_mcu_testing.h",
                                         "include/quon/quon_queue.h",
                                         "lib/cmake/quon_mcu/quon_mcu-config-version.cmake",
                                         "lib/cmake/quon_mcu/quon_mcu-config.cmake",
                                         "include/quon/websocket.h",
                                         "lib/libdbus_socket_common.a",
                                         "lib/libhichannel_host.a",
                                         "lib/libquon_log.a",
                                         "lib/libquon_mcu_client.a",
                                         "lib/libquon_queue.a",
                                         "lib/libsecurec.a",
                                         "lib/libwebsocket.a",
                                         "lib/pkgconfig/dbus_socket_common.pc",
                                         "lib/pkgconfig/hichannel_host.pc",
                                         "lib/pkgconfig/quon_log.pc",
                                         "lib/pkgconfig/quon_mcu_client.pc",
                                         "lib/pkgconfig/quon_queue.pc",
                                         "lib/pkgconfig/websocket.pc"}))},
    {"python3-quon-mcu", data(python_modules())},
};

class APackage : public testing::TestWithParam<Held> {};

TEST_P(APackage, HasTheseFilesAndNoOthers) {
    const Result listing = run({"dpkg-deb", "-c", package_file(GetParam().package)});
    ASSERT_EQ(listing.status, kDone) << listing.err;
    EXPECT_EQ(files_listed(listing.out), GetParam().files);
}

INSTANTIATE_TEST_SUITE_P(Of, APackage, testing::ValuesIn(kHeld), [](const auto& row) {
    std::string name = row.param.package;
    std::ranges::replace(name, '-', '_');
    return name;
});

// --- unpacked, each test into a root of its own

class AnEmptyRoot {
  public:
    AnEmptyRoot() {
        std::string path = (fs::temp_directory_path() / "quon-root-XXXXXX").string();
        if (mkdtemp(path.data()) == nullptr) {
            throw std::runtime_error("mkdtemp " + path);
        }
        path_ = path;
    }
    ~AnEmptyRoot() {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    AnEmptyRoot(const AnEmptyRoot&) = delete;
    AnEmptyRoot& operator=(const AnEmptyRoot&) = delete;

    const AnEmptyRoot& with(const std::string& package) const {
        must_run({"dpkg-deb", "-x", package_file(package), path_});
        return *this;
    }
    const AnEmptyRoot& with_archive() const {
        must_run({"tar", "-C", path_, "--no-same-owner", "-xzf", archive_file()});
        return *this;
    }
    [[nodiscard]] std::string file(const std::string& name) const { return path_ / name; }
    // An environment that finds its programs first.
    [[nodiscard]] Words with_path() const {
        return {"env", "PATH=" + file("usr/bin") + ":/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin"};
    }

  private:
    static void must_run(const Words& command) {
        const Result result = run(command);
        if (result.status != kDone) {
            throw std::runtime_error(command.front() + ": " + result.out + result.err);
        }
    }
    fs::path path_;
};

Words operator+(Words left, const Words& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

// Chip, daemon and a command, all from this root.
Result run_world(const AnEmptyRoot& root, const Words& command) {
    return run(root.with_path() +
                   Words{"hi3861l-sim", "run", "--battery", "42", "--firmware-version", "V9"} +
                   command,
               {}, 2 * kLongEnough);
}

TEST(TheToolsPackage, RunsChipAndDaemonFromAnEmptyRoot) {
    const AnEmptyRoot root;
    root.with("quon-mcu-daemon").with("quon-mcu-tools");
    const Result result = run_world(
        root, {"sh", "-c",
               "quon-mcu call get.battery.status --hex; "
               "quon-mcu popen 'readlink /proc/$PPID/exe'; hi3861l-sim control get battery"});
    EXPECT_EQ(result.status, kDone) << result.err;
    EXPECT_EQ(result.out.substr(0, 2), "2a") << result.out;
    EXPECT_NE(result.out.find("\n" + root.file("usr/bin/quon_mcu_daemon") + "\n42\n"),
              std::string::npos)
        << result.out;
}

TEST(TheManualPages, AreFoundAndShown) {
    const AnEmptyRoot root;
    root.with("quon-mcu-daemon").with("quon-mcu-tools");
    const std::string pages = root.file("usr/share/man");
    for (const auto& [page, file] : {std::pair("quon_mcu_daemon", "man8/quon_mcu_daemon.8"),
                                     std::pair("quon-mcu", "man1/quon-mcu.1"),
                                     std::pair("hi3861l-sim", "man1/hi3861l-sim.1")}) {
        EXPECT_EQ(run({"man", "-M", pages, "-w", page}).out, pages + "/" + file + "\n");
        const Result shown = run({"env", "MANPAGER=cat", "man", "-M", pages, page});
        EXPECT_EQ(shown.status, kDone) << shown.err;
        EXPECT_NE(shown.out.find(page), std::string::npos) << shown.out;
    }
}

TEST(TheCompletions, WorkInBothShellsFromWhereDebianLooks) {
    const AnEmptyRoot root;
    root.with("quon-mcu-tools");
    const std::string bash = root.file("usr/share/bash-completion/completions/quon-mcu");
    const Result offered = run(
        root.with_path() + Words{"bash", "--norc", "--noprofile", "-c",
                                 ". \"$1\"; complete -p quon-mcu; COMP_LINE='quon-mcu hand'; "
                                 "COMP_POINT=${#COMP_LINE}; _quon_mcu; echo \"${COMPREPLY[@]}\"",
                                 "bash", bash});
    EXPECT_EQ(offered.out, "complete -o default -F _quon_mcu quon-mcu\nhandoff\n") << offered.err;

    const Result zsh = run(root.with_path() +
                           Words{"zsh", "-f", "-c",
                                 "fpath=(\"$1\" $fpath); autoload -Uz compinit; compinit -u -D; "
                                 "print $_comps[quon-mcu] $_comps[hi3861l-sim]",
                                 "zsh", root.file("usr/share/zsh/vendor-completions")});
    EXPECT_EQ(zsh.out, "_quon-mcu _hi3861l-sim\n") << zsh.err;
}

TEST(TheDevelopmentPackage, ServesACProgramThatPkgConfigDescribes) {
    const AnEmptyRoot root;
    root.with("libquon-mcu-dev");
    const Result built =
        run({"env", "PKG_CONFIG_PATH=", "PKG_CONFIG_LIBDIR=" + root.file("usr/lib/pkgconfig"), "sh",
             "-c",
             "\"$1\" -Wall -Werror $(pkg-config --cflags quon_mcu_client) \"$2\" -o \"$3\" "
             "$(pkg-config --libs quon_mcu_client)",
             "sh", QUON_C_COMPILER, std::string(QUON_USERS_FOLDER) + "/quon_mcu_client.c",
             root.file("program")});
    ASSERT_EQ(built.status, kDone) << built.err;
    EXPECT_EQ(run({root.file("program")}).out, "no daemon, no answer in time, 10\n");
}

TEST(ThePythonPackage, CallsTheDaemonFromWhereDebiansPythonLooks) {
    const AnEmptyRoot root;
    root.with("quon-mcu-daemon").with("quon-mcu-tools").with("python3-quon-mcu");
    const Result result = run_world(
        root, {"env", "PYTHONPATH=" + root.file("usr/lib/python3/dist-packages"),
               "/usr/bin/python3", "-B", "-c",
               "import quon_mcu\nwith quon_mcu.Client() as c: print(c.get_ver().version)\n"
               "print(quon_mcu.__version__, quon_mcu.__file__)"});
    EXPECT_EQ(result.status, kDone) << result.err;
    EXPECT_EQ(result.out, "V9\n" + kVersion + " " +
                              root.file("usr/lib/python3/dist-packages/quon_mcu/__init__.py") +
                              "\n");
}

TEST(ThePackages, NeedWhatTheyUse) {
    const auto depends = [](const std::string& package) {
        return run({"dpkg-deb", "-f", package_file(package), "Depends"}).out;
    };
    const std::string daemon = depends("quon-mcu-daemon");
    EXPECT_TRUE(daemon.starts_with("net-tools, libc6 (")) << daemon;
    EXPECT_EQ(daemon.find("libstdc++"), std::string::npos) << daemon;
    const std::string tools = depends("quon-mcu-tools");
    EXPECT_TRUE(tools.starts_with("quon-mcu-daemon (= " + kVersion + "), ")) << tools;
    EXPECT_NE(tools.find("libstdc++6"), std::string::npos) << tools;
    EXPECT_EQ(depends("libquon-mcu-dev"), "libc6-dev\n");
    EXPECT_EQ(depends("python3-quon-mcu"), "python3\n");
}

TEST(ThePackages, NameWhoeverMadeThem) {
    for (const Held& each : kHeld) {
        EXPECT_EQ(run({"dpkg-deb", "-f", package_file(each.package), "Maintainer"}).out,
                  std::string(QUON_MAINTAINER) + "\n");
    }
}

TEST(ThePackages, HoldNoSymbolsAndNoFolderOfTheBuild) {
    const AnEmptyRoot root;
    root.with("quon-mcu-daemon").with("quon-mcu-tools").with("libquon-mcu-dev").with_archive();
    int programs = 0;
    int libraries = 0;
    for (const auto& entry : fs::recursive_directory_iterator(root.file("usr"))) {
        if (!entry.is_regular_file()) {
            continue;
        }
        const std::string content = content_of(entry.path());
        EXPECT_EQ(content.find(QUON_BUILD_FOLDER), std::string::npos) << entry.path();
        const std::string sections = run({"readelf", "-SW", entry.path()}).out;
        if (content.starts_with("\177ELF")) {
            EXPECT_EQ(sections.find(" .symtab "), std::string::npos) << entry.path();
            programs++;
        }
        libraries += content.starts_with("!<arch>\n") ? 1 : 0;
        EXPECT_EQ(sections.find(" .debug_"), std::string::npos) << entry.path();
    }
    EXPECT_EQ(programs, 5);  // the chip link is one of them
    EXPECT_EQ(libraries, 7);
}

// --- made by hand

Result make_packages(const Words& words) {
    return run(Words{std::string(QUON_SCRIPTS) + "/lib/make-packages"} + words, {},
               3 * kLongEnough);
}

TEST(MakingPackages, GivesTheSameBytesTwice) {
    const AnEmptyRoot out;
    const Result archive = make_packages({"archive", QUON_BUILD_FOLDER, out.file("."), "here"});
    ASSERT_EQ(archive.status, kDone) << archive.err;
    EXPECT_EQ(archive.out, out.file(archive_file().filename()) + "\n");
    const Result debian = make_packages({"debian", QUON_BUILD_FOLDER, out.file(".")});
    ASSERT_EQ(debian.status, kDone) << debian.err;
    int compared = 0;
    for (const auto& entry : fs::directory_iterator(out.file("."))) {
        EXPECT_TRUE(content_of(entry.path()) == content_of(kPackages / entry.path().filename()))
            << entry.path();
        compared++;
    }
    EXPECT_EQ(compared, 5);
}

TEST(MakingPackages, RefusesWhatIsNoBuildAndWrongWords) {
    const AnEmptyRoot root;
    const Result no_build = make_packages({"debian", root.file(""), root.file("out")});
    EXPECT_EQ(no_build.status, (ExitStatus{.exited = true, .code = 1}));
    EXPECT_EQ(no_build.err, "make-packages: " + root.file("") + " is no build folder\n");
    const Words wrong[] = {{}, {"debian"}, {"archive", "a", "b"}, {"rpm", "a", "b"}};
    for (const Words& words : wrong) {
        const Result result = make_packages(words);
        EXPECT_EQ(result.status, (ExitStatus{.exited = true, .code = 2}));
        EXPECT_TRUE(result.err.starts_with("usage: scripts/lib/make-packages debian"))
            << result.err;
        EXPECT_EQ(result.out, "");
    }
}

TEST(TheScript, ExplainsItselfAndRefusesWhatItDoesNotKnow) {
    const std::string script = std::string(QUON_SCRIPTS) + "/package";
    const Result help = run({script, "--help"});
    EXPECT_EQ(help.status, kDone);
    EXPECT_TRUE(help.out.starts_with("usage: scripts/package [debian | target]\n")) << help.out;
    const Words wrong[] = {{script, "rpm"}, {script, "debian", "target"}, {script, "-x"}};
    for (const Words& words : wrong) {
        const Result result = run(words);
        EXPECT_EQ(result.status, (ExitStatus{.exited = true, .code = 2}));
        EXPECT_EQ(result.err, help.out);
        EXPECT_EQ(result.out, "");
    }
}

// --- the daemon and the archive, in a world with a chip

class TheArchive : public SystemTest {
  protected:
    void SetUp() override {
        SystemTest::SetUp();
        root_ = std::make_unique<AnEmptyRoot>();
        root_->with_archive();
        setenv("QUON_TEST_DAEMON", root_->file("usr/bin/quon_mcu_daemon").c_str(), 1);
    }
    void TearDown() override {
        SystemTest::TearDown();
        unsetenv("QUON_TEST_DAEMON");
    }
    [[nodiscard]] const AnEmptyRoot& root() const { return *root_; }

  private:
    std::unique_ptr<AnEmptyRoot> root_;
};

TEST_F(TheArchive, HoldsDaemonClientAndInitScriptForRoot) {
    const Result listing = run({"tar", "--numeric-owner", "-tvzf", archive_file()});
    EXPECT_EQ(files_listed(listing.out), (Words{"rwxr-xr-x 0/0 etc/init.d/S60quon_mcu_daemon",
                                                "rwxr-xr-x 0/0 usr/bin/quon-mcu-small",
                                                "rwxr-xr-x 0/0 usr/bin/quon_mcu_daemon"}));
}

TEST_F(TheArchive, RunsItsDaemonFromAnEmptyRoot) {
    start();
    const std::string link = "/proc/" + std::to_string(daemon().pid()) + "/exe";
    EXPECT_EQ(fs::read_symlink(link), root().file("usr/bin/quon_mcu_daemon"));
    expect_still_serving();
}

TEST_F(TheArchive, HasASmallClientThatReachesTheDaemon) {
    start();
    const Result result = run({root().file("usr/bin/quon-mcu-small"), "popen", "echo hi"});
    EXPECT_EQ(result.out, "hi\n") << result.err;
}

}  // namespace
}  // namespace quon::test
