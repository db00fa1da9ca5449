// Whichever program of a script fails, the script fails: each call of a successful run fails once,
// in a run of its own.
#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

#include "script_tree.h"

namespace quon::test {
namespace {

// Calls whose failure has an alternative, or is the question that they ask.
const std::regex kHarmless(
    "dpkg-query .*|"                       // a package that is not known is installed
    "unshare --(net|user) .*|"             // one of two ways is enough
    "(apt-get|sudo env .*) -q .* update|"  // old lists may do
    "sudo -n true|"                        // then it asks for the password
    "rm -f.*|rm -rf .*/(fetch|unpack|uclibc-[^/]*\\.build|stub)[^/]*|"  // clearing up at the end
    "flock -n .*|"       // asks: then it waits for the lock
    "git -C .* log .*|"  // otherwise the age of a file
    "cmp -s .*|"         // asks: then it is written anew
    "wc -l ?|"           // a figure of a message, or in arithmetic of the shell
    "grep -qE? \\^ii|grep -F \\*\\*\\*Skipped .*|"  // asks
    "sha256sum --check .*|"                         // then downloads anew
    "timeout .*|qemu-system-mipsel .*|tr .*|"       // the verdict on the console counts
    "basename .*|id -un|stat -c %U .*|tail -n .*"   // parts of messages
);

struct Row {
    const char* name;
    const char* line;
    int calls;               // at least so many that can fail
    bool cached;             // without what it downloads and keeps, which other rows have
    const char* own = ".*";  // the calls that no other row has
    std::vector<std::string> further = {};  // NAME=VALUE
};

void PrintTo(const Row& row, std::ostream* out) {
    *out << row.line;
}

class EveryStep : public testing::TestWithParam<Row> {};

TEST_P(EveryStep, ThatFailsFailsTheScript) {
    ScriptTree tree;
    const std::string line = GetParam().line;
    if (GetParam().cached) {
        ASSERT_EQ(tree.run_script(line, {}).status, (ExitStatus{true, 0}));
        tree.keep_results();
    }
    const Result well = tree.run_script(line, {.further = GetParam().further});
    ASSERT_EQ(well.status, (ExitStatus{true, 0})) << well.out << well.err;
    int tried = 0;
    for (const std::string& call : tree.calls()) {
        if (std::regex_match(call, kHarmless) ||
            !std::regex_match(call, std::regex(GetParam().own))) {
            continue;
        }
        tried++;
        const Result result =
            tree.run_script(line, {.failing = call, .further = GetParam().further});
        EXPECT_TRUE(result.status.exited && result.status.code != 0) << "lost: " << call << "\n"
                                                                     << result.out << result.err;
        EXPECT_NE(result.err, "") << call;
    }
    EXPECT_GE(tried, GetParam().calls);
}

INSTANTIATE_TEST_SUITE_P(
    OfTheScript, EveryStep,
    testing::Values(
        Row{"Demo", "scripts/run --demo", 6, false}, Row{"Test", "scripts/test", 6, false},
        Row{"Asan", "scripts/test asan -R One", 6, false},
        Row{"Clang", "scripts/test clang", 6, false}, Row{"Msan", "scripts/test msan", 8, false},
        Row{"Fresh", "scripts/test fresh main moved", 30, false, ".*", {"STUB_ROOT=yes"}},
        Row{"InsideAFreshRoot",
            "scripts/lib/test-fresh --inside ./build/root container tester true",
            20,
            false,
            ".*",
            {"QUON_FRESH_SUITE=bookworm"}},
        Row{"InsideWithACache",
            "scripts/lib/test-fresh --inside ./build/root container tester true",
            4,
            false,
            "(mkdir|chmod|mount) .*ccache.*",
            {"QUON_FRESH_SUITE=bookworm", "QUON_FRESH_CCACHE=/var/cache"}},
        Row{"Install",
            "scripts/test install packages container",
            40,
            false,
            "(mktemp|chmod|mkdir|mmdebstrap|chroot|git|cp|dpkg-deb|sed|unshare|grep|hostname|"
            "useradd|tr|cat|sort|apt-get|apt-config) .*",
            {"STUB_ROOT=yes"}},
        Row{"Fuzz", "scripts/fuzz one 1", 10, false},
        Row{"FuzzAll", "scripts/fuzz all 1", 12, false},
        Row{"FuzzCheck", "scripts/fuzz --check", 12, false},
        Row{"Soak", "scripts/soak 1 release 7", 6, false},
        Row{"Bench", "scripts/bench --quick", 6, false}, Row{"Mutate", "scripts/mutate", 3, false},
        Row{"Docs", "scripts/docs", 12, false},
        Row{"Words", "scripts/lint words", 20, false, "(git|grep|sort|comm) .*"},
        Row{"Coverage", "scripts/coverage", 8, false},
        Row{"Mipsel", "scripts/test mipsel", 10, false},
        Row{"Model", "scripts/test model --worlds 2", 6, false},
        Row{"Planted", "scripts/test model --planted", 6, false},
        Row{"Uclibc", "scripts/test uclibc", 15, true},
        Row{"PackageDebian", "scripts/package debian", 6, false},
        Row{"PackageTarget", "scripts/package target", 7, true,
            "(cmake --install|tar|gzip|install) .*"},
        Row{"Format", "scripts/lint format", 6, false},
        Row{"Shell", "scripts/lint shell", 6, false}, Row{"Tidy", "scripts/lint tidy", 6, false},
        Row{"Types", "scripts/lint types", 5, false},
        Row{"Cppcheck", "scripts/lint cppcheck", 8, false},
        Row{"Analyzer", "scripts/lint analyzer", 6, false}, Row{"Board", "scripts/board", 25, true},
        Row{"BoardPackages", "scripts/lib/board-packages", 10, false},
        Row{"Toolchain", "scripts/lib/toolchain-uclibc", 15, false},
        Row{"Footprint", "bench/footprint", 8, true,
            "(mipsel-linux-gnu-(strip -o|size)|stat|awk|mkdir -p .*footprint).*"}),
    [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace quon::test
