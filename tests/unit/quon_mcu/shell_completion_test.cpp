// The completion scripts in real shells, with the real program.
#include <gtest/gtest.h>

#include "child_process.h"

namespace quon::client {
namespace {

using quon::test::Result;

const std::string kSetup = "PATH='" + std::string(QUON_MCU_FOLDER) + "':$PATH; ";

// What bash offers for a line, one word a line.
std::string offered_by_bash(const std::string& line) {
    const Result got = quon::test::run(
        {"bash", "--norc", "--noprofile", "-c",
         kSetup + "source <(quon-mcu completion bash); COMP_LINE=\"$1\"; COMP_POINT=${#COMP_LINE}; "
                  "_quon_mcu; for word in \"${COMPREPLY[@]}\"; do echo \"$word\"; done",
         "bash", line});
    return got.out + got.err;
}

// What zsh hands to its own completion, with the completion system's commands as plain functions.
std::string offered_by_zsh(const std::string& quoted_words, int current) {
    const Result got = quon::test::run(
        {"zsh", "-f", "-c",
         kSetup +
             "compdef() { : }; compadd() { print -r -- compadd \"${(qqq)@}\" }; "
             "_files() { print files }; source <(quon-mcu completion zsh); words=(" +
             quoted_words + "); CURRENT=" + std::to_string(current) + "; _quon_mcu"});
    return got.out + got.err;
}

struct row {
    const char* line;
    const char* offered;
};

TEST(BashCompletion, AsksTheProgram) {
    const row rows[] = {
        {"quon-mcu hand", "handoff\n"},
        {"quon-mcu get wifi.s", "wifi.scanf.info\nwifi.status\n"},
        {"quon-mcu --json get tim", "time\n"},
        {"quon-mcu set store.params ", "server_ip=\nserver_port=\n"},
        {"quon-mcu set log.profile level_limit=", "0\n1\n2\n3\n4\n"},
        {"quon-mcu upgrade ", ""},
    };
    for (const row& each : rows) {
        EXPECT_EQ(offered_by_bash(each.line), each.offered) << each.line;
    }
}

TEST(BashCompletion, FallsBackToFiles) {
    const Result got = quon::test::run({"bash", "--norc", "--noprofile", "-c",
                                        kSetup + "source <(quon-mcu completion bash); "
                                                 "complete -p quon-mcu"});
    EXPECT_EQ(got.out, "complete -o default -F _quon_mcu quon-mcu\n");
    EXPECT_EQ(got.err, "");
}

TEST(ZshCompletion, AsksTheProgram) {
    EXPECT_EQ(offered_by_zsh("quon-mcu hand", 2), "compadd \"--\" \"handoff\"\n");
    EXPECT_EQ(offered_by_zsh("quon-mcu get wifi.s", 3),
              "compadd \"--\" \"wifi.scanf.info\" \"wifi.status\"\n");
    EXPECT_EQ(offered_by_zsh("quon-mcu set store.params ''", 4),
              "compadd \"-S\" \"\" \"--\" \"server_ip=\" \"server_port=\"\n");
    EXPECT_EQ(offered_by_zsh("quon-mcu upgrade ''", 3), "files\n");
}

TEST(TheScripts, AreWhatTheProgramPrints) {
    for (const auto& [shell, name] : {std::pair("bash", "quon-mcu.bash"), {"zsh", "_quon-mcu"}}) {
        const Result printed = quon::test::run({QUON_MCU_PROGRAM, "completion", shell});
        const Result installed =
            quon::test::run({"cat", std::string(QUON_COMPLETION_SCRIPTS) + "/" + name});
        EXPECT_EQ(printed.out, installed.out);
        EXPECT_NE(printed.out, "");
    }
}

}  // namespace
}  // namespace quon::client
