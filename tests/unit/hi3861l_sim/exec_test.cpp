// "hi3861l-sim exec": a program under the chip link.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <filesystem>
#include <fstream>

#include "link_probe.h"

namespace quon::sim {
namespace {

namespace fs = std::filesystem;

test::Result run_exec(std::vector<std::string> words) {
    words.insert(words.begin(), "exec");
    return run_sim(words);
}

TEST(Exec, BecomesTheCommand) {
    const test::Result result =
        run_exec({"sh", "-c", "echo \"$0 $*\"; echo words >&2; exit 9", "a  b", "--socket", "-x"});
    EXPECT_EQ(result.status, exited(9));
    EXPECT_EQ(result.out, "a  b --socket -x\n");
    EXPECT_EQ(result.err, "words\n");
    const test::Result marked = run_exec({"--", "sh", "-c", "echo $0", "--"});
    EXPECT_EQ(marked.out, "--\n");
}

TEST(Exec, GivesTheCommandTheLinkAndTheChipsSocket) {
    const test::Result result =
        run_exec({"--socket", "/a/chip", "sh", "-c", "echo \"$LD_PRELOAD $HI3861L_SIM_SOCKET\""});
    EXPECT_EQ(result.out, preload_entry(fs::canonical(CHIP_LINK_LIBRARY)) + " /a/chip\n");
    EXPECT_EQ(result.err, "");
}

TEST(Exec, SaysWhatItCannotStart) {
    const scratch_folder folder;
    std::ofstream(folder.file("text")) << "no program";
    struct row {
        std::vector<std::string> words;
        int status;
        std::string error;
    };
    const std::vector<row> rows = {
        {{folder.file("none")}, 127, folder.file("none") + ": No such file or directory"},
        {{folder.file("text")}, 126, folder.file("text") + ": Permission denied"},
        {{}, 2, "COMMAND is missing; see 'hi3861l-sim exec --help'"},
        {{"--"}, 2, "COMMAND is missing; see 'hi3861l-sim exec --help'"},
        {{"--sokcet", "x", "true"},
         2,
         "The following argument was not expected: --sokcet; see 'hi3861l-sim exec --help'"},
        {{"--link", folder.file("none"), "true"},
         1,
         "the chip link " + folder.file("none") + ": No such file or directory"},
    };
    for (const row& each : rows) {
        const test::Result result = run_exec(each.words);
        EXPECT_EQ(result.status, exited(each.status)) << each.error;
        EXPECT_EQ(result.err, "hi3861l-sim: " + each.error + "\n");
        EXPECT_EQ(result.out, "");
    }
}

// --- in a folder whose name the dynamic loader would split

class AnInstallationInAFolder : public testing::TestWithParam<const char*> {
  protected:
    AnInstallationInAFolder() {
        fs::create_directories(place() + "/bin");
        fs::create_directories(place() + "/lib");
        fs::create_directories(folder_.file("runtime"));
        fs::copy(HI3861L_SIM_PROGRAM, place() + "/bin/hi3861l-sim");
        fs::copy(CHIP_LINK_LIBRARY, place() + "/lib/libhi3861l_chip_link.so");
        fs::copy(CHIP_LINK_PROBE, place() + "/bin/probe");
    }
    [[nodiscard]] std::string place() const { return folder_.file(GetParam()); }

    scratch_folder folder_;
};

INSTANTIATE_TEST_SUITE_P(Named, AnInstallationInAFolder,
                         testing::Values("plain", "with a blank", "with:colon", "$LIB: all of it"),
                         [](const auto& row) { return "Number" + std::to_string(row.index); });

TEST_P(AnInstallationInAFolder, LinksItsProgramsAndNotTheirCommands) {
    const sim_process sim(folder_);
    for (const std::vector<std::string>& wrapper :
         {std::vector<std::string>{}, std::vector<std::string>{"timeout", "600", "env"}}) {
        // Where the link to the library goes: nothing stays behind in /tmp.
        std::vector<std::string> words = {"env", "XDG_RUNTIME_DIR=" + folder_.file("runtime"),
                                          place() + "/bin/hi3861l-sim", "exec"};
        words.insert(words.end(), wrapper.begin(), wrapper.end());
        probe program(folder_, wrapper.empty() ? "fifo1" : "fifo2", place() + "/bin/probe", "",
                      "chip", words);
        const std::string fd = program.ask(new_socket(AF_NETLINK, SOCK_RAW, 28));
        EXPECT_EQ(program.ask("bind " + fd + " 1100"), "0");
        EXPECT_EQ(program.ask("child echo ${LD_PRELOAD-unset}"), "unset");
    }
}

}  // namespace
}  // namespace quon::sim
