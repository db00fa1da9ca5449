// What the program tells of itself: version, help, completion, the manual page.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>

#include "sim_process.h"

namespace quon::sim {
namespace {

TEST(TheSimulator, TellsItsVersion) {
    const test::Result result = run_sim({"--version"});
    EXPECT_EQ(result.status, exited(0));
    EXPECT_EQ(result.out.substr(0, 12), "hi3861l-sim ");
    EXPECT_EQ(std::ranges::count(result.out, '.'), 2) << result.out;
}

TEST(TheSimulator, ExplainsEachOfItsCommands) {
    EXPECT_EQ(run_sim({"help"}).out, run_sim({"--help"}).out);
    for (const char* command : {"control", "exec", "run", "help", "completion"}) {
        const test::Result result = run_sim({"help", command});
        EXPECT_EQ(result.status, exited(0)) << command;
        EXPECT_EQ(result.out, run_sim({command, "--help"}).out) << command;
    }
    EXPECT_EQ(run_sim({"help", "wait-host"}).out,
              "  wait-host [timeout TIME]\n      wait until a host holds port 1100\n");
    const test::Result unknown = run_sim({"help", "nothing"});
    EXPECT_EQ(unknown.status, exited(2));
    EXPECT_EQ(unknown.err,
              "hi3861l-sim: command \"nothing\" is not known; \"help\" lists the commands\n");
}

TEST(TheSimulator, ShowsWhereTheCommandOfExecAndRunStands) {
    for (const std::string command : {"exec", "run"}) {
        const std::string usage = "Usage: hi3861l-sim " + command + " [OPTIONS] -- COMMAND...\n";
        const std::string help = run_sim({command, "--help"}).out;
        EXPECT_NE(help.find(usage), std::string::npos) << help;
    }
    EXPECT_EQ(run_sim({"completion", "--help"}).out.find("COMMAND"), std::string::npos);
}

TEST(TheSimulator, BeginsEachErrorWithItsName) {
    for (const std::vector<std::string>& words : {std::vector<std::string>{"--nonsense"},
                                                  {"word"},
                                                  {"control"},
                                                  {"run"},
                                                  {"exec", "--x"}}) {
        const test::Result result = run_sim(words);
        EXPECT_EQ(result.status, exited(2)) << words[0];
        EXPECT_TRUE(result.err.starts_with("hi3861l-sim: ")) << result.err;
        EXPECT_EQ(std::ranges::count(result.err, '\n'), 1) << result.err;
    }
}

struct completion_row {
    std::vector<std::string> words;
    std::string found;
};

TEST(Completion, KnowsWhatMayFollow) {
    const completion_row rows[] = {
        {{"c"}, "completion\ncontrol\n"},
        {{"--wakeup"}, "--wakeup-reason\n"},
        {{"--battery", ""}, ""},
        {{"--battery", "5", "ex"}, "exec\n"},
        {{"exec", "--l"}, "--link\n"},
        {{"exec", "sh", "--l"}, ""},
        {{"run", "--world", ""}, ""},
        {{"help", "ru"}, "run\n"},
        {{"completion", ""}, "bash\nzsh\n"},
        {{"control", "wait"}, "wait-frame\nwait-host\n"},
        {{"control", "--js"}, "--json\n"},
        {{"control", "get", "wifi-st"}, "wifi-state\nwifi-status\n"},
        {{"control", "get", "led", "upgrade-b"}, "upgrade-blocks\nupgrade-bytes\n"},
        {{"control", "set", "upgrade"}, ""},
        {{"control", "set", "led", ""}, ""},
        {{"control", "event", ""}, "net\nraw\n"},
        {{"control", "event", "raw", "get_ti"}, "get_time\n"},
        {{"control", "fault", "an"}, "any\n"},
        {{"control", "fault", "any", "c"}, "corrupt\ncut\n"},
        {{"control", "fault", "any", "twice", ""}, "count\nforever\n"},
        {{"control", "wait-frame", "84", ""}, "count\ntimeout\n"},
        {{"nothing", ""}, ""},
    };
    for (const completion_row& each : rows) {
        std::vector<std::string> words = {"complete", "--"};
        words.insert(words.end(), each.words.begin(), each.words.end());
        EXPECT_EQ(run_sim(words).out, each.found) << each.words.back();
    }
}

TEST(Completion, HasAScriptForBothShells) {
    const test::Result bash = test::run([] {
        std::vector<std::string> command = {
            "bash", "-c",
            "sim=(\"$@\"); hi3861l-sim() { \"${sim[@]}\" \"$@\"; };"
            "eval \"$(hi3861l-sim completion bash)\";"
            "COMP_LINE='hi3861l-sim control get upgrade-b'; COMP_POINT=${#COMP_LINE};"
            "complete -p hi3861l-sim; _hi3861l_sim; echo \"${COMPREPLY[@]}\"",
            "bash"};
        std::ranges::copy(sim_command({}), std::back_inserter(command));
        return command;
    }());
    EXPECT_EQ(bash.out,
              "complete -o default -F _hi3861l_sim hi3861l-sim\nupgrade-blocks upgrade-bytes\n");
    EXPECT_EQ(bash.err, "");
    const test::Result zsh = run_sim({"completion", "zsh"});
    EXPECT_TRUE(zsh.out.starts_with("#compdef hi3861l-sim\n")) << zsh.out;
    EXPECT_EQ(zsh.out.find("quon"), std::string::npos);
}

// --- the manual page

std::string lint(const std::string& text) {
    std::string kept;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        // The pages beside this one need not be installed.
        kept += line.find("referenced manual not found") == std::string::npos ? line + "\n" : "";
    }
    return kept;
}

TEST(TheManualPage, IsWellFormed) {
    const test::Result mandoc =
        test::run({"mandoc", "-T", "lint", "-W", "all", HI3861L_SIM_MANUAL});
    EXPECT_EQ(lint(mandoc.out + mandoc.err), "");
    const test::Result man = test::run({"env", "LC_ALL=C", "man", "--warnings", "-E", "UTF-8", "-l",
                                        "-Tutf8", "-Z", HI3861L_SIM_MANUAL});
    EXPECT_EQ(man.status, exited(0));
    EXPECT_EQ(man.err, "");
}

TEST(TheManualPage, TellsOfEveryOptionCommandAndFault) {
    std::ifstream file(HI3861L_SIM_MANUAL);
    std::stringstream page;
    page << file.rdbuf();
    const std::string help = run_sim({"--help"}).out;
    std::istringstream lines(help.substr(0, help.find("Values that can be set")));
    std::string line;
    std::string heading;
    int checked = 0;
    while (std::getline(lines, line)) {
        heading = line.starts_with(" ") || line.empty() ? heading : line;
        const bool item = line.starts_with("  ") && !line.starts_with("   ");
        std::istringstream words(line);
        std::string name;
        if (!item || heading.starts_with("Subcommands") || !(words >> name)) {
            continue;
        }
        name = name.substr(name.find(',') + 1);  // "-h,--help"
        checked++;
        const bool told = name.starts_with("--")
                              ? page.str().find("Fl -" + name.substr(2)) != std::string::npos
                              : page.str().find("Cm " + name) != std::string::npos ||
                                    page.str().find(", " + name) != std::string::npos;
        EXPECT_TRUE(told) << name;
    }
    EXPECT_GE(checked, 40);
}

}  // namespace
}  // namespace quon::sim
