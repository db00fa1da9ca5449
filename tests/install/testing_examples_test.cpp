// The example projects of teams that test with the simulated chip, built and run from an
// installation as their page says.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "installation.h"

namespace quon::test {
namespace {

namespace fs = std::filesystem;

constexpr std::chrono::seconds kLongestRun{240};

// A copy that the tests may change, with nothing in it but what the project has.
class TestingExample : public testing::Test {
  protected:
    void copy(const std::string& name) {
        folder_ = installation_.scratch(name);
        fs::copy(fs::path(QUON_EXAMPLES) / name, folder_, fs::copy_options::recursive);
    }
    void make(const std::string& name) {
        folder_ = installation_.scratch(name);
        fs::create_directory(folder_);
    }
    [[nodiscard]] std::string wheel() const {
        return (installation_.prefix() / QUON_DATADIR / "quon_mcu_daemon" /
                ("quon_mcu-" QUON_VERSION "-py3-none-any.whl"))
            .string();
    }
    [[nodiscard]] std::string with_programs() const {
        return "PATH=" + installation_.programs().string() + ":" + getenv("PATH");
    }
    [[nodiscard]] std::string folder() const { return folder_.string(); }

    // So that a test of the project fails.
    void spoil(const std::string& file) const {
        std::ifstream in(folder_ / file);
        std::string text{std::istreambuf_iterator<char>(in), {}};
        const size_t at = text.find("> 10");
        ASSERT_NE(at, std::string::npos);
        std::ofstream(folder_ / file) << text.replace(at, 4, "> 99");
    }

    [[nodiscard]] Words settings() const {
        const fs::path python = installation_.prefix() / QUON_DATADIR / "quon_mcu_daemon/python";
        return {"env",
                "ASAN_OPTIONS=verify_asan_link_order=0",
                "TSAN_OPTIONS=report_signal_unsafe=0:atexit_sleep_ms=0",
                "LD_LIBRARY_PATH=" + installation_.libraries().string(),
                "PYTHONPATH=" + python.string(),
                "PYTHONDONTWRITEBYTECODE=1",
                with_programs()};
    }
    Result run_pytest() const {
        return run(
            settings() + Words{"/usr/bin/python3", "-m", "pytest", "-p", "no:cacheprovider", "-p",
                               "quon_mcu.pytest_plugin", "--rootdir", folder(), folder()},
            {}, kLongestRun);
    }
    Result run_ctest() const {
        return run(settings() +
                       Words{QUON_CTEST, "--test-dir", folder() + "/build", "--output-on-failure"},
                   {}, kLongestRun);
    }
    void build() const {
        std::string flags;
        for (const std::string& each : sanitizer_flags() + strict_flags()) {
            flags += each + " ";
        }
        const Result made =
            run(settings() + Words{QUON_CMAKE, "-S", folder(), "-B", folder() + "/build",
                                   "-DCMAKE_PREFIX_PATH=" + installation_.prefix().string(),
                                   "-DCMAKE_CXX_COMPILER=" + cxx_compiler().front(),
                                   "-DCMAKE_CXX_FLAGS=" + flags},
                {}, kLongestRun);
        ASSERT_EQ(made.status.code, 0) << made.out << made.err;
        const Result built =
            run(settings() + Words{QUON_CMAKE, "--build", folder() + "/build"}, {}, kLongestRun);
        ASSERT_EQ(built.status.code, 0) << built.out << built.err;
    }

  private:
    Installation installation_;
    fs::path folder_;
};

TEST_F(TestingExample, OfPytestPassesAndFailsWithItsCode) {
    copy("pytest");
    const Result good = run_pytest();
    EXPECT_EQ(good.status.code, 0) << good.out << good.err;
    EXPECT_NE(good.out.find(" 6 passed in "), std::string::npos) << good.out;
    spoil("battery_guard.py");
    const Result bad = run_pytest();
    EXPECT_EQ(bad.status.code, 1) << bad.out << bad.err;
    EXPECT_NE(bad.out.find(" 2 failed, 4 passed in "), std::string::npos) << bad.out;
}

TEST_F(TestingExample, OfPytestSaysThatTheSimulatorIsMissing) {
    copy("pytest");
    const Result got =
        run(settings() + Words{"/usr/bin/python3", "-m", "pytest", "-p", "quon_mcu.pytest_plugin",
                               "--quon-sim", "no-such-sim", "--rootdir", folder(), folder()},
            {}, kLongestRun);
    EXPECT_EQ(got.status.code, 4) << got.out;
    EXPECT_NE(got.err.find("no no-such-sim: install it, or give --quon-sim"), std::string::npos)
        << got.err;
}

constexpr char kNoChip[] =
    "no simulated chip here: set 'quon_world = yes' in pytest's settings of this project, or start "
    "pytest by 'hi3861l-sim run -- pytest'";

// Any project of a Python into which the package was installed by pip.
class AProjectBesideThePlugin : public TestingExample {
  protected:
    void SetUp() override {
        make("project");
        packages_ = folder() + "/packages";
        must_run({"/usr/bin/python3", "-m", "pip", "install", "--quiet", "--no-index",
                  "--no-compile", "--no-cache-dir", "--disable-pip-version-check",
                  "--root-user-action=ignore", "--target", packages_, wheel()});
    }
    void write(const std::string& file, const std::string& text) const {
        std::ofstream(folder() + "/" + file) << text;
    }
    Result pytest(const Words& options = {}, const Words& settings = {"PATH=/usr/bin:/bin"}) const {
        return run(Words{"env", "-u", "PYTEST_ADDOPTS", "PYTHONDONTWRITEBYTECODE=1",
                         "PYTHONPATH=" + packages_} +
                       settings +
                       Words{"/usr/bin/python3", "-m", "pytest", "-p", "no:cacheprovider",
                             "--rootdir", folder()} +
                       options + Words{folder() + "/test_it.py"},
                   {}, kLongestRun);
    }

