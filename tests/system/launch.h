// Where the programs under test are, and how they are started.
//
//   QUON_TEST_DAEMON         path of the daemon
//   QUON_TEST_DAEMON_PREFIX  words put in front of it, e.g. an emulator with its options; the chip
//                            link is then the prefix's business, for example
//                            "qemu-mipsel -L /usr/mipsel-linux-gnu -E LD_PRELOAD=/path/link.so"
//   QUON_TEST_SIM            path of the simulated chip, QUON_TEST_SIM_PREFIX likewise
//   QUON_TEST_CLIENT         path of the client, QUON_TEST_CLIENT_PREFIX likewise
//   QUON_TEST_CHIP_LINK      the preload library; "none" when the daemon has it built in
//
// Without them: the programs of this build.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace quon::test {

struct LaunchCommand {
    std::vector<std::string> command;
    std::vector<std::pair<std::string, std::string>> environment;
};

LaunchCommand daemon_launch();
LaunchCommand simulator_launch();
std::vector<std::string> client_launch();
std::string daemon_program();  // its file

}  // namespace quon::test
