// The preload library: which program it serves, and what it leaves to the others.
#include <gtest/gtest.h>
#include <linux/netlink.h>
#include <sys/socket.h>

#include <csignal>
#include <filesystem>
#include <sstream>

#include "link_probe.h"

namespace quon::sim {
namespace {

using std::to_string;

struct wrapper_row {
    const char* name;
    std::vector<std::string> words;
};

void PrintTo(const wrapper_row& row, std::ostream* out) {
    *out << row.name;
}

class UnderAWrapper : public testing::TestWithParam<wrapper_row> {};

INSTANTIATE_TEST_SUITE_P(Of, UnderAWrapper,
                         testing::Values(wrapper_row{"Env", {"env", "ANY=thing"}},
                                         wrapper_row{"Timeout", {"timeout", "600"}},
                                         wrapper_row{"Stdbuf", {"stdbuf", "-oL"}},
                                         wrapper_row{"Shell",
                                                     {"sh", "-c", "\"$@\"; exit $?", "sh"}},
                                         wrapper_row{"Many",
                                                     {"nice", "env", "timeout", "600", "sh", "-c",
                                                      "exec \"$@\"", "sh", "stdbuf", "-eL"}}),
                         [](const auto& row) { return std::string(row.param.name); });

constexpr char kPreloadListOfAChild[] = "child echo ${LD_PRELOAD-unset}";
constexpr char kSocketsOfAChild[] = "child ls -l /proc/self/fd | grep -c socket:";

TEST_P(UnderAWrapper, TheLinkReachesItsProgramAndNotTheCommandsOfTheProgram) {
    const scratch_folder folder;
    const sim_process sim(folder);
    probe program(folder, "fifo", CHIP_LINK_PROBE, chip_link_library(), "chip", GetParam().words);
    const std::string fd = program.ask(new_socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, 28));
    EXPECT_EQ(program.ask("bind " + fd + " 1100"), "0");
    EXPECT_EQ(program.ask(kPreloadListOfAChild).find("chip_link"), std::string::npos);
    EXPECT_EQ(program.ask(kSocketsOfAChild), "0");
}

TEST(ThePreloadLibrary, LeavesTheVariableWhenItsProgramOpensTheChannel) {
    const scratch_folder folder;
    probe program(folder, "fifo", CHIP_LINK_PROBE, chip_link_library());
    EXPECT_EQ(program.ask(new_socket(AF_UNIX, SOCK_DGRAM, 0)), "4");
    EXPECT_EQ(program.ask(new_socket(AF_NETLINK, SOCK_RAW, NETLINK_ROUTE)), "5");
    EXPECT_EQ(program.ask("variable LD_PRELOAD"), chip_link_library());
    EXPECT_EQ(program.ask("socket 16 3 28"), "EPROTONOSUPPORT");  // there is no simulator
    EXPECT_EQ(program.ask("variable LD_PRELOAD"), "unset");
    EXPECT_EQ(program.ask(kPreloadListOfAChild), "unset");
}

TEST(ThePreloadLibrary, LeavesTheVariableOfTheDaemonFromItsStartOn) {
    const scratch_folder folder;
    const std::string daemon = folder.file("quon_mcu_daemon");
    std::filesystem::create_symlink(CHIP_LINK_PROBE, daemon);
    probe program(folder, "fifo", daemon, chip_link_library(), "chip", {"env"});
    EXPECT_EQ(program.ask("variable LD_PRELOAD"), "unset");
    EXPECT_EQ(program.ask(kPreloadListOfAChild), "unset");
}

TEST(ThePreloadLibrary, LeavesOtherLibrariesInTheVariable) {
    const std::string library = chip_link_library();
    const std::string lists[][2] = {
        {"libm.so.6:" + library, "libm.so.6:"},
        {library + ":libm.so.6", "libm.so.6"},
        {"libm.so.6:" + library + ":libdl.so.2", "libm.so.6:libdl.so.2"},
    };
    int count = 0;
    const scratch_folder folder;
    for (const auto& [list, left] : lists) {
        probe program(folder, "fifo" + to_string(++count), CHIP_LINK_PROBE, list);
        EXPECT_EQ(program.ask("socket 16 3 28"), "EPROTONOSUPPORT");
        EXPECT_EQ(program.ask("variable LD_PRELOAD"), left) << list;
    }
}

TEST(ThePreloadLibrary, NeedsTheCLibraryAlone) {
    const test::Result result = test::run({"readelf", "-d", CHIP_LINK_LIBRARY});
    ASSERT_EQ(result.status, (test::ExitStatus{.exited = true, .code = 0}));
    std::istringstream text(result.out);
    int needed = 0;
    for (std::string line; std::getline(text, line);) {
        if (line.find("(NEEDED)") != std::string::npos) {
            needed++;
            EXPECT_NE(line.find("[libc.so."), std::string::npos) << line;
        }
    }
    EXPECT_EQ(needed, 1);
}

}  // namespace
}  // namespace quon::sim