  private:
    std::string packages_;
};

TEST_F(AProjectBesideThePlugin, RunsWithoutASimulator) {
    write("test_it.py", "def test_plain():\n    assert 1 + 1 == 2\n");
    const Result got = pytest();
    EXPECT_EQ(got.status.code, 0) << got.out << got.err;
    EXPECT_NE(got.out.find(" 1 passed in "), std::string::npos) << got.out;
}

TEST_F(AProjectBesideThePlugin, KeepsTheMachinesOwnWorldWithASimulator) {
    write("test_it.py",
          "import os\ndef test_plain():\n    assert 'QUON_MCU_PYTEST_WORLD' not in os.environ\n"
          "    assert not os.path.exists('/tmp/hi3861l-sim.ctl')\n");
    const Result got = pytest({}, {with_programs()});
    EXPECT_EQ(got.status.code, 0) << got.out << got.err;
    EXPECT_NE(got.out.find(" 1 passed in "), std::string::npos) << got.out;
}

TEST_F(AProjectBesideThePlugin, IsToldWhatToSetWhenItUsesTheChip) {
    write("test_it.py", "def test_chip(quon_chip):\n    pass\n");
    const Result got = pytest();
    EXPECT_EQ(got.status.code, 1) << got.out << got.err;
    EXPECT_NE(got.out.find(kNoChip), std::string::npos) << got.out;
    EXPECT_EQ(got.out.find("Traceback"), std::string::npos) << got.out;
}

TEST_F(AProjectBesideThePlugin, ThatAsksForAWorldNeedsTheSimulatorOnlyToRunTests) {
    write("test_it.py", "def test_chip(quon_chip):\n    pass\n");
    write("pytest.ini", "[pytest]\nquon_world = yes\n");
    for (const char* option :
         {"--version", "--help", "--collect-only", "--markers", "--fixtures"}) {
        const Result got = pytest({option});
        EXPECT_EQ(got.status.code, 0) << option << got.out << got.err;
        EXPECT_EQ(got.err.find("hi3861l-sim"), std::string::npos) << option << got.err;
    }
    const Result got = pytest();
    EXPECT_EQ(got.status.code, 4) << got.out << got.err;
    EXPECT_NE(got.err.find("no hi3861l-sim: install it, or give --quon-sim"), std::string::npos)
        << got.err;
}

TEST_F(AProjectBesideThePlugin, MayNameThePluginThatIsFoundAnyway) {
    write("test_it.py", "def test_plain():\n    pass\n");
    const Result got = pytest({"-p", "quon_mcu.pytest_plugin"});
    EXPECT_EQ(got.status.code, 0) << got.out << got.err;
}

TEST_F(TestingExample, OfGoogleTestPassesAndFailsWithItsCode) {
    copy("googletest");
    ASSERT_NO_FATAL_FAILURE(build());
    const Result good = run_ctest();
    EXPECT_EQ(good.status.code, 0) << good.out << good.err;
    EXPECT_NE(good.out.find("100% tests passed, 0 tests failed out of 7"), std::string::npos)
        << good.out;
    spoil("battery_guard.cpp");
    ASSERT_NO_FATAL_FAILURE(build());
    const Result bad = run_ctest();
    EXPECT_NE(bad.status.code, 0);
    EXPECT_NE(bad.out.find("71% tests passed, 2 tests failed out of 7"), std::string::npos)
        << bad.out;
}

}  // namespace
}  // namespace quon::test
