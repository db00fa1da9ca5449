#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <ostream>
#include <string>
#include <utility>

#include "expected_table.h"
#include "installation.h"

namespace quon::test {
namespace {

namespace fs = std::filesystem;

std::string run_with_libraries(const Installation& installation, const fs::path& program) {
    return must_run(
               {"env", "LD_LIBRARY_PATH=" + installation.libraries().string(), program.string()})
        .out;
}

std::string build_and_run(const Installation& installation, const std::string& library,
                          const Words& compile) {
    const std::string source = std::string(QUON_USERS_FOLDER) + "/" + library + ".c";
    const std::string object = installation.scratch(library + ".o").string();
    const std::string program = installation.scratch(library).string();
    must_run(compile + strict_flags() + sanitizer_flags() +
             installation.pkg_config("--cflags", library) + Words{"-c", source, "-o", object});
    must_run(c_compiler() + sanitizer_flags() + Words{object, "-o", program} +
             installation.pkg_config("--libs", library));
    return run_with_libraries(installation, program);
}

struct Library {
    const char* name;
    std::string output;  // the user's, or the beginning of it
};

void PrintTo(const Library& library, std::ostream* out) {
    *out << library.name;
}

const Library kLibraries[] = {
    {"quon_log", "USER     42\nD/HEX dump: 0000-0001: 41 42   AB\n"},
    {"quon_queue", "length 1\nvalue 7\n"},
    {"dbus_socket_common", "entries 2\nfirst method.quon.mcu.get.ver of " +
                               std::to_string(std::size(expected::kServices)) +
                               " at quon.mcu.daemon\n"},
    {"hichannel_host", "["},
    {"quon_mcu_client", "no daemon, no answer in time, 10\n"},
    {"websocket", "/tmp/ws_socket 1\n"},
};

class AnInstalledLibrary : public testing::TestWithParam<Library> {};

TEST_P(AnInstalledLibrary, ServesACProgram) {
    const Installation installation;
    const std::string output =
        build_and_run(installation, GetParam().name, c_compiler() + Words{"-std=c99"});
    EXPECT_EQ(output.rfind(GetParam().output, 0), 0U) << output;
}

TEST_P(AnInstalledLibrary, ServesACxxProgramThatTheCCompilerLinks) {
    const Installation installation;
    const std::string output = build_and_run(
        installation, GetParam().name,
        cxx_compiler() + Words{"-x", "c++", "-std=c++20", "-fno-exceptions", "-fno-rtti"});
    EXPECT_EQ(output.rfind(GetParam().output, 0), 0U) << output;
}

TEST_P(AnInstalledLibrary, NamesNoFolderOfTheBuildInItsPkgConfigFile) {
    const Installation installation;
    for (const Words& flags : {installation.pkg_config("--cflags", GetParam().name),
                               installation.pkg_config("--libs", GetParam().name)}) {
        for (const std::string& flag : flags) {
            EXPECT_EQ(flag.find(QUON_BUILD_FOLDER), std::string::npos) << flag;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Of, AnInstalledLibrary, testing::ValuesIn(kLibraries),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(AnInstallation, HasTheProgramsEachWithItsPage) {
    const Installation installation;
    for (const auto& [program, page] : {std::pair{"quon_mcu_daemon", "man8/quon_mcu_daemon.8"},
                                        std::pair{"quon-mcu", "man1/quon-mcu.1"},
                                        std::pair{"quon-mcu-small", "man1/quon-mcu-small.1"},
                                        std::pair{"hi3861l-sim", "man1/hi3861l-sim.1"}}) {
        const fs::path path = installation.programs() / program;
        struct stat status {};
        ASSERT_EQ(stat(path.c_str(), &status), 0) << path;
        EXPECT_TRUE(S_ISREG(status.st_mode)) << path;
        EXPECT_NE(status.st_mode & S_IXUSR, 0U) << path;
        EXPECT_TRUE(fs::is_regular_file(installation.prefix() / QUON_MANDIR / page)) << page;
    }
}

TEST(AnInstallation, HasTheChipLinkAndTheCompletions) {
    const Installation installation;
    EXPECT_TRUE(fs::is_regular_file(installation.libraries() / "libhi3861l_chip_link.so"));
    const fs::path data = installation.prefix() / QUON_DATADIR;
    for (const std::string program : {"quon-mcu", "hi3861l-sim"}) {
        EXPECT_TRUE(fs::is_regular_file(data / "bash-completion/completions" / program));
        EXPECT_TRUE(fs::is_regular_file(data / "zsh/site-functions" / ("_" + program)));
    }
}

TEST(AnInstallation, RunsACommandWithChipAndDaemon) {
    const Installation installation;
    // For a daemon that carries a sanitizer, in front of which the chip link is loaded.
    const Words settings = {"env", "ASAN_OPTIONS=verify_asan_link_order=0",
                            "TSAN_OPTIONS=report_signal_unsafe=0:atexit_sleep_ms=0"};
    const Result result =
        run(settings + Words{(installation.programs() / "hi3861l-sim").string(), "run", "--battery",
                             "42", "--", "quon-mcu", "call", "get.battery.status", "--hex"});
    EXPECT_EQ(result.status.code, 0) << result.err;
    EXPECT_EQ(result.out.substr(0, 2), "2a") << result.out;
}

TEST(AnInstallation, HasThePublicHeadersAndNoOthers) {
    const Installation installation;
    Words headers;
    for (const auto& entry : fs::directory_iterator(installation.headers())) {
        headers.push_back(entry.path().filename().string());
    }
    std::ranges::sort(headers);
    EXPECT_EQ(headers,
              (Words{"dbus_socket_common.h", "hichannel_host.h", "quon_log.h", "quon_mcu_client.h",
                     "quon_mcu_client_services.h", "quon_mcu_services.h", "quon_mcu_testing.h",
                     "quon_queue.h", "websocket.h"}));
}

}  // namespace
}  // namespace quon::test
