// QUON_WORLD=here, in a world that a container could be: a private one without a wlan0.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "private_world.h"
#include "script_tree.h"

namespace quon::test {
namespace {

constexpr char kResolver[] = "/etc/resolv.conf";

std::string resolver() {
    std::ifstream file(kResolver);
    return {std::istreambuf_iterator<char>(file), {}};
}

class InAContainer : public testing::Test {
  protected:
    InAContainer() {
        enter_private_world();
        std::ofstream(kResolver) << "nameserver 192.0.2.1\n";
    }
    static void remove_wlan0() {
        ASSERT_EQ(run({"ip", "link", "del", "wlan0"}).status, (ExitStatus{true, 0}));
    }
    static Result run_here(ScriptTree& tree, const std::string& line,
                           const std::string& failing = {}) {
        return tree.run_script(
            line, {.failing = failing, .further = {"QUON_WORLD=here", "STUB_RESOLVER=yes"}});
    }
};

TEST_F(InAContainer, TheTestsRunOneAtATimeAndThoseThatCannotAreNamedAndCounted) {
    remove_wlan0();
    ScriptTree tree;
    const Result result = run_here(tree, "scripts/test");
    EXPECT_EQ(result.status, (ExitStatus{true, 0})) << result.err;
    EXPECT_TRUE(tree.called("ctest --test-dir " + tree.path("build/dev") +
                            " --output-on-failure --no-tests=error -j 1 -E ^("));
    EXPECT_NE(
        result.out.find("\nnot run in here-root: ANetworkEvent.ChangesTheRealInterface (needs a "
                        "wlan0)\n"),
        std::string::npos)
        << result.out;
    EXPECT_TRUE(result.out.ends_with(" tests not run\n")) << result.out;
    EXPECT_FALSE(tree.called("unshare"));
    EXPECT_FALSE(tree.called("private-world"));
}

TEST_F(InAContainer, TheResolverFileIsAsBeforeAlsoAfterAFailure) {
    remove_wlan0();
    ScriptTree tree;
    EXPECT_EQ(run_here(tree, "scripts/test").status, (ExitStatus{true, 0}));
    EXPECT_EQ(resolver(), "nameserver 192.0.2.1\n");
    EXPECT_EQ(run_here(tree, "scripts/test", "late").status, (ExitStatus{true, 1}));
    EXPECT_EQ(resolver(), "nameserver 192.0.2.1\n");
}

TEST_F(InAContainer, AWlan0IsRefusedBeforeAnythingIsBuilt) {
    ScriptTree tree;
    for (const char* line : {"scripts/run --demo", "scripts/test"}) {
        const Result result = run_here(tree, line);
        EXPECT_EQ(result.status, (ExitStatus{true, 1}));
        EXPECT_NE(
            result.err.find("QUON_WORLD=here would change the wlan0 of this machine: it is for "
                            "containers without one\n"),
            std::string::npos)
            << result.err;
        EXPECT_FALSE(tree.called("cmake"));
    }
    EXPECT_EQ(resolver(), "nameserver 192.0.2.1\n");
}

TEST_F(InAContainer, GoesOnOnlyWhereItsInterfacesCanBeListed) {
    remove_wlan0();
    ScriptTree tree;
    EXPECT_EQ(run_here(tree, "scripts/test", "cat /proc/net/dev").status, (ExitStatus{true, 1}));
    EXPECT_FALSE(tree.called("cmake"));
}

}  // namespace
}  // namespace quon::test
