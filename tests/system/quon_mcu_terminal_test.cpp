// The client on a terminal: colour, the progress bar, the screen of watch.
#include <fstream>

#include "client_process.h"
#include "simulated_chip.h"
#include "system_test.h"

namespace quon::test {
namespace {

using Environment = std::vector<std::pair<std::string, std::string>>;

class OnATerminal : public SystemTest {
  protected:
    // What the client shows; the terminal's own carriage returns before a line's end are dropped.
    static std::string shown(const std::vector<std::string>& arguments,
                             const Environment& environment = {}) {
        ChildProcess client({.command = client_command(arguments),
                             .environment = environment,
                             .output = ChildProcess::Output::kTerminal,
                             .separate_errors = false,
                             .input = {}});
        EXPECT_EQ(client.wait_exit(), exited_with(0)) << client.output();
        std::string text = client.output();
        for (std::size_t at = 0; (at = text.find("\r\n", at)) != std::string::npos;) {
            text.erase(at, 1);
        }
        return text;
    }
};

TEST_F(OnATerminal, HeadingsAreBold) {
    EXPECT_EQ(shown({"describe", "get.time"}).find("\x1b[1mmethod.quon.mcu.get.time\x1b[0m\n"), 0U);
    EXPECT_EQ(shown({"list", "alarm"}).find("\x1b[1mkind "), 0U);
}

TEST_F(OnATerminal, NothingIsColouredWithNoColor) {
    EXPECT_EQ(shown({"describe", "get.time"}, {{"NO_COLOR", "1"}}).find('\x1b'), std::string::npos);
    // Empty counts as not set.
    EXPECT_NE(shown({"describe", "get.time"}, {{"NO_COLOR", ""}}).find('\x1b'), std::string::npos);
}

TEST_F(OnATerminal, NothingIsColouredElsewhere) {
    std::vector<std::string> command = {"env", "-u", "NO_COLOR"};
    for (const std::string& each : client_command({"describe", "get.time"})) {
        command.push_back(each);
    }
    const Result got = run(command);
    EXPECT_EQ(got.out.find("method.quon.mcu.get.time\n"), 0U);
    EXPECT_EQ(got.out.find('\x1b'), std::string::npos);
}

TEST_F(OnATerminal, JsonIsNeverColoured) {
    EXPECT_EQ(shown({"--json", "describe", "get.time"}).find('\x1b'), std::string::npos);
}

TEST_F(OnATerminal, AnUpgradeShowsABar) {
    SimulatedChip chip;
    start_daemon();
    ASSERT_TRUE(chip.wait_for(0x80));
    std::ofstream("/tmp/image") << std::string(1000, 'x');
    const std::string text = shown({"upgrade", "/tmp/image"});
    EXPECT_NE(text.find("\r[##########                              ] 25% 256/1000 bytes"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("\r[########################################] 100% 1000/1000 bytes\n"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("\nsent 1000 bytes in 4 blocks\n"), std::string::npos) << text;
}

TEST_F(OnATerminal, WatchClearsTheScreen) {
    start();
    const std::string round = "\x1b[H\x1b[2Jevery 10: call get.socup.time --hex\n\n";
    const std::string text =
        shown({"watch", "--interval", "10", "--rounds", "2", "call", "get.socup.time", "--hex"});
    EXPECT_EQ(text.find(round), 0U) << text;
    EXPECT_NE(text.find(round, 1), std::string::npos) << text;
}

}  // namespace
}  // namespace quon::test
