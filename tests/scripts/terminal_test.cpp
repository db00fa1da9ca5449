// On a terminal, a script shows its progress; elsewhere it only names its log.
#include <gtest/gtest.h>

#include <string>

#include "script_tree.h"

namespace quon::test {
namespace {

class ABuild : public testing::TestWithParam<const char*> {
  protected:
    ScriptTree tree;
};

TEST_P(ABuild, ShowsItsTargetsAndTheTimeOnATerminal) {
    ChildProcess script({.command = tree.command_of(GetParam(), {.further = {"STUB_SLOW=1"}}),
                         .environment = {},
                         .output = ChildProcess::Output::kTerminal,
                         .separate_errors = false,
                         .input = {}});
    EXPECT_TRUE(script.wait_for_text("   7 of 9 targets, 0:0")) << script.output();
    EXPECT_EQ(script.wait_exit(), (ExitStatus{true, 0})) << script.output();
}

TEST_P(ABuild, ShowsThePackagesOnATerminal) {
    ChildProcess script(
        {.command = tree.command_of(GetParam(), {.missing = "cmake", .further = {"STUB_SLOW=1"}}),
         .environment = {},
         .output = ChildProcess::Output::kTerminal,
         .separate_errors = false,
         .input = {}});
    EXPECT_TRUE(script.wait_for_text("   1 of 3 packages ready, 0:0")) << script.output();
    EXPECT_EQ(script.wait_exit(), (ExitStatus{true, 0})) << script.output();
}

TEST_P(ABuild, NamesItsLogAloneElsewhere) {
    const Result result = tree.run_script(GetParam(), {.missing = "cmake"});
    const std::string preset =
        std::string(GetParam()).find("run") != std::string::npos ? "release" : "dev";
    EXPECT_EQ(result.err,
              "== installing cmake (log: build/packages.log)\n"
              "== building the preset " +
                  preset + " (log: build/" + preset + ".log)\n");
}

INSTANTIATE_TEST_SUITE_P(OfTheReadme, ABuild, testing::Values("scripts/run --demo", "scripts/test"),
                         [](const auto& row) {
                             return std::string(row.index == 0 ? "Demo" : "Test");
                         });

// apt ends with status 0 although it was interrupted: nothing is built after it.
TEST(AnInterruption, OfTheInstallationEndsTheScript) {
    ScriptTree tree;
    ChildProcess script(
        {.command = tree.command_of("scripts/test",
                                    {.missing = "cmake", .further = {"STUB_INTERRUPTED=1"}}),
         .environment = {},
         .output = ChildProcess::Output::kPipe,
         .separate_errors = false,
         .input = {}});
    EXPECT_EQ(script.wait_exit(), (ExitStatus{true, 130})) << script.output();
    EXPECT_NE(script.output().find("test: interrupted\n"), std::string::npos) << script.output();
    EXPECT_TRUE(tree.called("apt-get -q"));
    EXPECT_FALSE(tree.called("cmake"));
}

}  // namespace
}  // namespace quon::test
